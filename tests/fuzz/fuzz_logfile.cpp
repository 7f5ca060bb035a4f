// File reading and layout detection on arbitrary file contents: the reader
// either gives rows or says it cannot tell the layout; it never crashes.
#include <QFile>
#include <QTemporaryDir>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/log/logexport.h"
#include "core/log/logparser.h"
#include "core/support/text.h"

namespace {
QString scratchFile(const char* name) {
    static QTemporaryDir dir;
    return dir.filePath(QString::fromLatin1(name));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string_view> lines = vf::splitLines(text, vf::LineBreaks::LfCr);
    (void)vf::determineLogType(lines);
    (void)vf::joinLongFormatArray(lines);

    // The same bytes as a saved text log and as a property-list log.
    for (const char* name : {"fuzz.log", "fuzz.vellumfox"}) {
        const QString path = scratchFile(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return 0;
        file.write(reinterpret_cast<const char*>(data), qint64(size));
        file.close();
        (void)vf::openLogFile(path, vf::rowCounter());
    }
    return 0;
}
