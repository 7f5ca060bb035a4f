#pragma once
// How bytes from a device or a file become text, one rule for every reader:
//
// Decoding: the bytes are read as UTF-8, and each byte that is not part of a
// well-formed sequence becomes U+FFFD; nothing else is lost, so one stray
// byte never costs a whole line or a whole reply.
//
// Lines: a splitter with two named modes. Both break at each break
// character on its own, so a CR LF pair leaves an empty line between its two
// characters, and every piece is kept, the last one too (empty after a final
// break):
//   LfCr        saved log files: LF and CR.
//   AnyNewline  what the ADB server and the device's commands print (the
//               device listing, ps, build.prop, getprop): LF, VT, FF, CR,
//               NEL and the Unicode line and paragraph separators.
// The splitter works on UTF-8 text; pass bytes through the decoding rule
// first when they may not be UTF-8.
//
// Pure functions and a value splitter; any thread.

#include <QByteArrayView>
#include <QString>
#include <QStringList>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vf {

enum class LineBreaks { LfCr, AnyNewline };

// Walks the lines of a text; the text must outlive the splitter.
class LineSplitter final {
public:
    LineSplitter(std::string_view text, LineBreaks breaks) noexcept
        : p_(text.data()), end_(text.data() + text.size()), breaks_(breaks) {}

    // The next line (possibly empty), without its break; false after the
    // last one.
    bool next(std::string_view& line) noexcept;

private:
    const char* p_;
    const char* end_;
    LineBreaks breaks_;
    bool done_ = false;
};

// The first LF or CR at or after p, or end (the LfCr breaks). Files of a
// million lines pass here.
const char* findLfCr(const char* p, const char* end) noexcept;

// Every line of `text` (see LineSplitter).
std::vector<std::string_view> splitLines(std::string_view text, LineBreaks breaks);

// The LF and CR bytes of a text, counted fast (a file's line count before
// it is split).
struct BreakCount {
    size_t lf = 0;
    size_t cr = 0;
};
BreakCount countLineBreaks(std::string_view text) noexcept;

// The decoding rule on bytes: valid UTF-8 with U+FFFD for each stray byte.
std::string validUtf8(std::string_view bytes);
// The decoding rule to a string.
QString decodeText(QByteArrayView bytes);
// What a device command printed, as lines: decoded, then split AnyNewline.
QStringList outputLines(QByteArrayView output);

}  // namespace vf
