#include "core/filter/querynodes.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <QDateTime>
#include <algorithm>

#include "core/filter/regexscan.h"

using namespace Qt::StringLiterals;

namespace vf::filter {

namespace {

constexpr int64_t kDayMilliseconds = 24LL * 3600 * 1000;
// Days before each month in a leap year: every date has its place.
constexpr int kDaysBefore[12] = {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335};

bool digits(std::string_view s, size_t at, size_t count, int& value) {
    if (at + count > s.size()) return false;
    value = 0;
    for (size_t i = at; i < at + count; ++i) {
        if (s[i] < '0' || s[i] > '9') return false;
        value = value * 10 + (s[i] - '0');
    }
    return true;
}

int64_t yearPosition(int month, int day, int64_t msOfDay) {
    return int64_t(kDaysBefore[month - 1] + day - 1) * kDayMilliseconds + msOfDay;
}

std::string_view trimmedStart(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    return s;
}

std::string_view trimmedEnd(std::string_view s) {
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
    return s;
}

}  // namespace

std::optional<int64_t> yearMilliseconds(std::string_view time) {
    // "MM-dd HH:mm:ss" then ".S…" (any number of fraction digits, three used).
    int month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (time.size() < 14 || time[2] != '-' || time[5] != ' ' || time[8] != ':' || time[11] != ':') return std::nullopt;
    if (!digits(time, 0, 2, month) || !digits(time, 3, 2, day) || !digits(time, 6, 2, hour) ||
        !digits(time, 9, 2, minute) || !digits(time, 12, 2, second))
        return std::nullopt;
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60) return std::nullopt;
    int64_t ms = 0;
    if (time.size() > 14) {
        if (time[14] != '.') return std::nullopt;
        int scale = 100;
        for (size_t i = 15; i < time.size() && scale > 0; ++i, scale /= 10) {
            if (time[i] < '0' || time[i] > '9') return std::nullopt;
            ms += (time[i] - '0') * scale;
        }
    }
    return yearPosition(month, day, ((hour * 60LL + minute) * 60 + second) * 1000 + ms);
}

int64_t yearMillisecondsNow() {
    const QDateTime now = QDateTime::currentDateTime();
    return yearPosition(now.date().month(), now.date().day(), now.time().msecsSinceStartOfDay());
}

// ---------------------------------------------------------------------------

AgePredicate::AgePredicate(int64_t span, int64_t reference, QString term)
    : Node(Kind::Extension), span_(span), reference_(reference), term_(std::move(term)) {}

Outcome AgePredicate::test(const FieldSource& row, FieldScratch& scratch, QString*) const {
    const auto time = yearMilliseconds(row.field(RowKey::Time, scratch));
    if (!time) return Outcome::False;
    if (span_ >= kYearMilliseconds / 2) return Outcome::True;
    int64_t age = (reference_ - *time) % kYearMilliseconds;
    if (age < 0) age += kYearMilliseconds;
    if (age > kYearMilliseconds / 2) age -= kYearMilliseconds;  // after the reference
    return age <= span_ ? Outcome::True : Outcome::False;
}

IdxSetPredicate::IdxSetPredicate(std::shared_ptr<const std::vector<uint64_t>> sorted, QString term)
    : Node(Kind::Extension), sorted_(std::move(sorted)), term_(std::move(term)) {}

Outcome IdxSetPredicate::test(const FieldSource& row, FieldScratch& scratch, QString*) const {
    if (!sorted_ || sorted_->empty()) return Outcome::False;
    const std::string_view idx = row.field(RowKey::Idx, scratch);
    uint64_t value = 0;
    for (const char c : idx) {
        if (c < '0' || c > '9') return Outcome::False;
        value = value * 10 + uint64_t(c - '0');
    }
    return !idx.empty() && std::binary_search(sorted_->begin(), sorted_->end(), value) ? Outcome::True
                                                                                       : Outcome::False;
}

bool isStackTraceLine(std::string_view text) {
    text = trimmedEnd(trimmedStart(text));
    if (text.starts_with("at ")) {
        const size_t open = text.find('(');
        return open != std::string_view::npos && open > 3 && text.ends_with(')');
    }
    if (text.starts_with("Caused by: ")) return true;
    if (!text.starts_with("... ") || !text.ends_with(" more")) return false;
    const std::string_view count = text.substr(4, text.size() - 9);
    return !count.empty() && std::all_of(count.begin(), count.end(), [](char c) { return c >= '0' && c <= '9'; });
}

Outcome StackTracePredicate::test(const FieldSource& row, FieldScratch& scratch, QString*) const {
    return isStackTraceLine(row.field(RowKey::Text, scratch)) ? Outcome::True : Outcome::False;
}

// ---------------------------------------------------------------------------

struct RegexPredicate::Compiled {
    pcre2_code* code = nullptr;
    bool jit = false;
    ~Compiled() {
        if (code != nullptr) pcre2_code_free(code);
    }
};

