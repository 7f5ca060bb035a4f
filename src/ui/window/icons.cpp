#include "ui/window/icons.h"

#include <QApplication>
#include <QFile>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

static void initResources() { Q_INIT_RESOURCE(resources); }

namespace vf::ui {

namespace {

QIcon renderSvg(const QString& name) {
    static const bool loaded = (initResources(), true);
    Q_UNUSED(loaded);
    QFile file(QStringLiteral(":/icons/") + name + QStringLiteral(".svg"));
    if (!file.open(QIODevice::ReadOnly)) return {};
    QByteArray svg = file.readAll();
    // Monochrome strokes follow the theme's text colour.
    const QColor ink = QApplication::palette().color(QPalette::WindowText);
    svg.replace("currentColor", ink.name().toLatin1());
    QSvgRenderer renderer(svg);
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

}  // namespace

QIcon themedIcon(const QString& themeName, const QString& fallback) {
    if (QIcon::hasThemeIcon(themeName)) return QIcon::fromTheme(themeName);
    return renderSvg(fallback);
}

QIcon bundledIcon(const QString& fallback) { return renderSvg(fallback); }

}  // namespace vf::ui
