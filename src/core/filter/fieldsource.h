#pragma once
// The keys of a log row, as the filter language names them, and the small
// interface through which a predicate reads a row's fields. The filter module
// knows nothing else about rows.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vf {

// `uid` is the log's uid column ("-v uid"), as the device printed it: a
// number such as 10152 or a short user name such as shell or u0_a5; empty
// when the log has no such column. `buffer` is the device's log buffer the
// row came from ("main", "crash" ...; empty when not known), kept as a
// small number, not as text of the line.
enum class RowKey : uint8_t {
    Idx, Time, App, Pid, Tid, Type, Name, Text, Uid,
    Package,  // computed, after every stored key: see kPackageKeyName
    Buffer,   // not a piece of the line: see kBufferKeyName
    Source,   // not a piece of the line: see kSourceKeyName
};

// The keys a row stores, Idx .. Uid.
inline constexpr int kRowKeyCount = 9;

// The row keys, spelled exactly, in their fixed order.
inline constexpr std::array<std::string_view, kRowKeyCount> kRowKeyNames{
    "idx", "time", "app", "pid", "tid", "type", "name", "text", "uid"};

// A key the filter language reads but rows do not store: the app column up
// to its first ':' ("com.example:remote" is package "com.example"), without
// a user ("com.example@10" is package "com.example"; see packageOf()).
inline constexpr std::string_view kPackageKeyName = "package";

// The row's log buffer.
inline constexpr std::string_view kBufferKeyName = "buffer";

// Where the row was read: the device (model and serial) or the file's name,
// as the viewer's tab names it; empty when nobody named it.
inline constexpr std::string_view kSourceKeyName = "source";

inline constexpr std::string_view rowKeyName(RowKey key) {
    if (key == RowKey::Package) return kPackageKeyName;
    if (key == RowKey::Buffer) return kBufferKeyName;
    if (key == RowKey::Source) return kSourceKeyName;
    return kRowKeyNames[size_t(key)];
}

inline std::optional<RowKey> rowKeyFromName(std::string_view name) {
    if (name == kPackageKeyName) return RowKey::Package;
    if (name == kBufferKeyName) return RowKey::Buffer;
    if (name == kSourceKeyName) return RowKey::Source;
    for (size_t i = 0; i < kRowKeyNames.size(); ++i)
        if (kRowKeyNames[i] == name) return RowKey(i);
    return std::nullopt;
}

// The package of an app column: up to its first ':', and without the
// "@user" an app in another user shows with ("com.example:remote@10" is
// package com.example).
inline constexpr std::string_view packageOf(std::string_view app) {
    app = app.substr(0, app.find(':'));
    const size_t at = app.rfind('@');
    if (at == std::string_view::npos || at + 1 == app.size()) return app;
    for (const char c : app.substr(at + 1))
        if (c < '0' || c > '9') return app;
    return app.substr(0, at);
}

// Room for a number written as text (the row's idx).
using FieldScratch = std::array<char, 24>;

class FieldSource {
public:
    virtual ~FieldSource() = default;
    // The field's value as UTF-8. Idx is written in decimal into `scratch`
    // and the view points there.
    virtual std::string_view field(RowKey key, FieldScratch& scratch) const = 0;
};

}  // namespace vf
