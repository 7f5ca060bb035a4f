// Reading queries: the keys, the lexer, and what only needs the lexer
// (telling a query from other text, completing a word).

#include "core/filter/querylexer.h"

#include <algorithm>

#include "core/adb/logbuffer.h"
#include "core/filter/nodes.h"
#include "core/filter/query.h"
#include "core/support/strings.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace query {

void fail(const QString& message, qsizetype position) { throw Failure{ParseError{message, position}}; }

std::optional<Field> fieldNamed(QStringView name) {
    for (const KeyEntry& key : kKeys)
        if (name.compare(key.name, Qt::CaseInsensitive) == 0) return key.field;
    return std::nullopt;
}

namespace {

// The key a mistyped word stands for. Only the longer keys: a short word
// one slip from "tag" or "pid" is too often text of its own ("page:").
std::optional<QStringView> keyNear(QStringView word) {
    if (word.size() < 4) return std::nullopt;
    for (const KeyEntry& key : kKeys)
        if (key.name.size() >= 4 && oneSlipApart(word, key.name)) return key.name;
    return std::nullopt;
}

QString keyNames() {
    QStringList names;
    for (const KeyEntry& key : kKeys) names << key.name.toString();
    return names.join(u", "_s);
}

}  // namespace

std::vector<Token> Lexer::tokens() {
    std::vector<Token> result;
    for (;;) {
        while (pos_ < text_.size() && text_[pos_].isSpace()) ++pos_;
        Token token;
        token.position = pos_;
        if (pos_ >= text_.size()) {
            result.push_back(token);
            return result;
        }
        const QChar c = text_[pos_];
        if (c == u'(' || c == u')') {
            token.type = c == u'(' ? Token::Type::Open : Token::Type::Close;
            ++pos_;
        } else if (c == u'|' || c == u'&') {
            token.type = c == u'|' ? Token::Type::Or : Token::Type::And;
            ++pos_;
            if (pos_ < text_.size() && text_[pos_] == c) ++pos_;  // "||" and "&&" too
        } else if (c == u'-' && pos_ + 1 < text_.size() && text_[pos_ + 1] == u'(') {
            token.type = Token::Type::Not;
            ++pos_;
        } else {
            token.type = Token::Type::Term;
            token.term = readTerm();
        }
        result.push_back(std::move(token));
    }
}

Term Lexer::readTerm() {
    const qsizetype start = pos_;
    Term term;
    if (text_[pos_] == u'-') {
        term.negated = true;
        ++pos_;
        if (pos_ >= text_.size() || endsRun(text_[pos_])) fail(u"Expected a term after '-'."_s, start);
    }
    readKey(term);
    term.valuePosition = pos_;
    if (pos_ >= text_.size() || endsRun(text_[pos_]))
        fail(u"Empty value after '%1' (a value with blanks or ( ) | & goes in quotes)."_s.arg(
                 filter::shownToken(QStringView(text_).mid(start, pos_ - start))),
             pos_);
    if (text_[pos_] == u'"' || text_[pos_] == u'\'') {
        term.valuePosition = pos_ + 1;
        term.value = readQuoted();
        if (term.value.isEmpty()) fail(u"The quotes hold nothing."_s, term.valuePosition - 1);
    } else {
        term.value = readRun();
    }
    term.source = text_.mid(start, pos_ - start).toString();
    return term;
}

void Lexer::readKey(Term& term) {
    if (pos_ < text_.size() && (text_[pos_] == u'"' || text_[pos_] == u'\'')) return;
    qsizetype end = pos_;
    while (end < text_.size() && text_[end].isLetter()) ++end;
    const QStringView rest = text_.mid(end);
    const Op op = rest.startsWith(u"=:") ? Op::Equals : rest.startsWith(u"~:") ? Op::Regex : Op::Contains;
    const qsizetype opLength = op == Op::Contains ? 1 : 2;
    if (op == Op::Contains && !rest.startsWith(u':')) return;
    const QStringView name = text_.mid(pos_, end - pos_);
    const auto field = fieldNamed(name);
    if (!field) {
        failOnMistypedKey(name, op);
        return;
    }
    sawKey = true;
    term.field = field;
    term.op = op;
    pos_ = end + opLength;
}

