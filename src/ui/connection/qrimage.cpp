#include "ui/connection/qrimage.h"

#include <QPainter>
#include <memory>
#include <qrencode.h>

namespace vf::ui {

QImage qrImage(const QString& text, int moduleSize) {
    const QByteArray bytes = text.toUtf8();
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString8bit(bytes.constData(), 0, QR_ECLEVEL_M), &QRcode_free);
    if (!code) return {};
    constexpr int kQuietModules = 4;
    const int side = (code->width + 2 * kQuietModules) * moduleSize;
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    for (int y = 0; y < code->width; ++y) {
        for (int x = 0; x < code->width; ++x) {
            // Bit 0 of each byte says whether the module is dark.
            if ((code->data[y * code->width + x] & 1) == 0) continue;
            painter.fillRect((x + kQuietModules) * moduleSize, (y + kQuietModules) * moduleSize, moduleSize,
                             moduleSize, Qt::black);
        }
    }
    return image;
}

}  // namespace vf::ui
