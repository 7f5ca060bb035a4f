#include "core/filter/nodes.h"

using namespace Qt::StringLiterals;

namespace vf::filter {

namespace tm = textmatch;

bool Node::evaluate(const FieldSource& row, QString* error) const {
    FieldScratch scratch;
    return test(row, scratch, error) == Outcome::True;
}

QString ConstantPredicate::format() const {
    return value_ ? u"TRUEPREDICATE"_s : u"FALSEPREDICATE"_s;
}

namespace {

// A predicate made elsewhere, taken into a compound.
class ForeignPredicate final : public Node {
public:
    explicit ForeignPredicate(PredicatePtr inner) : Node(Kind::Foreign), inner_(std::move(inner)) {}
    Outcome test(const FieldSource& row, FieldScratch&, QString* error) const override {
        QString reason;
        if (inner_->evaluate(row, &reason)) return Outcome::True;
        if (reason.isEmpty()) return Outcome::False;
        if (error != nullptr) *error = reason;
        return Outcome::Error;
    }
    QString format() const override { return inner_->format(); }

private:
    PredicatePtr inner_;
};

QString operatorText(CompareOp op) {
    switch (op) {
        case CompareOp::Equal: return u"=="_s;
        case CompareOp::NotEqual: return u"!="_s;
        case CompareOp::Contains: return u"CONTAINS"_s;
        case CompareOp::In: return u"IN"_s;
        case CompareOp::BeginsWith: return u"BEGINSWITH"_s;
        case CompareOp::EndsWith: return u"ENDSWITH"_s;
        case CompareOp::Like: return u"LIKE"_s;
    }
    return {};
}

// Comparison of two texts already folded alike.
bool compareFolded(CompareOp op, std::string_view field, std::string_view value) {
    switch (op) {
        case CompareOp::Equal: return field == value;
        case CompareOp::NotEqual: return field != value;
        // An empty text is found nowhere, and nothing is found in it.
        case CompareOp::Contains: return !value.empty() && field.find(value) != std::string_view::npos;
        case CompareOp::In: return !field.empty() && value.find(field) != std::string_view::npos;
        case CompareOp::BeginsWith: return !value.empty() && field.starts_with(value);
        case CompareOp::EndsWith: return !value.empty() && field.ends_with(value);
        case CompareOp::Like: return tm::globMatch(field, value);
    }
    return false;
}

// Whether `needle` (ASCII, any case when lowering) occurs in `haystack`.
bool asciiFind(std::string_view haystack, std::string_view needle, bool lower) {
    if (needle.size() > haystack.size()) return false;
    for (size_t i = 0; i + needle.size() <= haystack.size(); ++i) {
        size_t k = 0;
        for (; k < needle.size(); ++k) {
            const auto c = static_cast<unsigned char>(needle[k]);
            if (static_cast<unsigned char>(haystack[i + k]) != (lower ? tm::lowerAscii(c) : c)) break;
        }
        if (k == needle.size()) return true;
    }
    return false;
}

// Room for a folded field; each thread reuses its own, so folding a row
// allocates only while the buffer still grows.
std::string& foldBuffer() {
    thread_local std::string buffer;
    return buffer;
}

}  // namespace

// ---------------------------------------------------------------------------
// Comparison

ComparisonPredicate::ComparisonPredicate(QString key, CompareOp op, uint8_t options, QString value)
    : Node(Kind::Comparison), key_(std::move(key)), op_(op), options_(options), value_(std::move(value)) {
    const QByteArray keyUtf8 = key_.toUtf8();
    rowKey_ = rowKeyFromName(std::string_view(keyUtf8.constData(), size_t(keyUtf8.size())));
    const QByteArray valueUtf8 = value_.toUtf8();
    folded_ = tm::fold(std::string_view(valueUtf8.constData(), size_t(valueUtf8.size())), options_);
    foldedAscii_ = tm::isAscii(folded_);
    const bool caseFold = (options_ & tm::kCaseInsensitive) != 0;
    if (op_ == CompareOp::Contains && (foldedAscii_ || !caseFold)) searcher_ = tm::Searcher(folded_, caseFold);
    if (op_ == CompareOp::In) {
        for (char ch : folded_) {
            const auto c = static_cast<unsigned char>(ch);
            if (c >= 0x80) continue;
            inBytes_[c] = true;
            if (caseFold && unsigned(c) - 'a' < 26u) inBytes_[c - 0x20] = true;
        }
    }
}

// A field equal to, starting with, ending with or containing an ASCII value
// holds it; an ASCII field folds to itself or its lower case, and a field
// with other bytes is never skipped by a scan for ASCII text.
HeldText ComparisonPredicate::heldText() const {
    if (!rowKey_ || folded_.empty() || !foldedAscii_) return {};
    switch (*rowKey_) {
        case RowKey::Time:
        case RowKey::App:
        case RowKey::Package:  // a part of the app
        case RowKey::Pid:
        case RowKey::Tid:
        case RowKey::Name:
        case RowKey::Text:
        case RowKey::Uid: break;
        default: return {};
    }
    switch (op_) {
        case CompareOp::Equal:
        case CompareOp::Contains:
        case CompareOp::BeginsWith:
        case CompareOp::EndsWith: break;
        default: return {};
    }
    std::string lower = folded_;
    for (char& c : lower) c = char(tm::lowerAscii(static_cast<unsigned char>(c)));
    return HeldText::word(std::move(lower));
}

Outcome ComparisonPredicate::test(const FieldSource& row, FieldScratch& scratch, QString* error) const {
    if (!rowKey_) {
        if (error != nullptr)
            *error = u"The key \"%1\" is not a field of log rows (known keys: idx, time, app, pid, tid, type, name, text, package)."_s
                         .arg(key_);
        return Outcome::Error;
    }
    return matches(row.field(*rowKey_, scratch)) ? Outcome::True : Outcome::False;
}

bool ComparisonPredicate::matches(std::string_view field) const {
    if (op_ == CompareOp::In) return matchesIn(field);
    if (options_ == tm::kNoOptions) {
        if (op_ == CompareOp::Contains) return !folded_.empty() && searcher_.scan(field) == tm::Searcher::Result::Found;
        return compareFolded(op_, field, folded_);
    }
    if (op_ == CompareOp::NotEqual) return !matchesFolding(field);
    return matchesFolding(field);
}

// With [c] and/or [d]. An ASCII field folds to itself or its lower case, so
// only fields with other bytes take the Unicode route. A match found in the
// raw bytes of an ASCII needle is a match after folding too: folding keeps
// every ASCII character in place.
bool ComparisonPredicate::matchesFolding(std::string_view field) const {
    const bool caseFold = (options_ & tm::kCaseInsensitive) != 0;
    const std::string_view value = folded_;
    switch (op_) {
        case CompareOp::Equal:
        case CompareOp::NotEqual:
            if (foldedAscii_ && (caseFold ? tm::equalsLowerAscii(field, value) : field == value)) return true;
            if (tm::isAscii(field)) return false;
            break;
        case CompareOp::Contains:
            if (value.empty()) return false;
            if (foldedAscii_) {
                const auto result = searcher_.scan(field);
                if (result != tm::Searcher::Result::AbsentNonAscii) return result == tm::Searcher::Result::Found;
            } else if (tm::isAscii(field)) {
                return false;
            }
            break;
        case CompareOp::BeginsWith:
        case CompareOp::EndsWith: {
            if (value.empty()) return false;
            if (foldedAscii_ && field.size() >= value.size()) {
                const size_t at = op_ == CompareOp::BeginsWith ? 0 : field.size() - value.size();
                const std::string_view part = field.substr(at, value.size());
                if (caseFold ? tm::equalsLowerAscii(part, value) : part == value) return true;
            }
            if (tm::isAscii(field)) return false;
            break;
        }
        case CompareOp::Like:
        case CompareOp::In: break;
    }
    std::string& folded = foldBuffer();
    tm::foldInto(field, options_, folded);
    return compareFolded(op_ == CompareOp::NotEqual ? CompareOp::Equal : op_, folded, value);
}

bool ComparisonPredicate::matchesIn(std::string_view field) const {
    if (field.empty()) return false;
    if (field.size() == 1 && static_cast<unsigned char>(field[0]) < 0x80)
        return inBytes_[static_cast<unsigned char>(field[0])];
    if (options_ == tm::kNoOptions) return folded_.find(field) != std::string::npos;
    if (tm::isAscii(field)) return asciiFind(folded_, field, (options_ & tm::kCaseInsensitive) != 0);
    std::string& folded = foldBuffer();
    tm::foldInto(field, options_, folded);
    return compareFolded(CompareOp::In, folded, folded_);
}

QString ComparisonPredicate::format() const {
    QString text = keyText(key_) % u' ' % operatorText(op_);
    if (options_ != tm::kNoOptions) {
        text += u'[';
        if (options_ & tm::kCaseInsensitive) text += u'c';
        if (options_ & tm::kDiacriticInsensitive) text += u'd';
        text += u']';
    }
    return text % u' ' % quoted(value_);
}

// ---------------------------------------------------------------------------
// Compound

CompoundPredicate::CompoundPredicate(Kind kind, std::vector<PredicatePtr> parts) : Node(kind) {
    parts_.reserve(parts.size());
    for (PredicatePtr& part : parts) {
        if (!part) continue;
        if (dynamic_cast<const Node*>(part.get()) == nullptr) part = std::make_shared<ForeignPredicate>(part);
        parts_.push_back(std::move(part));
    }
    for (const PredicatePtr& part : parts_) nodes_.push_back(static_cast<const Node*>(part.get()));
}

Outcome CompoundPredicate::test(const FieldSource& row, FieldScratch& scratch, QString* error) const {
    switch (kind()) {
        case Kind::And:
            for (const Node* node : nodes_) {
                const Outcome outcome = node->test(row, scratch, error);
                if (outcome != Outcome::True) return outcome;
            }
            return Outcome::True;
        case Kind::Or:
            for (const Node* node : nodes_) {
                const Outcome outcome = node->test(row, scratch, error);
                if (outcome != Outcome::False) return outcome;
            }
            return Outcome::False;
        case Kind::Not: {
            if (nodes_.empty()) return Outcome::False;
            const Outcome outcome = nodes_.front()->test(row, scratch, error);
            if (outcome == Outcome::Error) return outcome;
            return outcome == Outcome::True ? Outcome::False : Outcome::True;
        }
        default: return Outcome::Error;
    }
}

const Node* CompoundPredicate::printed() const {
    if (kind() != Kind::Not && nodes_.size() == 1) return nodes_.front()->printed();
    return this;
}

// AND: what any part holds (the one rarest to find); OR: one of what each
// part holds, when every part tells; NOT: nothing.
HeldText CompoundPredicate::heldText() const {
    if (kind() == Kind::Not || nodes_.empty()) return {};
    std::vector<HeldText> parts;
    for (const Node* node : nodes_) {
        parts.push_back(node->heldText());
        if (kind() == Kind::Or && parts.back().empty()) return {};
    }
    return kind() == Kind::And ? HeldText::best(std::move(parts)) : HeldText::anyOf(parts);
}

QString CompoundPredicate::formatPart(const Node* part) const {
    const Node* shown = part->printed();
    const bool compound = (shown->kind() == Kind::And || shown->kind() == Kind::Or);
    return compound ? u'(' % part->format() % u')' : part->format();
}

QString CompoundPredicate::format() const {
    if (kind() == Kind::Not) return nodes_.empty() ? u"FALSEPREDICATE"_s : u"NOT "_s % formatPart(nodes_.front());
    if (nodes_.empty()) return kind() == Kind::And ? u"TRUEPREDICATE"_s : u"FALSEPREDICATE"_s;
    if (nodes_.size() == 1) return nodes_.front()->format();
    const QString joint = kind() == Kind::And ? u" AND "_s : u" OR "_s;
    QString text;
    for (size_t i = 0; i < nodes_.size(); ++i) {
        if (i > 0) text += joint;
        text += formatPart(nodes_[i]);
    }
    return text;
}

// ---------------------------------------------------------------------------
// Spelling

QString shownToken(QStringView token) {
    constexpr qsizetype kShownLength = 40;
    if (token.size() <= kShownLength) return token.toString();
    return token.first(kShownLength).toString() + QStringLiteral("\u2026");
}

QString quoted(QStringView value) {
    QString text;
    text.reserve(value.size() + 2);
    text += u'"';
    for (QChar c : value) {
        switch (c.unicode()) {
            case u'"': text += u"\\\""; break;
            case u'\\': text += u"\\\\"; break;
            case u'\n': text += u"\\n"; break;
            case u'\r': text += u"\\r"; break;
            case u'\t': text += u"\\t"; break;
            default:
                if (c.unicode() < 0x20)
                    text += u"\\u"_s % QString::number(c.unicode(), 16).rightJustified(4, u'0');
                else
                    text += c;
        }
    }
    text += u'"';
    return text;
}

bool isReservedWord(QStringView word) {
    static constexpr QStringView kReserved[] = {
        u"AND", u"OR", u"NOT", u"IN", u"CONTAINS", u"BEGINSWITH", u"ENDSWITH", u"LIKE", u"MATCHES",
        u"TRUEPREDICATE", u"FALSEPREDICATE", u"ANY", u"ALL", u"SOME", u"NONE", u"BETWEEN", u"NULL",
        u"NIL", u"SELF", u"TRUE", u"FALSE", u"YES", u"NO", u"FIRST", u"LAST", u"SIZE", u"SUBQUERY", u"QUERY"};
    for (QStringView reserved : kReserved)
        if (word.compare(reserved, Qt::CaseInsensitive) == 0) return true;
    return false;
}

QString keyText(QStringView key) {
    return isReservedWord(key) ? u'#' % key.toString() : key.toString();
}

}  // namespace vf::filter
