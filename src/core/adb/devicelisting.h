#pragma once
// The ADB server's device listing read into device records: the one parser
// behind the viewer's device list, the device-state rules and the
// companion's "devices". It reads the short form of "host:devices"
// ("SERIAL<tab>STATE") and the long form of "host:devices-l" ("SERIAL
// STATE usb:1-1.4 product:sdk model:Pixel_3 device:blueline transport_id:2"),
// whose state may be the two words "no permissions" followed by advice.
//
// Pure functions; any thread.

#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringView>
#include <optional>

namespace vf {

struct DeviceRecord {
    QString id;    // the serial: the line's first field (empty when the line starts with a blank)
    QString type;  // the first non-empty field, i.e. the serial again: the controller relies on this
    std::optional<QString> name;     // "model:", or the model name looked up later
    std::optional<QString> product;  // "product:"
    QString state;                   // the state words: "device", "unauthorized", "no permissions" ...
    std::optional<QString> usbVendorId;  // four lower-case hex digits, from "vendor:" or "usb:VVVV:PPPP"
    std::optional<QString> device;       // "device:"
    std::optional<QString> transportId;  // "transport_id:"
    std::optional<QString> usbPath;      // "usb:1-1.4"
};
using DeviceList = QList<DeviceRecord>;

// One device line (neither empty nor a "-" or "error:" line). Fields are
// separated by blanks and tabs; after the serial, a later "model:" or
// "product:" field replaces an earlier one.
DeviceRecord parseDeviceLine(QStringView line);

// Every device of a listing in the server's order, its bytes decoded and
// split by the device-output rule of core/support/text.h. Empty lines, and
// lines starting with "-" or "error:", are not devices (logged "invalid").
DeviceList parseDeviceListing(QByteArrayView listing);

}  // namespace vf
