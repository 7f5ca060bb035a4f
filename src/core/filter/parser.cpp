// Reading predicate texts: a small lexer and a recursive-descent parser.
//
//   or    := and  ( (OR | ||) and )*
//   and   := not  ( (AND | &&) not )*
//   not   := (NOT | !) not | atom
//   atom  := ( or ) | TRUEPREDICATE | FALSEPREDICATE | QUERY "query" | key op options? value
//
// A chain of one connective becomes one compound with all its parts; a
// parenthesised group stays a part of its own, so printing keeps the shape.

#include "core/filter/nodes.h"
#include "core/filter/query.h"
#include "core/support/strings.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace {

using filter::CompareOp;
using filter::Node;

struct Token {
    enum class Type { End, Identifier, String, Number, Symbol } type = Type::End;
    QString text;        // identifier/symbol spelling, or the string's value
    qsizetype position = 0;
    bool escaped = false;  // identifier written with '#': never a keyword
};

struct Failure {
    ParseError error;
};

// What the error says of a key rows lack: every key, and the one meant
// when the key is a slip or a letter case away from it ("typ", "Type").
QString unknownKeyMessage(const QString& key) {
    QStringList names;
    QString meant;
    const auto add = [&](std::string_view spelled) {
        const QString name = QString::fromLatin1(spelled.data(), qsizetype(spelled.size()));
        names << name;
        if (meant.isEmpty() && (name.compare(key, Qt::CaseInsensitive) == 0 || oneSlipApart(key, name))) meant = name;
    };
    for (const std::string_view name : kRowKeyNames) add(name);
    for (const std::string_view name : {kPackageKeyName, kBufferKeyName, kSourceKeyName}) add(name);
    const QString last = names.takeLast();
    return u"Unknown key '%1'%2: a row has %3 and %4."_s.arg(
        filter::shownToken(key), meant.isEmpty() ? QString() : u" (did you mean '%1'?)"_s.arg(meant),
        names.join(u", "_s), last);
}

bool isIdentifierStart(QChar c) { return c.isLetter() || c == u'_' || c == u'$'; }
bool isIdentifierPart(QChar c) { return c.isLetterOrNumber() || c == u'_' || c == u'$'; }

class Lexer {
public:
    explicit Lexer(QStringView text) : text_(text) {}

    // The next token; a malformed one yields an error instead.
    std::optional<ParseError> next(Token& token);

private:
    std::optional<ParseError> readString(Token& token);
    QStringView text_;
    qsizetype pos_ = 0;
};

std::optional<ParseError> Lexer::next(Token& token) {
    while (pos_ < text_.size() && text_[pos_].isSpace()) ++pos_;
    token = Token();
    token.position = pos_;
    if (pos_ >= text_.size()) return std::nullopt;
    const QChar c = text_[pos_];
    if (c == u'\'' || c == u'"') return readString(token);
    if (c == u'#' || isIdentifierStart(c)) {
        token.escaped = c == u'#';
        qsizetype end = pos_ + (token.escaped ? 1 : 0);
        if (end >= text_.size() || !isIdentifierStart(text_[end]))
            return ParseError{u"A key name must follow '#'."_s, pos_};
        while (end < text_.size() && isIdentifierPart(text_[end])) ++end;
        token.type = Token::Type::Identifier;
        token.text = text_.mid(pos_ + (token.escaped ? 1 : 0), end - pos_ - (token.escaped ? 1 : 0)).toString();
        pos_ = end;
        return std::nullopt;
    }
    const bool negative = c == u'-' && pos_ + 1 < text_.size() && text_[pos_ + 1].isDigit();
    if (c.isDigit() || negative) {
        qsizetype end = pos_ + 1;
        while (end < text_.size() && (text_[end].isDigit() || text_[end] == u'.')) ++end;
        token.type = Token::Type::Number;
        token.text = text_.mid(pos_, end - pos_).toString();
        pos_ = end;
        return std::nullopt;
    }
    static constexpr QStringView kSymbols[] = {u"==", u"!=", u"<>", u"<=", u">=", u"=<", u"=>", u"&&", u"||",
                                               u"=",  u"!",  u"<",  u">",  u"(",  u")",  u"[",  u"]",  u"{",
                                               u"}",  u","};
    for (QStringView symbol : kSymbols) {
        if (text_.mid(pos_).startsWith(symbol)) {
            token.type = Token::Type::Symbol;
            token.text = symbol.toString();
            pos_ += symbol.size();
            return std::nullopt;
        }
    }
    return ParseError{u"Unexpected character '%1'."_s.arg(c), pos_};
}

