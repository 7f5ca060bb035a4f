#pragma once
// Where a device's model name is found, in order: the model or name keys of
// /system/build.prop (many Android 10+ builds no longer carry them there),
// then the properties the running system reports through "getprop": the
// model, then the vendor, product, odm and system partitions' models, then
// the product names. One shell command prints both, so a lookup is one
// conversation and one process start on the device, and a device whose
// lookup ends without a name never holds up the next device's.
//
// The output is decoded and split into lines by the rule of
// core/support/text.h. Pure functions, any thread.

#include <QByteArrayView>
#include <QString>
#include <optional>

namespace vf {

// The service request of one lookup: build.prop, then getprop's listing.
QString modelLookupRequest();

// The name in the output of modelLookupRequest() (either part may be
// missing): build.prop's keys first, then getprop's.
std::optional<QString> modelNameFromLookupOutput(QByteArrayView output);

// build.prop text: a "ro.product.model=" line wins and ends the scan; a
// "ro.product.name=" line is kept unless a later one or a model line replaces
// it. Values are taken as written (a CR of a CR LF shell ends the line).
std::optional<QString> modelNameFromBuildProp(QByteArrayView text);

// The listing of "getprop" ("[key]: [value]" lines): the first non-empty
// value among the model keys, then the name keys.
std::optional<QString> modelNameFromGetprop(QByteArrayView text);

}  // namespace vf
