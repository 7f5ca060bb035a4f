// Compiling queries: the lexer's tokens (querylexer.h) into the predicate
// tree.
//
// Without | & ( ) (the everyday form, "tag:Net tag:Http -level:V timeout"):
// positive terms of the same key are ORed, and those groups, negated terms
// and bare words are ANDed. With any of them:
//   or    := and ( "|" and )*
//   and   := unary ( "&"? unary )*
//   unary := "-" unary | "(" or ")" | term
// The parts of an AND are put cheapest first (a level or a pid before a
// text search, a regex last); AND does not care about order.

#include "core/filter/query.h"

#include <algorithm>

#include "core/filter/querylexer.h"
#include "core/filter/querynodes.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace {

using filter::CompareOp;
using filter::Node;
using namespace query;

// A compiled piece and how costly it is per row, for ordering ANDs.
struct Part {
    PredicatePtr predicate;
    int cost = 0;
};

PredicatePtr compound(Node::Kind kind, std::vector<Part> parts) {
    if (parts.size() == 1) return parts.front().predicate;
    if (kind == Node::Kind::And)
        std::stable_sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.cost < b.cost; });
    std::vector<PredicatePtr> predicates;
    for (Part& part : parts) predicates.push_back(std::move(part.predicate));
    return std::make_shared<filter::CompoundPredicate>(kind, std::move(predicates));
}

int maxCost(const std::vector<Part>& parts) {
    int cost = 0;
    for (const Part& part : parts) cost = std::max(cost, part.cost);
    return cost;
}

PredicatePtr comparison(RowKey key, CompareOp op, uint8_t options, const QString& value) {
    return std::make_shared<filter::ComparisonPredicate>(QString::fromLatin1(rowKeyName(key)), op, options, value);
}

// One query's tokens into a tree; noting whether every leaf has a
// filter-language form and which context the leaves use.
class Compiler final {
public:
    explicit Compiler(const QueryContext& context) : context_(context) {}

    PredicatePtr compile(std::vector<Token> tokens) {
        tokens_ = std::move(tokens);
        if (tokens_.front().type == Token::Type::End) fail(u"The query is empty."_s, 0);
        const bool grouped = std::any_of(tokens_.begin(), tokens_.end(), [](const Token& t) {
            return t.type != Token::Type::Term && t.type != Token::Type::End;
        });
        if (!grouped) return everyday();
        Part result = parseOr();
        if (current().type == Token::Type::Close) fail(u"This ')' closes no '('."_s, current().position);
        return result.predicate;
    }

    bool expressible = true;
    uint8_t uses = 0;

private:
    const Token& current() const { return tokens_[next_]; }

    // Positive terms of one key ORed; those groups and the rest ANDed.
    PredicatePtr everyday() {
        std::vector<std::pair<Field, std::vector<Part>>> groups;
        std::vector<Part> parts;
        for (const Token& token : tokens_) {
            if (token.type != Token::Type::Term) continue;
            Part part = term(token.term);
            if (token.term.negated || !token.term.field) {
                parts.push_back(std::move(part));
                continue;
            }
            auto group = std::find_if(groups.begin(), groups.end(),
                                      [&](const auto& g) { return g.first == *token.term.field; });
            if (group == groups.end()) group = groups.insert(groups.end(), {*token.term.field, {}});
            group->second.push_back(std::move(part));
        }
        std::vector<Part> all;
        for (auto& [field, members] : groups) {
            const int cost = maxCost(members);
            all.push_back({compound(Node::Kind::Or, std::move(members)), cost});
        }
        all.insert(all.end(), std::make_move_iterator(parts.begin()), std::make_move_iterator(parts.end()));
        return compound(Node::Kind::And, std::move(all));
    }

    Part parseOr() {
        std::vector<Part> parts{parseAnd()};
        while (current().type == Token::Type::Or) {
            ++next_;
            parts.push_back(parseAnd());
        }
        const int cost = maxCost(parts);
        return {compound(Node::Kind::Or, std::move(parts)), cost};
    }

    Part parseAnd() {
        std::vector<Part> parts{parseUnary()};
        for (;;) {
            const Token::Type type = current().type;
            if (type == Token::Type::And) ++next_;
            else if (type != Token::Type::Term && type != Token::Type::Open && type != Token::Type::Not) break;
            parts.push_back(parseUnary());
        }
        const int cost = maxCost(parts);
        return {compound(Node::Kind::And, std::move(parts)), cost};
    }

    Part parseUnary() {
        static constexpr int kMaxDepth = 200;
        if (++depth_ > kMaxDepth) fail(u"The query is nested too deeply."_s, current().position);
        Part part = parseAtom();
        --depth_;
        return part;
    }