std::optional<ParseError> Lexer::readString(Token& token) {
    const QChar quote = text_[pos_];
    const qsizetype start = pos_;
    QString value;
    qsizetype i = pos_ + 1;
    for (; i < text_.size() && text_[i] != quote; ++i) {
        if (text_[i] != u'\\') {
            value += text_[i];
            continue;
        }
        if (++i >= text_.size()) break;
        const QChar e = text_[i];
        if (e == u'n') value += u'\n';
        else if (e == u't') value += u'\t';
        else if (e == u'r') value += u'\r';
        else if (e == u'u') {
            bool ok = false;
            const uint code = text_.mid(i + 1, 4).toUInt(&ok, 16);
            if (!ok || i + 4 >= text_.size()) return ParseError{u"Bad \\u escape in a string."_s, i - 1};
            value += QChar(char16_t(code));
            i += 4;
        } else {
            value += e;
        }
    }
    if (i >= text_.size()) return ParseError{u"Unterminated string."_s, start};
    pos_ = i + 1;
    token.type = Token::Type::String;
    token.text = std::move(value);
    return std::nullopt;
}

class Parser {
public:
    explicit Parser(QStringView text) : lexer_(text) {}

    PredicatePtr parseAll() {
        advance();
        if (current_.type == Token::Type::End) fail(u"The predicate is empty."_s);
        PredicatePtr result = parseOr();
        if (current_.type != Token::Type::End) fail(u"Unexpected %1 after the end of the predicate."_s.arg(describe()));
        return result;
    }

private:
    [[noreturn]] void fail(const QString& message) { throw Failure{ParseError{message, current_.position}}; }

    void advance() {
        if (auto error = lexer_.next(current_)) throw Failure{*error};
    }

    bool isKeyword(QStringView word) const {
        return current_.type == Token::Type::Identifier && !current_.escaped &&
               current_.text.compare(word, Qt::CaseInsensitive) == 0;
    }
    bool isSymbol(QStringView symbol) const {
        return current_.type == Token::Type::Symbol && current_.text == symbol;
    }

    QString describe() const {
        switch (current_.type) {
            case Token::Type::End: return u"end of text"_s;
            case Token::Type::String: return u"string "_s % filter::quoted(filter::shownToken(current_.text));
            default: return u"'"_s % filter::shownToken(current_.text) % u"'"_s;
        }
    }

    PredicatePtr parseOr() { return parseChain(Node::Kind::Or, u"OR", u"||"); }
    PredicatePtr parseAnd() { return parseChain(Node::Kind::And, u"AND", u"&&"); }

    PredicatePtr parseChain(Node::Kind kind, QStringView word, QStringView symbol) {
        std::vector<PredicatePtr> parts;
        parts.push_back(kind == Node::Kind::Or ? parseAnd() : parseNot());
        while (isKeyword(word) || isSymbol(symbol)) {
            advance();
            parts.push_back(kind == Node::Kind::Or ? parseAnd() : parseNot());
        }
        if (parts.size() == 1) return parts.front();
        return std::make_shared<filter::CompoundPredicate>(kind, std::move(parts));
    }

    // Filter files come from anywhere: bound the nesting so that a hostile
    // one cannot exhaust the stack.
    struct Nesting {
        explicit Nesting(Parser& parser) : parser_(parser) {
            if (++parser_.depth_ > kMaxDepth) parser_.fail(u"The predicate is nested too deeply."_s);
        }
        ~Nesting() { --parser_.depth_; }
        Parser& parser_;
    };
    static constexpr int kMaxDepth = 200;

    PredicatePtr parseNot() {
        if (isKeyword(u"NOT") || isSymbol(u"!")) {
            const Nesting nesting(*this);
            advance();
            return std::make_shared<filter::CompoundPredicate>(Node::Kind::Not, std::vector<PredicatePtr>{parseNot()});
        }
        return parseAtom();
    }

    PredicatePtr parseAtom() {
        if (isSymbol(u"(")) {
            const Nesting nesting(*this);
            advance();
            PredicatePtr inner = parseOr();
            if (!isSymbol(u")")) fail(u"Expected ')' but found %1."_s.arg(describe()));
            advance();
            return inner;
        }
        if (isKeyword(u"QUERY")) return parseQuery();
        if (isKeyword(u"TRUEPREDICATE") || isKeyword(u"FALSEPREDICATE")) {
            const bool value = isKeyword(u"TRUEPREDICATE");
            advance();
            return std::make_shared<filter::ConstantPredicate>(value);
        }
        return parseComparison();
    }

