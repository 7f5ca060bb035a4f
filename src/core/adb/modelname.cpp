#include "core/adb/modelname.h"

#include <QHash>
#include <QList>

namespace vf {

using namespace Qt::StringLiterals;

namespace {

QStringView withoutCr(QStringView s) { return s.endsWith(u'\r') ? s.chopped(1) : s; }

}  // namespace

QString modelLookupRequest() { return u"shell:cat /system/build.prop; getprop"_s; }

std::optional<QString> modelNameFromLookupOutput(QStringView output) {
    // The two parts' lines cannot be mistaken for each other: "key=value"
    // against "[key]: [value]".
    if (auto name = modelNameFromBuildProp(output)) return name;
    return modelNameFromGetprop(output);
}

std::optional<QString> modelNameFromBuildProp(QStringView text) {
    std::optional<QString> name;
    for (QStringView line : text.split(u'\n')) {
        line = withoutCr(line);
        if (line.startsWith(u"ro.product.model=")) return line.mid(17).toString();
        if (line.startsWith(u"ro.product.name=")) name = line.mid(16).toString();
    }
    return name;
}

std::optional<QString> modelNameFromGetprop(QStringView text) {
    static constexpr QStringView kKeys[] = {
        u"ro.product.model",        u"ro.product.vendor.model", u"ro.product.product.model",
        u"ro.product.odm.model",    u"ro.product.system.model", u"ro.product.name",
        u"ro.product.vendor.name",  u"ro.product.product.name", u"ro.product.system.name",
    };
    QHash<QStringView, QStringView> values;
    for (QStringView line : text.split(u'\n')) {
        line = withoutCr(line).trimmed();
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

}  // namespace vf