namespace {

constexpr uint32_t kRegexOptions = PCRE2_UTF | PCRE2_MATCH_INVALID_UTF;

// Match buffers of this thread; one pair of offsets is all a "found or not" needs.
pcre2_match_data* threadMatchData() {
    struct Holder {
        pcre2_match_data* data = pcre2_match_data_create(1, nullptr);
        ~Holder() { pcre2_match_data_free(data); }
    };
    thread_local Holder holder;
    return holder.data;
}

int match(const RegexPredicate::Compiled& compiled, std::string_view text, pcre2_match_data* data) {
    const auto* subject = reinterpret_cast<PCRE2_SPTR>(text.data() != nullptr ? text.data() : "");
    return compiled.jit ? pcre2_jit_match(compiled.code, subject, text.size(), 0, 0, data, nullptr)
                        : pcre2_match(compiled.code, subject, text.size(), 0, 0, data, nullptr);
}

// Where the first match in `text` starts (npos: none); 0 when the engine
// gave up (a limit), so that a search treats it as a hit.
size_t firstMatch(const RegexPredicate::Compiled& compiled, std::string_view text) {
    pcre2_match_data* data = threadMatchData();
    const int rc = match(compiled, text, data);
    if (rc == PCRE2_ERROR_NOMATCH) return std::string_view::npos;
    return rc < 0 ? 0 : size_t(pcre2_get_ovector_pointer(data)[0]);
}

std::shared_ptr<RegexPredicate::Compiled> compile(const std::string& pattern, int& code, PCRE2_SIZE& offset) {
    auto compiled = std::make_shared<RegexPredicate::Compiled>();
    compiled->code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), kRegexOptions,
                                   &code, &offset, nullptr);
    if (compiled->code == nullptr) return nullptr;
    compiled->jit = pcre2_jit_compile(compiled->code, PCRE2_JIT_COMPLETE) == 0;  // else the interpreter runs
    return compiled;
}

class WholeTextPattern final : public HeldPattern {
public:
    explicit WholeTextPattern(std::shared_ptr<const RegexPredicate::Compiled> compiled)
        : compiled_(std::move(compiled)) {}
    size_t find(std::string_view text) const override { return firstMatch(*compiled_, text); }

private:
    std::shared_ptr<const RegexPredicate::Compiled> compiled_;
};

// Below this length a required word is in too many lines to be worth
// searching for before the pattern itself.
constexpr size_t kRareWordLength = 3;

HeldText heldByPattern(RowKey key, const std::string& pattern) {
    if (key != RowKey::Time && key != RowKey::App && key != RowKey::Package && key != RowKey::Pid &&
        key != RowKey::Tid && key != RowKey::Name && key != RowKey::Text && key != RowKey::Uid)
        return {};
    // A literal is matched as it is, except that ignoring case 'k' and 's'
    // also match letters beyond ASCII (the Kelvin sign, the long s).
    const bool caseless = mayTurnOn(pattern, 'i');
    std::vector<HeldText> words;
    size_t shortest = SIZE_MAX;
    for (std::string& word : requiredWords(pattern)) {
        shortest = std::min(shortest, word.size());
        const bool folds = caseless && word.find_first_of("ks") != std::string::npos;
        words.push_back(folds ? HeldText::word(std::move(word)) : HeldText::byteWord(std::move(word)));
    }
    HeldText held = HeldText::anyOf(words);
    if (!held.empty() && shortest >= kRareWordLength) return held;
    if (const std::optional<std::string> loose = wholeTextPattern(pattern)) {
        int code = 0;
        PCRE2_SIZE offset = 0;
        std::shared_ptr<const RegexPredicate::Compiled> compiled = compile(*loose, code, offset);
        int matchesEmpty = 1;
        if (compiled) pcre2_pattern_info(compiled->code, PCRE2_INFO_MATCHEMPTY, &matchesEmpty);
        if (matchesEmpty == 0) {
            HeldText scan;
            scan.patterns.push_back(std::make_shared<WholeTextPattern>(std::move(compiled)));
            return scan;
        }
    }
    return held;
}

}  // namespace

std::shared_ptr<const RegexPredicate> RegexPredicate::make(RowKey key, const std::string& pattern, QString term,
                                                           Error* error) {
    int code = 0;
    PCRE2_SIZE offset = 0;
    std::shared_ptr<Compiled> compiled = compile(pattern, code, offset);
    if (!compiled) {
        if (error != nullptr) {
            PCRE2_UCHAR message[256];
            pcre2_get_error_message(code, message, sizeof message);
            error->message = QString::fromUtf8(reinterpret_cast<const char*>(message));
            error->offset = std::min<size_t>(offset, pattern.size());
        }
        return nullptr;
    }
    auto predicate = std::make_shared<RegexPredicate>(key, std::move(compiled), std::move(term));
    predicate->held_ = heldByPattern(key, pattern);
    return predicate;
}

RegexPredicate::RegexPredicate(RowKey key, std::shared_ptr<Compiled> compiled, QString term)
    : Node(Kind::Extension), key_(key), compiled_(std::move(compiled)), term_(std::move(term)) {}

RegexPredicate::~RegexPredicate() = default;

Outcome RegexPredicate::test(const FieldSource& row, FieldScratch& scratch, QString*) const {
    return match(*compiled_, row.field(key_, scratch), threadMatchData()) >= 0 ? Outcome::True : Outcome::False;
}

// ---------------------------------------------------------------------------

QueryPredicate::QueryPredicate(QString text, PredicatePtr tree, uint8_t uses)
    : Node(Kind::Query), text_(std::move(text)), owner_(std::move(tree)), uses_(uses) {
    tree_ = static_cast<const Node*>(owner_.get());
}

QString QueryPredicate::format() const { return u"QUERY "_s + quoted(text_); }

}  // namespace vf::filter
