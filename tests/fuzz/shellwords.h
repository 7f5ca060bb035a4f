#pragma once
// A strict reading of one simple command line as a POSIX shell (and the
// device's mksh) would read it: the words after quote removal, or nothing
// when the line holds anything beyond plain words. Anything a shell might
// act on outside quotes (an operator, a second command, an expansion, a
// glob, a comment, a brace list) counts as "more than words". Used by the
// typed-text tests to prove that a command is exactly the words expected.
// Pure; any thread.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vf::test {

inline std::optional<std::vector<std::string>> plainShellWords(std::string_view line) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    const auto endWord = [&] {
        if (inWord) words.push_back(word);
        word.clear();
        inWord = false;
    };
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == ' ' || c == '\t') {
            endWord();
            continue;
        }
        const bool wordStart = !inWord;
        if (c == '\\') {
            if (i + 1 >= line.size()) return std::nullopt;
            if (line[i + 1] == '\n') {  // a line continuation: both vanish
                ++i;
                continue;
            }
            word += line[++i];
        } else if (c == '\'') {
            const size_t close = line.find('\'', i + 1);
            if (close == std::string_view::npos) return std::nullopt;
            word.append(line.substr(i + 1, close - i - 1));
            i = close;
        } else if (c == '"') {
            for (++i;; ++i) {
                if (i >= line.size()) return std::nullopt;
                const char d = line[i];
                if (d == '"') break;
                if (d == '$' || d == '`') return std::nullopt;
                if (d == '\\' && i + 1 < line.size() &&
                    std::string_view("$`\"\\\n").find(line[i + 1]) != std::string_view::npos) {
                    if (line[++i] != '\n') word += line[i];
                    continue;
                }
                word += d;
            }
        } else if (std::string_view("\n;&|<>()$`*?[]{}").find(c) != std::string_view::npos) {
            return std::nullopt;
        } else if (wordStart && (c == '#' || c == '~' || c == '!')) {
            return std::nullopt;
        } else {
            word += c;
        }
        inWord = true;
    }
    endWord();
    return words;
}

}  // namespace vf::test
