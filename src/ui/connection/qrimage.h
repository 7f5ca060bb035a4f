#pragma once
// A QR code as a picture, for the pairing dialog: dark modules on white
// with the quiet zone scanners need, whatever the window's theme.
//
// Pure function of its arguments; any thread.

#include <QImage>
#include <QString>

namespace vf::ui {

// `text` as a QR code (error correction M) of `moduleSize` pixels a module;
// a null image when the text does not fit into a QR code.
QImage qrImage(const QString& text, int moduleSize);

}  // namespace vf::ui
