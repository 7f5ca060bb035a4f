#pragma once
// Where a device's model name is found, in order: the model or name keys of
// /system/build.prop (many Android 10+ builds no longer carry them there),
// then the properties the running system reports through "getprop": the
// model, then the vendor, product, odm and system partitions' models, then
// the product names. One lookup runs the commands of modelLookupRequests()
// in order and stops at the first that gives a name; a lookup that ends
// without one never holds up the next device's.
//
// Pure functions, any thread.

#include <QString>
#include <QStringList>
#include <QStringView>
#include <optional>

namespace vf {

// The service requests of one lookup, in the order they are tried.
const QStringList& modelLookupRequests();

// The name found in the output of request `step` of modelLookupRequests(),
// or nothing (the next request is tried).
std::optional<QString> modelNameFromOutput(qsizetype step, QStringView output);

// build.prop text: a "ro.product.model=" line wins and ends the scan; a
// "ro.product.name=" line is kept unless a later one or a model line replaces
// it. Values are taken as written except for a trailing CR (a CR LF shell).
std::optional<QString> modelNameFromBuildProp(QStringView text);

// The listing of "getprop" ("[key]: [value]" lines): the first non-empty
// value among the model keys, then the name keys.
std::optional<QString> modelNameFromGetprop(QStringView text);

// A whole lookup over the outputs it collected (nothing for a request that
// gave no output); the first name in order.
std::optional<QString> modelNameFromOutputs(const QList<std::optional<QString>>& outputs);

}  // namespace vf