    // QUERY "text": a query (query.h) as a part of the predicate; an error
    // in it points into the string.
    PredicatePtr parseQuery() {
        advance();
        if (current_.type != Token::Type::String) fail(u"Expected a quoted query after QUERY but found %1."_s.arg(describe()));
        const QueryResult compiled = compileQuery(current_.text);
        if (!compiled.predicate)
            throw Failure{ParseError{u"In the query: "_s % compiled.error->message,
                                     current_.position + 1 + compiled.error->position}};
        advance();
        return compiled.predicate;
    }

    PredicatePtr parseComparison() {
        if (current_.type != Token::Type::Identifier || (!current_.escaped && filter::isReservedWord(current_.text)))
            fail(u"Expected a comparison (key operator value) but found %1."_s.arg(describe()));
        QString key = current_.text;
        // A key rows lack would hide every row that arrives later (an empty
        // log gives nothing to fail on), so it is refused here, where the
        // user can still see where.
        if (!rowKeyFromName(key.toStdString()))
            fail(unknownKeyMessage(key));
        advance();
        const CompareOp op = parseOperator();
        const QString opText = current_.text;
        advance();
        const uint8_t options = parseOptions();
        if (current_.type != Token::Type::String && current_.type != Token::Type::Number)
            fail(u"Expected a quoted value after '%1' but found %2."_s.arg(opText, describe()));
        QString value = current_.text;
        advance();
        return std::make_shared<filter::ComparisonPredicate>(std::move(key), op, options, std::move(value));
    }

    CompareOp parseOperator() {
        struct Named {
            QStringView text;
            CompareOp op;
        };
        static constexpr Named kSymbols[] = {{u"==", CompareOp::Equal},
                                             {u"=", CompareOp::Equal},
                                             {u"!=", CompareOp::NotEqual},
                                             {u"<>", CompareOp::NotEqual}};
        static constexpr Named kWords[] = {{u"CONTAINS", CompareOp::Contains},     {u"IN", CompareOp::In},
                                           {u"BEGINSWITH", CompareOp::BeginsWith}, {u"ENDSWITH", CompareOp::EndsWith},
                                           {u"LIKE", CompareOp::Like}};
        for (const Named& named : kSymbols)
            if (isSymbol(named.text)) return named.op;
        for (const Named& named : kWords)
            if (isKeyword(named.text)) return named.op;
        if (current_.type == Token::Type::End) fail(u"Expected an operator after the key."_s);
        fail(u"Unknown operator %1."_s.arg(describe()));
    }

    uint8_t parseOptions() {
        if (!isSymbol(u"[")) return textmatch::kNoOptions;
        advance();
        uint8_t options = textmatch::kNoOptions;
        if (current_.type == Token::Type::Identifier && !current_.escaped) {
            for (QChar c : current_.text) {
                if (c == u'c' || c == u'C') options |= textmatch::kCaseInsensitive;
                else if (c == u'd' || c == u'D') options |= textmatch::kDiacriticInsensitive;
                else fail(u"Unknown option '%1': use [c], [d] or [cd]."_s.arg(c));
            }
            advance();
        }
        if (options == textmatch::kNoOptions) fail(u"Expected options c, d or cd inside [ ]."_s);
        if (!isSymbol(u"]")) fail(u"Expected ']' after the options but found %1."_s.arg(describe()));
        advance();
        return options;
    }

    Lexer lexer_;
    Token current_;
    int depth_ = 0;
};

}  // namespace

ParseResult Predicate::parse(QStringView text) {
    try {
        return ParseResult{Parser(text).parseAll(), std::nullopt};
    } catch (const Failure& failure) {
        return ParseResult{nullptr, failure.error};
    }
}

PredicatePtr Predicate::makeAnd(std::vector<PredicatePtr> parts) {
    return std::make_shared<filter::CompoundPredicate>(filter::Node::Kind::And, std::move(parts));
}

ParseResult Predicate::fromTemplate(QStringView format, const QStringList& arguments) {
    QString text;
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format[i];
        const QChar directive = i + 1 < format.size() ? format[i + 1] : QChar();
        if (c != u'%' || (directive != u'K' && directive != u'@' && directive != u'%')) {
            text += c;
            continue;
        }
        ++i;
        if (directive == u'%') {
            text += u'%';
            continue;
        }
        if (next >= arguments.size())
            return ParseResult{nullptr, ParseError{u"The template has more placeholders than arguments."_s, i - 1}};
        const QString& argument = arguments[next++];
        text += directive == u'K' ? filter::keyText(argument) : filter::quoted(argument);
    }
    return parse(text);
}

}  // namespace vf
