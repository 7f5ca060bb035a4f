#include "ui/window/theme.h"

#include <QApplication>
#include <QStyle>
#include <QStyleFactory>
#include <memory>

#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

struct Desktop {
    QString style;
    QPalette palette;
};

const Desktop& desktop() {
    static const Desktop kDesktop{QApplication::style()->name(), QApplication::palette()};
    return kDesktop;
}

}  // namespace

QPalette themePalette(bool dark) {
    if (!dark) {
        const std::unique_ptr<QStyle> fusion(QStyleFactory::create(u"Fusion"_s));
        return fusion != nullptr ? fusion->standardPalette() : QPalette();
    }
    const QColor window(0x2b, 0x2b, 0x2e), base(0x1e, 0x1e, 0x20), text(0xe6, 0xe6, 0xe6);
    const QColor disabled(0x80, 0x80, 0x80), highlight(0x2f, 0x65, 0xca);
    QPalette p;
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, QColor(0x26, 0x26, 0x29));
    p.setColor(QPalette::ToolTipBase, window);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, disabled);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, window);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::red);
    p.setColor(QPalette::Link, QColor(0x6c, 0xa8, 0xff));
    p.setColor(QPalette::Highlight, highlight);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Light, QColor(0x44, 0x44, 0x48));
    p.setColor(QPalette::Midlight, QColor(0x38, 0x38, 0x3b));
    p.setColor(QPalette::Mid, QColor(0x30, 0x30, 0x33));
    p.setColor(QPalette::Dark, QColor(0x18, 0x18, 0x1a));
    p.setColor(QPalette::Shadow, Qt::black);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, disabled);
    return p;
}

void applyTheme() {
    const Desktop& original = desktop();
    const QString theme = Preferences::string(QLatin1String(kThemeKey));
    const bool fusion = theme == u"light"_s || theme == u"dark"_s;
    const QString style = fusion ? u"Fusion"_s : original.style;
    if (QApplication::style()->name().compare(style, Qt::CaseInsensitive) != 0) QApplication::setStyle(style);
    QApplication::setPalette(fusion ? themePalette(theme == u"dark"_s) : original.palette);
}

bool isDarkPalette() { return QApplication::palette().color(QPalette::Base).lightness() < 128; }

}  // namespace vf::ui
