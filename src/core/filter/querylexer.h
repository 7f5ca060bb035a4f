#pragma once
// The words of queries: the keys of the table, and the lexer that cuts a
// query into terms and the symbols | & ( ) -. Internal to the filter
// module (query.cpp compiles the tokens); other modules see query.h.
//
// Pure; any thread.

#include <QString>
#include <QStringView>
#include <iterator>
#include <optional>
#include <vector>

#include "core/filter/predicate.h"

namespace vf::query {

enum class Field : uint8_t { Tag, Message, Package, Process, Pid, Tid, Level, Age, Is, Buffer, Source };
enum class Op : uint8_t { Contains, Equals, Regex };

struct KeyEntry {
    QStringView name;
    Field field;
};
inline constexpr KeyEntry kKeys[] = {
    {u"tag", Field::Tag},         {u"message", Field::Message}, {u"msg", Field::Message}, {u"package", Field::Package},
    {u"process", Field::Process}, {u"pid", Field::Pid},         {u"tid", Field::Tid},     {u"level", Field::Level},
    {u"age", Field::Age},         {u"is", Field::Is},           {u"buffer", Field::Buffer}, {u"source", Field::Source}};

// The level words, in rank order (fatal and assert share a rank).
inline constexpr QStringView kLevelWords[] = {u"verbose", u"debug", u"info", u"warn", u"error", u"fatal", u"assert"};
inline constexpr qsizetype kLevelCount = std::size(kLevelWords);

struct Term {
    bool negated = false;
    std::optional<Field> field;  // none: a bare word or a quoted phrase
    Op op = Op::Contains;
    QString value;
    qsizetype valuePosition = 0;  // the value's first character (after an opening quote)
    QString source;               // the term as written
};

struct Token {
    enum class Type : uint8_t { End, Term, Open, Close, Or, And, Not } type = Type::End;
    qsizetype position = 0;
    Term term;
};

struct Failure {
    ParseError error;
};

// Ends reading a query with an error at `position`.
[[noreturn]] void fail(const QString& message, qsizetype position);

// Whether `c` ends an unquoted value or word.
inline bool endsRun(QChar c) { return c.isSpace() || c == u'(' || c == u')' || c == u'|' || c == u'&'; }

// The key's field, any case; nullopt when it is not a key of the table.
std::optional<Field> fieldNamed(QStringView name);


class Lexer final {
public:
    explicit Lexer(QStringView text) : text_(text) {}

    // Every token, ending with End; throws Failure on a malformed term. A
    // key term seen before a failure still sets sawKey.
    std::vector<Token> tokens();

    bool sawKey = false;

private:
    Term readTerm();
    // "key:", "key=:" or "key~:" with a key of the table; otherwise the word
    // is a bare word and the cursor stays (see failOnMistypedKey).
    void readKey(Term& term);
    // A word that is one slip from a longer key ("levl:", "mesage:"), or any
    // word before "=:" or "~:", is a mistyped key, not text to look for:
    // fails saying so (and sets sawKey) rather than match nothing quietly.
    void failOnMistypedKey(QStringView name, Op op);
    // A quoted value: a backslash escapes a quote, every other character
    // (a backslash of a regex too) stands for itself.
    QString readQuoted();
    QString readRun();

    QStringView text_;
    qsizetype pos_ = 0;
};

}  // namespace vf::query
