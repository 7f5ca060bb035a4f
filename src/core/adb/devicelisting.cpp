#include "core/adb/devicelisting.h"

#include <QRegularExpression>

#include "core/support/logger.h"
#include "core/support/text.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {

// The "key:value" fields after the state. A "no permissions" state is
// followed by free-text advice, which may hold "usb:" inside brackets.
void readLongFormFields(QStringView rest, DeviceRecord& record) {
    static const QRegularExpression vendorPair(u"^usb:([0-9a-fA-F]{4}):[0-9a-fA-F]{4}$"_s);
    for (const QStringView field : rest.split(u' ', Qt::SkipEmptyParts)) {
        if (field.startsWith(u"vendor:") && field.size() == 11) {
            record.usbVendorId = field.mid(7).toString().toLower();
        } else if (const auto m = vendorPair.match(field.toString()); m.hasMatch()) {
            record.usbVendorId = m.captured(1).toLower();
        } else if (field.startsWith(u"usb:") && field.size() > 4) {
            record.usbPath = field.mid(4).toString();
        } else if (field.startsWith(u"device:")) {
            record.device = field.mid(7).toString();
        } else if (field.startsWith(u"transport_id:")) {
            record.transportId = field.mid(13).toString();
        }
    }
}

// The state words: what follows the serial up to the next blank, or the two
// words "no permissions". Returns where the long-form fields begin.
qsizetype readState(QStringView line, DeviceRecord& record) {
    // The serial ends at the first tab (short form) or run of blanks (long form).
    qsizetype at = 0;
    while (at < line.size() && line[at] != u'\t' && line[at] != u' ') ++at;
    while (at < line.size() && (line[at] == u'\t' || line[at] == u' ')) ++at;
    const QStringView rest = line.mid(at);
    if (rest.startsWith(u"no permissions", Qt::CaseInsensitive)) {
        record.state = u"no permissions"_s;
        return at + 14;
    }
    qsizetype end = 0;
    while (end < rest.size() && !rest[end].isSpace()) ++end;
    record.state = rest.left(end).toString();
    return at + end;
}

}  // namespace

DeviceRecord parseDeviceLine(QStringView line) {
    DeviceRecord record;
    bool haveType = false;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= line.size(); ++i) {
        if (i < line.size() && line[i] != u' ' && line[i] != u'\t') continue;
        const QStringView field = line.mid(start, i - start);
        if (start == 0) record.id = field.toString();
        start = i + 1;
        if (field.isEmpty()) continue;
        if (!haveType) {
            record.type = field.toString();
            haveType = true;
        } else if (field.startsWith(u"model:")) {
            record.name = field.mid(6).toString();
        } else if (field.startsWith(u"product:")) {
            record.product = field.mid(8).toString();
        }
    }
    readLongFormFields(line.mid(readState(line, record)), record);
    return record;
}

DeviceList parseDeviceListing(QByteArrayView listing) {
    DeviceList devices;
    for (const QString& line : outputLines(listing)) {
        if (line.isEmpty()) continue;
        // "* daemon started…" banners, "- waiting…" notes and errors.
        if (line.startsWith(u'*') || line.startsWith(u'-') || line.startsWith(u"error:"_s)) {
            VF_LOG("invalid: {}", line);
            continue;
        }
        VF_LOG("device entry: \"{}\"", line);
        devices.append(parseDeviceLine(line));
    }
    return devices;
}

}  // namespace vf