    Part parseAtom() {
        const Token& token = current();
        switch (token.type) {
            case Token::Type::Not: {
                ++next_;
                Part inner = parseUnary();
                return {negation(std::move(inner.predicate)), inner.cost};
            }
            case Token::Type::Open: {
                ++next_;
                if (current().type == Token::Type::Close) fail(u"Expected a term inside '( )'."_s, current().position);
                Part inner = parseOr();
                if (current().type != Token::Type::Close) fail(u"This '(' is never closed."_s, token.position);
                ++next_;
                return inner;
            }
            case Token::Type::Term: ++next_; return term(token.term);
            case Token::Type::Close: fail(u"This ')' closes no '('."_s, token.position);
            case Token::Type::Or:
            case Token::Type::And:
                fail(u"Expected a term before '%1'."_s.arg(QChar(token.type == Token::Type::Or ? u'|' : u'&')),
                     token.position);
            case Token::Type::End: break;
        }
        fail(u"Expected a term at the end of the query."_s, token.position);
    }

    static PredicatePtr negation(PredicatePtr inner) {
        std::vector<PredicatePtr> part{std::move(inner)};
        return std::make_shared<filter::CompoundPredicate>(Node::Kind::Not, std::move(part));
    }

    Part term(const Term& term) {
        Part part = positive(term);
        if (term.negated) part.predicate = negation(std::move(part.predicate));
        return part;
    }

    Part positive(const Term& term) {
        constexpr uint8_t kAnyCase = textmatch::kCaseInsensitive;
        const QString& v = term.value;
        if (!term.field) {
            std::vector<Part> anywhere;
            for (RowKey key : {RowKey::Name, RowKey::Text, RowKey::Package})
                anywhere.push_back({comparison(key, CompareOp::Contains, kAnyCase, v), 0});
            return {compound(Node::Kind::Or, std::move(anywhere)), 3};
        }
        switch (*term.field) {
            case Field::Tag: return text(term, RowKey::Name, 1);
            case Field::Message: return text(term, RowKey::Text, 2);
            case Field::Package: return text(term, RowKey::Package, 1);
            case Field::Process: return text(term, RowKey::App, 1);
            case Field::Pid:
            case Field::Tid: return number(term);
            case Field::Level: return level(term);
            case Field::Age: return age(term);
            case Field::Is: return is(term);
            case Field::Buffer: return text(term, RowKey::Buffer, 1);
            case Field::Source: return text(term, RowKey::Source, 1);
        }
        return {};
    }

    Part text(const Term& term, RowKey key, int cost) {
        if (term.op != Op::Regex) {
            const CompareOp op = term.op == Op::Equals ? CompareOp::Equal : CompareOp::Contains;
            return {comparison(key, op, textmatch::kCaseInsensitive, term.value), cost};
        }
        filter::RegexPredicate::Error error;
        const QByteArray pattern = term.value.toUtf8();
        auto regex = filter::RegexPredicate::make(key, pattern.toStdString(), term.source, &error);
        if (!regex) {
            // The offset is in UTF-8 bytes; positions are in UTF-16 units.
            const qsizetype at = QString::fromUtf8(pattern.left(qsizetype(error.offset))).size();
            fail(u"Bad regular expression: %1."_s.arg(error.message), term.valuePosition + at);
        }
        expressible = false;
        return {std::move(regex), 4};
    }

