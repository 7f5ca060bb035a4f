// The simulated screen: drawn afresh for every capture so that a viewer can
// see that captures are live (the clock) and that touches arrive (the marker).
#include <QBuffer>
#include <QDateTime>
#include <QFont>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>

#include "device.h"

namespace vf::sim {

namespace {
QByteArray encodePng(const QImage& image) {
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    // Light compression: a real device spends its time grabbing, not deflating.
    image.save(&buffer, "PNG", 80);
    return png;
}
}  // namespace

QSize Device::displaySize(int display) const {
    return display == 0 ? options_.screenSize : options_.screenSize * 3 / 5;
}

QString Device::displayId(int display) {
    // The shape of real ids: the port in the low byte of a large number.
    return QString::number(Q_UINT64_C(4619827259835644672) + quint64(display));
}

QByteArray Device::displayListing() const {
    QByteArray out;
    for (int i = 0; i < options_.displays; ++i) {
        const QString name = i == 0 ? QStringLiteral("Inner screen")
                                    : i == 1 ? QStringLiteral("Cover screen") : QStringLiteral("External %1").arg(i);
        out += QStringLiteral("Display %1 (HWC display %2): port=%2 pnpId=VLM displayName=\"%3\"\n")
                   .arg(displayId(i))
                   .arg(i)
                   .arg(name)
                   .toUtf8();
    }
    return out;
}

int Device::inputDisplay(int display) { return display == 0 ? 0 : display + 1; }

QByteArray Device::displayDump() const {
    // The lines of "dumpsys display" that name each display both ways.
    QByteArray out = "DISPLAY MANAGER (dumpsys display)\n\nLogical Displays: size=" +
                     QByteArray::number(options_.displays) + '\n';
    for (int i = 0; i < options_.displays; ++i) {
        const QSize size = displaySize(i);
        out += QStringLiteral("Display %1:\n  mDisplayId=%1\n  mBaseDisplayInfo=DisplayInfo{\"Display %2\", displayId "
                              "%1, displayGroupId 0, FLAG_SECURE, real %3 x %4, uniqueId \"local:%5\", rotation 0}\n")
                   .arg(inputDisplay(i))
                   .arg(i)
                   .arg(size.width())
                   .arg(size.height())
                   // Before Android 10 the unique id held the built-in display's number.
                   .arg(options_.sdk >= 29 ? displayId(i) : QString::number(i))
                   .toUtf8();
    }
    return out;
}

QByteArray Device::screenshot(int display) const {
    const QSize size = displaySize(display);
    QImage image(size, QImage::Format_RGB32);
    if (options_.secureWindow) {
        image.fill(Qt::black);
        return encodePng(image);
    }
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);

    QLinearGradient background(0, 0, 0, size.height());
    background.setColorAt(0, QColor(0x1d, 0x3b, 0x53));
    background.setColorAt(1, QColor(0x0f, 0x1c, 0x26));
    painter.fillRect(image.rect(), background);

    const int unit = qMax(8, size.width() / 24);
    const QRect statusBar(0, 0, size.width(), unit * 2);
    painter.fillRect(statusBar, QColor(0, 0, 0, 90));
    painter.setPen(Qt::white);
    QFont font;
    font.setPixelSize(unit);
    painter.setFont(font);
    const QString clock = QDateTime::currentDateTime().toString(QStringLiteral("HH:mm:ss"));
    painter.drawText(statusBar.adjusted(unit, 0, -unit, 0), Qt::AlignVCenter | Qt::AlignRight, clock);
    painter.drawText(statusBar.adjusted(unit, 0, -unit, 0), Qt::AlignVCenter | Qt::AlignLeft,
                     QStringLiteral("SDK %1").arg(options_.sdk));

    font.setPixelSize(unit * 2);
    font.setBold(true);
    painter.setFont(font);
    const QString title = display == 0 ? options_.model : options_.model + QStringLiteral(" (%1)").arg(display);
    painter.drawText(QRect(0, size.height() / 3, size.width(), unit * 3), Qt::AlignCenter, title);
    font.setPixelSize(unit * 3);
    painter.setFont(font);
    painter.drawText(QRect(0, size.height() / 3 + unit * 3, size.width(), unit * 4), Qt::AlignCenter, clock);

    // A row of app icons, so swipes and taps have something to aim at.
    const int icon = unit * 3;
    const QColor colors[] = {QColor(0xe5, 0x73, 0x3b), QColor(0x4c, 0xaf, 0x50), QColor(0x42, 0x85, 0xf4),
                             QColor(0xfb, 0xc0, 0x2d)};
    for (int i = 0; i < 4; ++i) {
        const int x = size.width() * (2 * i + 1) / 8 - icon / 2;
        painter.setBrush(colors[i]);
        painter.setPen(Qt::NoPen);
        painter.drawRoundedRect(QRect(x, size.height() - icon * 2, icon, icon), unit / 2, unit / 2);
    }

    if (lastTouch_) {
        painter.setBrush(QColor(255, 64, 64, 160));
        painter.setPen(QPen(Qt::white, qMax(2, unit / 6)));
        painter.drawEllipse(*lastTouch_, unit, unit);
    }
    painter.end();
    return encodePng(image);
}

}  // namespace vf::sim
