#pragma once
// Saved logs as the viewer opens them: a bugreport (its zip or its text) when
// the content says so, a "vellumfox" property-list file when the name says so
// and the file holds a dictionary, logcat text otherwise.
// Any thread; blocking file I/O.

#include <QString>
#include <optional>
#include <ostream>

#include "core/log/bugreport.h"
#include "core/log/logparser.h"
#include "core/log/logrow.h"

namespace vf::cli {

struct SavedLog {
    RowList rows;
    QString error;  // set when the file could not be read as a log
    ReportFacts facts;  // a bugreport's device and build
};

// `progress`: a terminal to show how far the reading of a large file got
// on (one line, rewritten as it grows, cleared at the end); null: quiet.
SavedLog openSavedLog(const QString& path, std::ostream* progress = nullptr);

struct LayoutDetection {
    bool propertyList = false;  // a vellumfox property-list file (no layout code)
    ReportLayout report;  // a bugreport's (its kind None for other files)
    LogLineFormat format = LogLineFormat::None;
    QString error;  // set when the file could not be read
};

LayoutDetection detectLayout(const QString& path);

// Why `path` cannot be read, or an empty string when it can.
QString unreadableReason(const QString& path);

}  // namespace vf::cli
