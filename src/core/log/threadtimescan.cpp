#include "core/log/threadtimescan.h"

#include "core/support/text.h"

namespace vf {

namespace {

// What a header column is made of: printable ASCII but the blank.
inline bool isHeaderByte(char c) noexcept { return c > ' ' && c < '\x7F'; }

// The blank after a column of header bytes that starts at `p`; null when the
// column is empty or something else follows it.
inline const char* columnEnd(const char* p, const char* end) noexcept {
    const char* q = p;
    while (q < end && isHeaderByte(*q)) ++q;
    return q != p && q < end && *q == ' ' ? q : nullptr;
}

inline const char* skipBlanks(const char* p, const char* end) noexcept {
    while (p < end && *p == ' ') ++p;
    return p;
}

// A first byte of a tag that the parser's white-space skip surely stops at:
// neither a control byte nor the lead byte of a Unicode space, nor the colon
// that would leave the tag empty.
inline bool startsTag(char ch) noexcept {
    const auto c = static_cast<unsigned char>(ch);
    return c > ' ' && c != ':' && c != 0xC2 && c != 0xE1 && c != 0xE2 && c != 0xE3;
}

}  // namespace

ScannedLine scanThreadTimeLine(const char* const line, const char* const end, bool appColumn) noexcept {
    ScannedLine out;
    // Not the plain shape: the line is the general parser's, which needs its end.
    const auto other = [&out, end](const char* from) {
        out.end = findLfCr(from, end);
        return out;
    };
    if (line == end || *line == '-') return other(line);
    const char* dateEnd = columnEnd(line, end);
    if (dateEnd == nullptr) return other(line);
    const char* timeEnd = columnEnd(dateEnd + 1, end);
    if (timeEnd == nullptr) return other(dateEnd);
    const char* process = skipBlanks(timeEnd, end);
    const char* processEnd = columnEnd(process, end);
    if (processEnd == nullptr) return other(process);
    const char* tid = skipBlanks(processEnd, end);
    const char* tidEnd = columnEnd(tid, end);
    if (tidEnd == nullptr) return other(tid);
    const char* level = skipBlanks(tidEnd, end);
    if (end - level < 2 || !isHeaderByte(level[0]) || level[1] != ' ') return other(level);
    const char* tag = skipBlanks(level + 1, end);
    if (tag == end || !startsTag(*tag)) return other(tag);
    const char* colon = tag;
    while (colon < end && *colon != ':' && *colon != '\n' && *colon != '\r') ++colon;
    if (colon == end || *colon != ':') return other(colon);
    const char* text = colon + 1;
    if (text < end && *text == ' ') ++text;
    out.end = findLfCr(text, end);
    // Every header field lies before the colon: within a row's one-byte offsets when it does.
    if (out.end == text || colon - line > 0xFF) return out;

    const auto offset = [line](const char* at) { return uint8_t(at - line); };
    const char* tagEnd = colon;
    while (tagEnd > tag && (tagEnd[-1] == ' ' || tagEnd[-1] == '\t')) --tagEnd;
    std::string_view pid(process, size_t(processEnd - process));
    LineSlices& s = out.slices;
    if (appColumn) {
        const size_t open = pid.find('(');
        if (open != std::string_view::npos && pid.back() == ')') {
            if (open > 0) s.appOff = offset(process), s.appLen = uint8_t(open);
            pid = pid.substr(open + 1, pid.size() - open - 2);
        }
    }
    if (!pid.empty()) s.pidOff = offset(pid.data()), s.pidLen = uint8_t(pid.size());
    const std::string_view tidText(tid, size_t(tidEnd - tid));
    s.tidDash = tidText == pid;
    if (!s.tidDash) s.tidOff = offset(tid), s.tidLen = uint8_t(tidText.size());
    s.timeLen = offset(timeEnd);
    s.level = *level;
    s.nameOff = offset(tag), s.nameLen = uint8_t(tagEnd - tag);
    s.textOff = uint16_t(text - line);
    out.plain = true;
    return out;
}

}  // namespace vf
