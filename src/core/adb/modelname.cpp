#include "core/adb/modelname.h"

#include <QHash>
#include <QStringList>

#include "core/support/text.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> fromBuildProp(const QStringList& lines) {
    std::optional<QString> name;
    for (const QString& line : lines) {
        if (line.startsWith(u"ro.product.model=")) return line.mid(17);
        if (line.startsWith(u"ro.product.name=")) name = line.mid(16);
    }
    return name;
}

std::optional<QString> fromGetprop(const QStringList& lines) {
    static constexpr QStringView kKeys[] = {
        u"ro.product.model",        u"ro.product.vendor.model", u"ro.product.product.model",
        u"ro.product.odm.model",    u"ro.product.system.model", u"ro.product.name",
        u"ro.product.vendor.name",  u"ro.product.product.name", u"ro.product.system.name",
    };
    QHash<QStringView, QStringView> values;
    for (const QString& whole : lines) {
        const QStringView line = QStringView(whole).trimmed();
        // [key]: [value]
        if (!line.startsWith(u'[') || !line.endsWith(u']')) continue;
        const qsizetype mid = line.indexOf(u"]: [");
        if (mid < 0) continue;
        values.insert(line.mid(1, mid - 1), line.mid(mid + 4).chopped(1));
    }
    for (const QStringView key : kKeys) {
        const QStringView value = values.value(key).trimmed();
        if (!value.isEmpty()) return value.toString();
    }
    return std::nullopt;
}

}  // namespace

QString modelLookupRequest() { return u"shell:cat /system/build.prop; getprop"_s; }

std::optional<QString> modelNameFromLookupOutput(QByteArrayView output) {
    // The two parts' lines cannot be mistaken for each other: "key=value"
    // against "[key]: [value]".
    const QStringList lines = outputLines(output);
    if (auto name = fromBuildProp(lines)) return name;
    return fromGetprop(lines);
}

std::optional<QString> modelNameFromBuildProp(QByteArrayView text) { return fromBuildProp(outputLines(text)); }

std::optional<QString> modelNameFromGetprop(QByteArrayView text) { return fromGetprop(outputLines(text)); }

}  // namespace vf
