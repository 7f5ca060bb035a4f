#include "core/filter/regexscan.h"

#include <cstring>
#include <utility>

namespace vf::filter {

namespace {

constexpr size_t npos = std::string_view::npos;

bool isAlnum(char c) { return (c >= '0' && c <= '9') || (unsigned(c | 0x20) - 'a' < 26u); }
bool isOneOf(char c, const char* set) { return c != '\0' && std::strchr(set, c) != nullptr; }

// Extended mode: blanks and '#' comments change what every later character means.
bool hasExtendedMode(std::string_view p) { return mayTurnOn(p, 'x'); }

// The index after the escape whose letter is at `i` (the character after
// the backslash), with whatever that letter takes: \x41, \x{..}, \p{..},
// \pL, \cX, \g<..>, \123. Taking too much only costs a literal; npos: an
// unclosed brace.
size_t escapeEnd(std::string_view p, size_t i) {
    const char letter = p[i++];
    if (!isAlnum(letter)) return i;
    if (letter == 'c') return i + 1 <= p.size() ? i + 1 : npos;
    if (!isOneOf(letter, "xopPgkN0123456789")) return i;
    if (i < p.size() && isOneOf(p[i], "{<'")) {
        const char close = p[i] == '{' ? '}' : p[i] == '<' ? '>' : '\'';
        const size_t end = p.find(close, i + 1);
        return end == npos ? npos : end + 1;
    }
    if (letter == 'p' || letter == 'P') return i + 1 <= p.size() ? i + 1 : npos;
    while (i < p.size() && (isAlnum(p[i]) || p[i] == '+' || p[i] == '-')) ++i;
    return i;
}

// The index after the class that opens at `i`; npos when it is beyond
// this reading (a '[' inside, \Q, no end).
size_t classEnd(std::string_view p, size_t i) {
    ++i;
    if (i < p.size() && p[i] == '^') ++i;
    if (i < p.size() && p[i] == ']') ++i;  // a ']' first is itself
    while (i < p.size()) {
        const char c = p[i];
        if (c == ']') return i + 1;
        if (c == '[') return npos;
        if (c == '\\') {
            if (i + 1 >= p.size() || p[i + 1] == 'Q' || p[i + 1] == 'E') return npos;
            i = escapeEnd(p, i + 1);
            if (i == npos) return npos;
            continue;
        }
        ++i;
    }
    return npos;
}

// The index after the group that opens at `i`; npos when it is beyond this reading.
size_t groupEnd(std::string_view p, size_t i) {
    int depth = 0;
    while (i < p.size()) {
        const char c = p[i];
        if (c == '\\') {
            if (i + 1 >= p.size() || p[i + 1] == 'Q') return npos;
            i = escapeEnd(p, i + 1);
            if (i == npos) return npos;
            continue;
        }
        if (c == '[') {
            i = classEnd(p, i);
            if (i == npos) return npos;
            continue;
        }
        if (c == '(') ++depth;
        if (c == ')' && --depth == 0) return i + 1;
        ++i;
    }
    return npos;
}

// The end of a "(?" group's head that leaves matching as it is (a plain,
// named or flag group); npos for any other kind.
size_t plainGroupHead(std::string_view p, size_t i) {
    if (i + 1 >= p.size()) return i + 1;
    if (p[i + 1] != '?') return p[i + 1] == '*' ? npos : i + 1;
    size_t j = i + 2;
    if (j >= p.size()) return npos;
    if (p[j] == ':') return j + 1;
    if (p[j] == 'P' && j + 1 < p.size() && p[j + 1] == '<') ++j;
    if (p[j] == '<' || p[j] == '\'') {
        if (j + 1 >= p.size() || !(isAlnum(p[j + 1]) || p[j + 1] == '_') || (p[j + 1] >= '0' && p[j + 1] <= '9'))
            return npos;
        const size_t end = p.find(p[j] == '<' ? '>' : '\'', j + 1);
        return end == npos ? npos : end + 1;
    }
    while (j < p.size() && isOneOf(p[j], "imnsJU-")) ++j;
    return j > i + 2 && j < p.size() && (p[j] == ')' || p[j] == ':') ? j + 1 : npos;
}

}  // namespace

bool mayTurnOn(std::string_view p, char flag) {
    for (size_t at = p.find("(?"); at != npos; at = p.find("(?", at + 2)) {
        for (size_t i = at + 2; i < p.size() && (isAlnum(p[i]) || p[i] == '-' || p[i] == '^'); ++i)
            if (p[i] == flag) return true;
    }
    return false;
}

std::vector<std::string> requiredWords(std::string_view p) {
    if (hasExtendedMode(p)) return {};
    std::vector<std::string> words;
    std::string run, best;
    bool lastLiteral = false;
    const auto endRun = [&] {
        if (run.size() > best.size()) best = run;
        run.clear();
        lastLiteral = false;
    };
    const auto endAlternative = [&] {
        endRun();
        if (best.empty()) return false;
        words.push_back(std::exchange(best, {}));
        return true;
    };
    size_t i = 0;
    while (i < p.size()) {
        const char c = p[i];
        if (c == '\\') {
            if (i + 1 >= p.size() || p[i + 1] == 'Q' || p[i + 1] == 'E') return {};
            const char escaped = p[i + 1];
            if (!isAlnum(escaped) && static_cast<unsigned char>(escaped) < 0x80) {
                run += escaped;
                lastLiteral = true;
                i += 2;
                continue;
            }
            endRun();
            i = escapeEnd(p, i + 1);
        } else if (c == '[') {
            endRun();
            i = classEnd(p, i);
        } else if (c == '(') {
            endRun();
            i = groupEnd(p, i);
        } else if (c == ')') {
            return {};
        } else if (c == '|') {
            if (!endAlternative()) return {};
            ++i;
        } else if (isOneOf(c, "*+?{")) {
            // What a quantifier follows may be missing from a match.
            if (lastLiteral) run.pop_back();
            endRun();
            const size_t close = c == '{' ? p.find('}', i) : npos;
            i = close == npos ? i + 1 : close + 1;
        } else if (isOneOf(c, ".^$") || static_cast<unsigned char>(c) >= 0x80) {
            endRun();
            ++i;
        } else {
            run += char(c >= 'A' && c <= 'Z' ? c | 0x20 : c);
            lastLiteral = true;
            ++i;
        }
        if (i == npos) return {};
    }
    if (!endAlternative()) return {};
    return words;
}

std::optional<std::string> wholeTextPattern(std::string_view p) {
    if (hasExtendedMode(p)) return std::nullopt;
    std::string out;
    bool afterAnchor = false;
    size_t i = 0;
    while (i < p.size()) {
        const char c = p[i];
        size_t next = i + 1;
        bool anchor = false;
        if (c == '\\') {
            if (i + 1 >= p.size() || isOneOf(p[i + 1], "KQEgk")) return std::nullopt;
            anchor = isOneOf(p[i + 1], "bBAzZG");
            next = escapeEnd(p, i + 1);
        } else if (c == '^' || c == '$') {
            anchor = true;
        } else if (c == '[') {
            next = classEnd(p, i);
        } else if (c == '(') {
            next = plainGroupHead(p, i);
        } else if (isOneOf(c, "*+?{")) {
            // An anchor cannot simply go from under a quantifier, and a
            // possessive one commits to a length the text around may change.
            if (afterAnchor) return std::nullopt;
            if (c == '{') next = p.find('}', i) == npos ? i + 1 : p.find('}', i) + 1;
            if (next < p.size() && p[next] == '+' && (c != '{' || p[next - 1] == '}')) return std::nullopt;
        }
        if (next == npos) return std::nullopt;
        if (!anchor) out.append(p.substr(i, next - i));
        afterAnchor = anchor;
        i = next;
    }
    return out;
}

}  // namespace vf::filter