void Lexer::failOnMistypedKey(QStringView name, Op op) {
    if (name.isEmpty()) return;
    const std::optional<QStringView> near = keyNear(name);
    if (!near && op == Op::Contains) return;
    sawKey = true;
    if (near)
        fail(u"Unknown key '%1': did you mean '%2'? (Quote the word to look for it as text.)"_s.arg(name, *near),
             pos_);
    fail(u"Unknown key '%1': the keys are %2."_s.arg(name, keyNames()), pos_);
}

QString Lexer::readQuoted() {
    const QChar quote = text_[pos_];
    const qsizetype start = pos_;
    QString value;
    for (++pos_; pos_ < text_.size(); ++pos_) {
        const QChar c = text_[pos_];
        if (c == quote) {
            ++pos_;
            return value;
        }
        if (c == u'\\' && pos_ + 1 < text_.size() && (text_[pos_ + 1] == u'"' || text_[pos_ + 1] == u'\'')) ++pos_;
        value += text_[pos_];
    }
    fail(u"Unterminated quote."_s, start);
}

QString Lexer::readRun() {
    const qsizetype start = pos_;
    while (pos_ < text_.size() && !endsRun(text_[pos_])) ++pos_;
    return text_.mid(start, pos_ - start).toString();
}


}  // namespace query

using namespace query;

bool looksLikeQuery(QStringView text) {
    Lexer lexer(text);
    try {
        lexer.tokens();
    } catch (const Failure&) {
    }
    return lexer.sawKey;
}

QueryCompletion completeQueryWord(QStringView text, qsizetype cursor, const QStringList& tags,
                                  const QStringList& packages) {
    QueryCompletion completion;
    cursor = std::clamp<qsizetype>(cursor, 0, text.size());
    qsizetype start = cursor;
    while (start > 0 && !endsRun(text[start - 1])) --start;
    if (start < cursor && text[start] == u'-') ++start;
    completion.start = start;
    completion.prefix = text.mid(start, cursor - start).toString();
    const QString& word = completion.prefix;
    if (word.isEmpty()) return completion;

    const qsizetype colon = word.indexOf(u':');
    if (colon < 0) {
        for (const KeyEntry& key : kKeys)
            if (key.name.startsWith(word, Qt::CaseInsensitive) && key.name.size() >= word.size())
                completion.candidates << key.name.toString() + u':';
    } else {
        const QString key = word.left(colon);  // with its operator
        const auto field = fieldNamed(QStringView(key).chopped(key.endsWith(u'=') || key.endsWith(u'~') ? 1 : 0));
        QStringList values;
        if (field == Field::Level)
            for (qsizetype i = 0; i < kLevelCount; ++i) values << kLevelWords[i].toString();
        if (field == Field::Is) values = QStringList{u"crash"_s, u"stacktrace"_s};
        if (field == Field::Tag) values = tags;
        if (field == Field::Package) values = packages;
        if (field == Field::Buffer) values = logBufferNames();
        QStringView typed = QStringView(word).mid(colon + 1);
        if (typed.startsWith(u'"') || typed.startsWith(u'\'')) typed = typed.mid(1);
        for (const QString& value : std::as_const(values)) {
            if (!value.startsWith(typed, Qt::CaseInsensitive) || value.size() == typed.size()) continue;
            const bool quote = std::any_of(value.begin(), value.end(), endsRun) || value.contains(u'"');
            completion.candidates << key + u':' +
                                         (quote ? u'\'' + QString(value).replace(u'\'', u"\\'"_s) + u'\'' : value);
        }
    }
    completion.candidates.sort(Qt::CaseInsensitive);
    completion.candidates.removeDuplicates();
    return completion;
}

}  // namespace vf