    // pid and tid: equal to the number, whichever operator. A main-thread
    // row shows its tid as "-", so tid:N also takes such rows of pid N.
    Part number(const Term& term) {
        const QString& v = term.value;
        const bool isNumber = std::all_of(v.begin(), v.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
        const bool pid = term.field == Field::Pid;
        if (!isNumber) fail(u"%1 takes a number."_s.arg(pid ? u"pid"_s : u"tid"_s), term.valuePosition);
        if (pid) return {comparison(RowKey::Pid, CompareOp::Equal, 0, v), 0};
        std::vector<Part> mainThread{{comparison(RowKey::Tid, CompareOp::Equal, 0, u"-"_s), 0},
                                     {comparison(RowKey::Pid, CompareOp::Equal, 0, v), 0}};
        std::vector<Part> either{{comparison(RowKey::Tid, CompareOp::Equal, 0, v), 0},
                                 {compound(Node::Kind::And, std::move(mainThread)), 0}};
        return {compound(Node::Kind::Or, std::move(either)), 0};
    }

    // The level's rank or higher, as the level presets write it; =: the rank alone.
    Part level(const Term& term) {
        static constexpr QStringView kLetters = u"VDIWEFA";
        const QString v = term.value.toLower();
        qsizetype rank = -1;
        if (v.size() == 1) rank = kLetters.indexOf(v.at(0).toUpper());
        for (qsizetype i = 0; i < kLevelCount && rank < 0; ++i)
            if (v == kLevelWords[i]) rank = i;
        if (rank < 0 && v == u"warning") rank = 3;
        if (rank < 0)
            fail(u"Unknown level '%1': use V, D, I, W, E, F, A or verbose, debug, info, warn, error, fatal, "
                 u"assert."_s.arg(filter::shownToken(term.value)),
                 term.valuePosition);
        rank = std::min<qsizetype>(rank, 5);  // F and A are one rank
        static constexpr QStringView kFrom[] = {u"V,D,I,W,E,F,A", u"D,I,W,E,F,A", u"I,W,E,F,A",
                                                u"W,E,F,A",       u"E,F,A",       u"F,A"};
        constexpr uint8_t kAnyCase = textmatch::kCaseInsensitive | textmatch::kDiacriticInsensitive;
        if (term.op == Op::Equals && rank < 5) {
            const QString letter = kLetters.mid(rank, 1).toString();
            return {comparison(RowKey::Type, CompareOp::Equal, textmatch::kCaseInsensitive, letter), 0};
        }
        return {comparison(RowKey::Type, CompareOp::In, kAnyCase, kFrom[rank].toString()), 0};
    }

    Part age(const Term& term) {
        const QString& v = term.value;
        static constexpr int64_t kUnits[] = {1000, 60'000, 3'600'000, 86'400'000};
        const qsizetype unit = v.isEmpty() ? -1 : QStringView(u"smhd").indexOf(v.back().toLower());
        bool ok = unit >= 0 && v.size() >= 2 && v.size() <= 10;
        const qint64 count = ok ? QStringView(v).chopped(1).toLongLong(&ok) : 0;
        if (!ok || count < 0 || !v.front().isDigit())
            fail(u"Bad age '%1': use a number and s, m, h or d, as in age:5m."_s.arg(filter::shownToken(v)),
                 term.valuePosition);
        const auto newest = filter::yearMilliseconds(context_.newestTime);
        const int64_t reference = newest ? *newest : filter::yearMillisecondsNow();
        expressible = false;
        uses |= kQueryUsesAge;
        return {std::make_shared<filter::AgePredicate>(count * kUnits[unit], reference, term.source), 0};
    }

    Part is(const Term& term) {
        expressible = false;
        if (term.value.compare(u"crash", Qt::CaseInsensitive) == 0) {
            uses |= kQueryUsesCrashes;
            return {std::make_shared<filter::IdxSetPredicate>(context_.crashRows, term.source), 0};
        }
        if (term.value.compare(u"stacktrace", Qt::CaseInsensitive) == 0)
            return {std::make_shared<filter::StackTracePredicate>(term.source), 2};
        fail(u"Unknown '%1': use is:crash or is:stacktrace."_s.arg(filter::shownToken(term.source)),
             term.valuePosition);
    }

    const QueryContext& context_;
    std::vector<Token> tokens_;
    size_t next_ = 0;
    int depth_ = 0;
};

}  // namespace

QueryResult compileQuery(QStringView query, const QueryContext& context) {
    QueryResult result;
    try {
        Lexer lexer(query);
        Compiler compiler(context);
        PredicatePtr tree = compiler.compile(lexer.tokens());
        result.uses = compiler.uses;
        if (compiler.expressible) {
            result.filterText = tree->format();
            result.predicate = std::move(tree);
        } else {
            result.predicate =
                std::make_shared<filter::QueryPredicate>(query.toString(), std::move(tree), compiler.uses);
        }
    } catch (const Failure& failure) {
        result.error = failure.error;
    }
    return result;
}

uint8_t queryUses(const PredicatePtr& predicate) {
    const auto* node = dynamic_cast<const Node*>(predicate.get());
    if (node == nullptr) return 0;
    if (node->kind() == Node::Kind::Query) return static_cast<const filter::QueryPredicate*>(node)->uses();
    uint8_t uses = 0;
    if (const auto* parts = dynamic_cast<const filter::CompoundPredicate*>(node))
        for (const PredicatePtr& part : parts->parts()) uses |= queryUses(part);
    return uses;
}

PredicatePtr bindQueryContext(const PredicatePtr& predicate, const QueryContext& context) {
    const auto* node = dynamic_cast<const Node*>(predicate.get());
    if (node == nullptr) return predicate;
    if (node->kind() == Node::Kind::Query) {
        const auto* query = static_cast<const filter::QueryPredicate*>(node);
        if (query->uses() == 0) return predicate;
        QueryResult bound = compileQuery(query->text(), context);
        return bound.predicate ? bound.predicate : predicate;
    }
    const auto* compound = dynamic_cast<const filter::CompoundPredicate*>(node);
    if (compound == nullptr) return predicate;
    std::vector<PredicatePtr> parts;
    bool changed = false;
    for (const PredicatePtr& part : compound->parts()) {
        parts.push_back(bindQueryContext(part, context));
        changed = changed || parts.back() != part;
    }
    return changed ? std::make_shared<filter::CompoundPredicate>(node->kind(), std::move(parts)) : predicate;
}

}  // namespace vf
