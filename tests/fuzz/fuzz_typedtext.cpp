// Typed text on arbitrary input: the command sent to the device's shell is
// always "input text" and exactly one word whose value is the text with
// each space as "%s" (NUL, which no command can carry, dropped).
#include <QString>
#include <cstddef>
#include <cstdint>

#include "core/screen/typewriter.h"
#include "shellwords.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString typed = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::string command = "input text " + vf::TypeWriter::escapeText(typed).toStdString();
    const auto words = vf::test::plainShellWords(command);
    const std::string expected =
        QString(typed).remove(QChar(0)).replace(u' ', QStringLiteral("%s")).toStdString();
    if (!words || words->size() != 3 || (*words)[2] != expected) __builtin_trap();
    return 0;
}
