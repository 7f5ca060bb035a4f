#pragma once
// Helpers shared by the log tests.

#include <gtest/gtest.h>

#include <QByteArrayView>
#include <QFile>
#include <QTemporaryDir>
#include <string>

#include "core/log/logrow.h"

namespace vf::test {

// A whole row as one "time|app|pid|tid|type|name|text" string (then "|uid"
// when it has one), so a test compares every field at once and a failure
// shows the row.
inline std::string fields(const RowValues& v) {
    return v.time + '|' + v.app + '|' + v.pid + '|' + v.tid + '|' + v.type + '|' + v.name + '|' + v.text +
           (v.uid.empty() ? std::string() : '|' + v.uid);
}
inline std::string fields(const Row& row) { return fields(row.values()); }

// Writes `bytes` to `name` in `dir`; returns the path.
inline QString writeFile(const QTemporaryDir& dir, const QString& name, QByteArrayView bytes) {
    const QString path = dir.filePath(name);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(bytes.data(), bytes.size());
    return path;
}

}  // namespace vf::test
