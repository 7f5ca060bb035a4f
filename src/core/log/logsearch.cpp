#include "core/log/logsearch.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>
#include <string>

#include "core/support/logger.h"

namespace vf {

namespace {

constexpr std::array<RowKey, 6> kSearchKeys{RowKey::Time, RowKey::App, RowKey::Pid,
                                            RowKey::Tid,  RowKey::Name, RowKey::Text};

pcre2_code* compile(const std::string& pattern, uint32_t extraOptions) {
    int errorCode = 0;
    PCRE2_SIZE errorOffset = 0;
    pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                     PCRE2_UTF | PCRE2_MATCH_INVALID_UTF | extraOptions, &errorCode, &errorOffset,
                                     nullptr);
    if (code != nullptr) pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    return code;
}

// Whether a pattern could fail on the six fields joined by line feeds while
// matching one of them alone: anchors to the whole subject, lookaround that
// could see the separator, and start-of-pattern options.
bool joinedMatchIsSafe(const std::string& pattern) {
    for (size_t i = 0; i + 1 < pattern.size(); ++i) {
        const char c = pattern[i];
        const char next = pattern[i + 1];
        if ((c == '(' && (next == '?' || next == '*')) ||
            (c == '\\' && (next == 'A' || next == 'z' || next == 'Z' || next == 'G'))) {
            return false;
        }
        if (c == '\\') ++i;
    }
    return true;
}

}  // namespace

struct RowSearch::Impl {
    QString text;
    pcre2_code* field = nullptr;   // one value at a time
    pcre2_code* joined = nullptr;  // the six values joined by "\n" (multi-line): a quick "no" per row
    pcre2_match_data* matchData = nullptr;
    std::string buffer;

    bool search(pcre2_code* code, std::string_view subject) {
        const auto* s = reinterpret_cast<PCRE2_SPTR>(subject.data());
        const int rc = pcre2_match(code, s, subject.size(), 0, 0, matchData, nullptr);
        return rc >= 0;
    }

    std::optional<RowKey> firstKey(const Row& row) {
        for (RowKey key : kSearchKeys)
            if (search(field, row.view(key))) return key;
        return std::nullopt;
    }
};

RowSearch::RowSearch(const QString& text) : d(std::make_unique<Impl>()) {
    d->text = text;
    const std::string pattern = text.toStdString();
    d->field = compile(pattern, 0);
    if (d->field == nullptr) return;
    if (joinedMatchIsSafe(pattern)) d->joined = compile(pattern, PCRE2_MULTILINE);
    d->matchData = pcre2_match_data_create(1, nullptr);
    d->buffer.reserve(1024);
}

RowSearch::~RowSearch() {
    if (d->matchData != nullptr) pcre2_match_data_free(d->matchData);
    if (d->joined != nullptr) pcre2_code_free(d->joined);
    if (d->field != nullptr) pcre2_code_free(d->field);
}

const QString& RowSearch::text() const { return d->text; }

bool RowSearch::isValid() const { return d->field != nullptr; }

std::optional<RowKey> RowSearch::firstMatchingKey(const Row& row) const {
    if (d->field == nullptr) return std::nullopt;
    if (d->joined != nullptr) {
        // Most rows do not match: one search over all six values rules them out.
        std::string& buffer = d->buffer;
        buffer.clear();
        for (RowKey key : kSearchKeys) {
            buffer.append(row.view(key));
            buffer.push_back('\n');
        }
        if (!d->search(d->joined, buffer)) return std::nullopt;
    }
    return d->firstKey(row);
}

SearchOutcome findNext(const RowList& rows, const RowSearch& search, std::optional<ViewPos> selected,
                       int direction) {
    // A plain position with a flag: GCC cannot follow an optional through the lambda below.
    const bool hasSelection = selected.has_value();
    const qsizetype selectedRow = hasSelection ? selected->value() : 0;
    SearchOutcome outcome;
    const qsizetype n = rows.size();
    if (n == 0 || search.text().isEmpty()) return outcome;
    int d = direction;
    auto checkSearchIndex = [&](qsizetype i) {
        if (i >= n || i < 0) {
            if (d != 0) ++outcome.beeps;
            return i >= n ? qsizetype(0) : n - 1;
        }
        return i;
    };
    qsizetype s = hasSelection ? selectedRow : n;
    if (hasSelection && d == 1) s += 1;
    if (!hasSelection || d == -1) {
        s -= 1;
        d = -1;
    }
    const qsizetype start = checkSearchIndex(s);
    const int step = d == -1 ? -1 : 1;
    // Find Next starts after the selected row and ends when it gets back to it.
    const qsizetype stopAt = (d == 1 && hasSelection) ? selectedRow : -1;
    qsizetype i = start;
    while (i != stopAt) {
        if (const auto key = search.firstMatchingKey(*rows.at(i))) {
            VF_LOG("found match: row:{}, key:{}, startIndex:{}, direction:{}, string:\"{}\"", i, rowKeyName(*key),
                   start, d, search.text());
            outcome.row = ViewPos(i);
            return outcome;
        }
        i = checkSearchIndex(i + step);
        if (i == start) break;
    }
    VF_LOG("No matches found! startIndex:{}, direction:{}, string:\"{}\"", start, d, search.text());
    if (d != 0) ++outcome.beeps;
    return outcome;
}

}  // namespace vf
