#include "core/text/links.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace vf {

QList<TextLink> findLinks(QStringView text) {
    static const QRegularExpression kLink(
        uR"((?<web>(?:https?://|www\.)[^\s<>"']+)|(?<mail>[A-Za-z0-9._%+-]+@[A-Za-z0-9-]+(?:\.[A-Za-z0-9-]+)*\.[A-Za-z]{2,}))"_s,
        QRegularExpression::CaseInsensitiveOption);
    QList<TextLink> links;
    const QString subject = text.toString();
    auto matches = kLink.globalMatch(subject);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        QString found = match.captured(0);
        // Sentence punctuation after an address is not part of it.
        while (!found.isEmpty() && QStringView(u".,;:!?)]}").contains(found.back())) found.chop(1);
        if (found.isEmpty()) continue;
        QUrl url;
        if (match.hasCaptured(u"mail"_s)) url = QUrl(u"mailto:"_s + found);
        else if (found.startsWith(u"www."_s, Qt::CaseInsensitive)) url = QUrl(u"http://"_s + found);
        else url = QUrl(found);
        if (!url.isValid()) continue;
        links.append({match.capturedStart(0), found.size(), url});
    }
    return links;
}

}  // namespace vf
