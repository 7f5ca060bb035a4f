#pragma once
// Reading the device's process table ("shell:ps" output) into pid -> name
// entries. A pure function: any thread.
//
// Rules: lines are split at newline characters; empty lines and lines
// starting with "-" are skipped; "error:" lines are logged, and two of them
// end the reading with an abort reason (what an abort means is the caller's
// business); the first other line is the header; a line is split at single
// blanks and needs 4 pieces; the pid is the first piece that reads as an
// integer, the name the last piece; "<pre-initialized>" names are skipped.

#include <QByteArrayView>
#include <string>
#include <utility>
#include <vector>

namespace vf {

enum class PsAbort { None, MultipleDevices, DeviceNotFound };

struct PsTable {
    std::vector<std::pair<std::string, std::string>> entries;  // pid, name, in output order
    PsAbort abort = PsAbort::None;
};

PsTable parsePsText(QByteArrayView output);

}  // namespace vf
