#pragma once
// Helpers shared by the log tests.

#include <string>

#include "core/log/logrow.h"
#include "support/fixtures/files.h"

namespace vf::test {

// A whole row as one "time|app|pid|tid|type|name|text" string (then "|uid"
// when it has one), so a test compares every field at once and a failure
// shows the row.
inline std::string fields(const RowValues& v) {
    return v.time + '|' + v.app + '|' + v.pid + '|' + v.tid + '|' + v.type + '|' + v.name + '|' + v.text +
           (v.uid.empty() ? std::string() : '|' + v.uid);
}
inline std::string fields(const Row& row) { return fields(row.values()); }

}  // namespace vf::test
