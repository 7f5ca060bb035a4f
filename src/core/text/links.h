#pragma once
// Links in message text: web addresses (http, https, or starting with
// "www.") and e-mail addresses. No other scheme is recognised, so a row can
// never make the viewer open a file or start a program. Pure; any thread.

#include <QList>
#include <QStringView>
#include <QUrl>

namespace vf {

struct TextLink {
    qsizetype start = 0;   // UTF-16 offset in the text
    qsizetype length = 0;
    QUrl url;              // http(s) or mailto
};

// Every link in the text, in order.
QList<TextLink> findLinks(QStringView text);

}  // namespace vf
