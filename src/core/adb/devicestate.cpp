#include "core/adb/devicestate.h"

#include <QList>
#include <QRegularExpression>

namespace vf {

using namespace Qt::StringLiterals;

DeviceState deviceStateFromWord(QStringView word) {
    struct Entry {
        QStringView word;
        DeviceState state;
    };
    static constexpr Entry kWords[] = {
        {u"device", DeviceState::Device},          {u"unauthorized", DeviceState::Unauthorized},
        {u"offline", DeviceState::Offline},        {u"no permissions", DeviceState::NoPermissions},
        {u"recovery", DeviceState::Recovery},      {u"sideload", DeviceState::Sideload},
        {u"bootloader", DeviceState::Bootloader},  {u"host", DeviceState::Host},
        {u"rescue", DeviceState::Recovery},
    };
    for (const Entry& e : kWords) {
        if (word.compare(e.word, Qt::CaseInsensitive) == 0) return e.state;
    }
    return DeviceState::Unknown;
}

AdbFailureKind adbFailureKind(QStringView message) {
    QStringView first = message.trimmed();
    if (const qsizetype nl = first.indexOf(u'\n'); nl >= 0) first = first.left(nl).trimmed();
    if (first.startsWith(u"error:", Qt::CaseInsensitive)) first = first.mid(6).trimmed();
    const QString text = first.toString().toLower();
    if (text.startsWith(u"device unauthorized"_s) || text.startsWith(u"device still authorizing"_s)) {
        return AdbFailureKind::Unauthorized;
    }
    if (text.startsWith(u"device offline"_s)) return AdbFailureKind::Offline;
    if (text.startsWith(u"more than one device"_s) || text.startsWith(u"more than one emulator"_s)) {
        return AdbFailureKind::MoreThanOneDevice;
    }
    static const QRegularExpression notFound(
        u"^(device( '[^']*')? not found|no devices(/emulators)? found|no emulators found)"_s);
    if (notFound.match(text).hasMatch()) return AdbFailureKind::DeviceNotFound;
    return AdbFailureKind::Other;
}

QString deviceStateAdvice(const QString& serial, const std::optional<DeviceRecord>& record) {
    const QString word = record ? record->state : u"offline"_s;
    const std::optional<QString> vendorId = record ? record->usbVendorId : std::nullopt;
    switch (deviceStateFromWord(word)) {
        case DeviceState::Device:
        case DeviceState::Unauthorized:
            return {};
        case DeviceState::Offline:
            return u"Device %1 is offline. Waiting for it to come back..."_s.arg(serial);
        case DeviceState::NoPermissions: {
            const QString vendor = vendorId.value_or(u"VENDOR"_s);
            QString text = u"No permission to open device %1\n\n"
                           "Linux lets only permitted users open USB devices. Add yourself to the plugdev "
                           "group (sudo usermod -aG plugdev $USER, then log in again) and add a udev rule "
                           "for the device to /etc/udev/rules.d/51-android.rules:\n\n"
                           "SUBSYSTEM==\"usb\", ATTR{idVendor}==\"%2\", MODE=\"0660\", GROUP=\"plugdev\"\n\n"
                           "Then run: sudo udevadm control --reload-rules, and plug the device in again."_s
                               .arg(serial, vendor);
            if (!vendorId) {
                text += u"\n\nThe vendor id is the four hex digits before the colon in the device's line "
                        "of lsusb."_s;
            }
            return text;
        }
        case DeviceState::Recovery:
        case DeviceState::Sideload:
        case DeviceState::Bootloader:
        case DeviceState::Host:
        case DeviceState::Unknown:
            break;
    }
    return u"Device %1 is in %2 mode\n\nIts log can be read once Android has started."_s.arg(
        serial, word.isEmpty() ? u"an unknown"_s : word);
}

QString deviceTitleWithState(const QString& serial, const std::optional<QString>& name,
                             const std::optional<QString>& product, const QString& stateWord) {
    QString title = serial;
    if (name) title += u" - "_s + *name;
    else if (product) title += u" - "_s + *product;
    if (!stateWord.isEmpty() && stateWord != u"device"_s) title += u" ["_s + stateWord + u']';
    return title;
}

}  // namespace vf
