#include "core/log/linecut.h"

#include <QByteArray>
#include <algorithm>
#include <cstring>

#include "core/adb/replyframing.h"
#include "core/support/text.h"

namespace vf {

namespace {

constexpr size_t kLimit = size_t(kMaxLineBytes);
constexpr size_t kMarkBytes = sizeof kCutLineMark - 1;

// The line's first bytes (at most `prefix`, whole characters only) and the mark.
QByteArray markedPrefix(std::string_view line, size_t prefix) {
    QByteArray cut =
        markCutLine(QByteArrayView(line.data(), qsizetype(std::min(prefix, line.size()))));
    cut.chop(1);  // the line feed the live path needs
    return cut;
}

}  // namespace

std::string cutLongLine(std::string line) {
    if (line.size() <= kLimit) return line;
    return markedPrefix(line, kLimit).toStdString();
}

size_t cutLongLinesInPlace(std::string& text) {
    char* write = text.data();
    const char* read = text.data();
    const char* const end = text.data() + text.size();
    size_t cut = 0;
    while (read < end) {
        const char* lineEnd = findLfCr(read, end);
        const size_t length = size_t(lineEnd - read);
        if (length > kLimit) {
            // The kept prefix and the mark never outgrow the line they
            // replace: a line just over the limit keeps a little less.
            const QByteArray marked =
                markedPrefix(std::string_view(read, length), std::min(kLimit, length - kMarkBytes));
            std::memcpy(write, marked.constData(), size_t(marked.size()));
            write += marked.size();
            ++cut;
        } else {
            if (write != read) std::memmove(write, read, length);
            write += length;
        }
        read = lineEnd;
        if (read < end) *write++ = *read++;  // the break itself
    }
    text.resize(size_t(write - text.data()));
    return cut;
}

}  // namespace vf
