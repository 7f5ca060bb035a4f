// Queries against a small log with known counts: every form and key, the
// combining rules, quoting, and errors with their positions.
#include <gtest/gtest.h>

#include "core/filter/query.h"
#include "core/log/logparser.h"
#include "core/log/querycontext.h"
#include "filter/fakerow.h"

using namespace Qt::StringLiterals;

namespace vf {
namespace {

// Rows 1-13 (idx 0-12). Tags are padded as logcat pads them; the crash
// detector finds the Java crash (rows 7-12) and the native one (row 13).
// Rows 7-12 came from the crash buffer, row 4 from system, the rest from main.
// The rows of com.other (5, 6, 13) were read from a saved file, the others
// from a device.
constexpr const char* kLog[] = {
    "01-15 10:00:00.000 com.example.app(100) 100 D Net     : connect to host",
    "01-15 10:00:01.000 com.example.app:remote(101) 105 I Http    : GET /index 200",
    "01-15 10:00:02.000 com.example.app(100) 110 W Net     : Connection timeout after 30s",
    "01-15 10:00:03.000 system_server(500) 520 I ActivityManager: Start proc com.example.app",
    "01-15 10:04:00.000 com.other(200) 200 E Net     : heartbeat failed",
    "01-15 10:04:30.000 com.other(200) 201 V Heartbeat: heartbeat ok",
    "01-15 10:05:00.000 com.example.app(100) 100 E AndroidRuntime: FATAL EXCEPTION: main",
    "01-15 10:05:00.001 com.example.app(100) 100 E AndroidRuntime: Process: com.example.app, PID: 100",
    "01-15 10:05:00.002 com.example.app(100) 100 E AndroidRuntime: java.lang.IllegalStateException: boom",
    "01-15 10:05:00.003 com.example.app(100) 100 E AndroidRuntime: \tat com.example.Main.run(Main.java:12)",
    "01-15 10:05:00.004 com.example.app(100) 100 E AndroidRuntime: Caused by: java.io.IOException: a (b) | c",
    "01-15 10:05:00.005 com.example.app(100) 100 E AndroidRuntime: \t... 3 more",
    "01-15 10:05:01.000 com.other(200) 200 F libc    : Fatal signal 6 (SIGABRT)",
};

class Query : public ::testing::Test {
protected:
    Query() {
        const RowIndexSource next = rowCounter();
        for (const char* line : kLog) {
            RowArena& from = std::string_view(line).find("com.other") != std::string_view::npos ? saved : arena;
            rows.append(parseThreadTimeLine(from, from.copyLine(line), LogLineFormat::ThreadTimeApp, next));
        }
        arena.setSourceLabel("Pixel 7 \xE2\x80\x94 0A1B");
        saved.setSourceLabel("saved.log");
        for (qsizetype i = 0; i < rows.size(); ++i)
            rows[i]->setUnsharedBuffer(i >= 6 && i <= 11 ? LogBuffer::Crash : i == 3 ? LogBuffer::System : LogBuffer::Main);
        context = fileQueryContext(rows, kQueryUsesCrashes);
    }

    qsizetype count(const PredicatePtr& predicate) const {
        return std::count_if(rows.begin(), rows.end(),
                             [&](const RowPtr& row) { return predicate->evaluate(RowFieldSource(*row), nullptr); });
    }
    qsizetype count(const char* query) const {
        const QueryResult result = compileQuery(QString::fromUtf8(query), context);
        EXPECT_TRUE(result.predicate) << query << ": " << (result.error ? result.error->message.toStdString() : "");
        return result.predicate ? count(result.predicate) : -1;
    }

    RowArena arena, saved;
    RowList rows;
    QueryContext context;
};

TEST_F(Query, EveryFormKeyAndCombiningRuleCountsItsRows) {
    const std::pair<const char*, qsizetype> cases[] = {
        // Forms, on tags and messages without logcat's padding and blank.
        {"tag:net", 3}, {"tag=:NET", 3}, {"tag~:^N.t$", 3}, {"msg=:\"connect to host\"", 1},
        {"message~:\"(?i)HEARTBEAT\"", 2}, {"msg~:^\\d", 0}, {"-tag:net", 10},
        // Bare words and phrases: tag, message or package.
        {"heartbeat", 2}, {"com.example", 10}, {"\"Start proc\"", 1}, {"'a (b) | c'", 1}, {"foo:bar", 0},
        {"-heartbeat", 11},
        // package cuts the process at its first ':'; process is the column as it is.
        {"package=:com.example.app", 9}, {"process=:com.example.app", 8}, {"process:remote", 1},
        // Numbers: equality whatever the operator; a main thread's tid is "-".
        {"pid:100", 8}, {"pid~:10", 0}, {"tid:200", 2}, {"tid=:201", 1}, {"tid:110", 1},
        // Levels: that level or higher; =: that level alone; F and A are one rank.
        {"level:W", 9}, {"level:warning", 9}, {"LEVEL:v", 13}, {"level=:e", 7}, {"level:A", 1}, {"level=:fatal", 1},
        // Age before the newest row (10:05:01.000); crash rows; stack-trace lines.
        {"age:1m", 8}, {"age:30s", 7}, {"age:2h", 13}, {"is:crash", 7}, {"is:stacktrace", 3},
        // The log buffer a row came from.
        {"buffer:crash", 6}, {"buffer=:SYSTEM", 1}, {"-buffer:main", 7}, {"buffer:crash level:F", 0},
        // Where a row was read (the tab's name).
        {"source:pixel", 10}, {"source=:SAVED.LOG", 3}, {"-source:0a1b level:E", 2}, {"source:\"7 \xE2\x80\x94\"", 10},
        // Without | & ( ): one key ORs, different keys, negations and words AND.
        {"tag:Net tag:Http", 4}, {"tag:Net level:E", 1}, {"tag:Net tag:Http -level:W", 2},
        {"is:crash is:stacktrace", 7}, {"is:crash -is:stacktrace", 4}, {"age:1m level:E heartbeat", 0},
        // With them: & (or nothing) binds tighter than |; parentheses group.
        {"tag:Net | msg:boom level:E", 4}, {"tag:Net | msg:boom & level:E", 4}, {"tag:Net & (msg:boom | level:E)", 1},
        {"(tag:Net | tag:Http) level:I", 3}, {"-(tag:Net | level:E)", 3}, {"tag:Net || tag:Http", 4},
    };
    for (const auto& [query, expected] : cases) EXPECT_EQ(count(query), expected) << query;
}

TEST_F(Query, MalformedQueriesPointAtTheSpot) {
    struct Case {
        const char* query;
        qsizetype position;
        const char* says;
    };
    const Case cases[] = {
        {"", 0, "empty"},
        {"tag:", 4, "Empty value"},
        {"tag:\"\"", 4, "hold nothing"},
        {"msg~:(a)", 5, "quotes"},
        {"msg:\"abc", 4, "Unterminated"},
        {"tag:Net -", 8, "after '-'"},
        {"(tag:a", 0, "never closed"},
        {"tag:a)", 5, "closes no"},
        {"(tag:a | (tag:b)", 0, "never closed"},
        {"| tag:a", 0, "before '|'"},
        {"tag:a &", 7, "at the end"},
        {"()", 1, "inside"},
        {"level:x", 6, "Unknown level"},
        {"tag:a levl:warn", 6, "did you mean 'level'"}, {"-mesage:x", 1, "did you mean 'message'"},
        {"pakcage:x", 0, "did you mean 'package'"},     {"tga=:x", 0, "the keys are tag, message"},
        {"age:5", 4, "Bad age"},
        {"age:5y", 4, "Bad age"},
        {"is:foo", 3, "is:crash"},
        {"pid:12a", 4, "number"},
        {"tag:a msg~:\"a(b\"", 15, "regular expression"},
    };
    for (const Case& c : cases) {
        const QueryResult result = compileQuery(QString::fromUtf8(c.query), context);
        ASSERT_FALSE(result.predicate) << c.query;
        ASSERT_TRUE(result.error) << c.query;
        EXPECT_EQ(result.error->position, c.position) << c.query << ": " << result.error->message.toStdString();
        EXPECT_TRUE(result.error->message.contains(QString::fromUtf8(c.says))) << result.error->message.toStdString();
    }
    // Inside a filter, a query's error points into its string.
    const ParseResult parsed = Predicate::parse(u"type == 'E' AND QUERY \"tag:a age:5\""_s);
    ASSERT_TRUE(parsed.error);
    EXPECT_EQ(parsed.error->position, 33);
}

TEST_F(Query, PrintsTheFilterLanguageWhereItCanAndReadsBackWhereItCannot) {
    const std::pair<const char*, const char*> cases[] = {
        {"level:w tag:Net", "type IN[cd] \"W,E,F,A\" AND name CONTAINS[c] \"Net\""},
        {"tid:5", "tid == \"5\" OR (tid == \"-\" AND pid == \"5\")"},
        {"-\"a b\"", "NOT (name CONTAINS[c] \"a b\" OR text CONTAINS[c] \"a b\" OR package CONTAINS[c] \"a b\")"},
        {"age:5m", ""}, {"tag:Net msg~:x", ""}, {"is:stacktrace", ""},
    };
    for (const auto& [query, text] : cases) {
        const QueryResult result = compileQuery(QString::fromUtf8(query), context);
        EXPECT_EQ(result.filterText, QString::fromUtf8(text)) << query;
        // Either form is what a filter library stores; read back, it passes the same rows.
        const QString stored = result.predicate->format();
        EXPECT_EQ(stored.startsWith(u"QUERY \""_s), result.filterText.isEmpty()) << stored.toStdString();
        const PredicatePtr reread = bindQueryContext(Predicate::parse(stored).predicate, context);
        ASSERT_TRUE(reread) << stored.toStdString();
        EXPECT_EQ(reread->format(), stored);
        EXPECT_EQ(count(reread), count(result.predicate)) << query;
    }
    // A stored query nested in a filter is found and bound to the log it is applied to.
    const PredicatePtr nested = Predicate::parse(u"NOT (type == 'E' AND QUERY \"is:crash\")"_s).predicate;
    EXPECT_EQ(queryUses(nested), kQueryUsesCrashes);
    EXPECT_EQ(count(nested), 13);
    EXPECT_EQ(count(bindQueryContext(nested, context)), 7);
    EXPECT_EQ(count(Predicate::parse(u"QUERY \"is:crash\""_s).predicate), 0) << "no crashes known before binding";
    // The filter language names the source as the query does.
    EXPECT_EQ(count(Predicate::parse(u"source CONTAINS[c] 'SAVED' AND type == 'E'"_s).predicate), 1);
}

TEST(QueryAge, CountsBackOverTheTurnOfTheYear) {
    QueryContext context;
    context.newestTime = "01-01 00:00:10.000";
    const auto passes = [&](const char* query, const char* time) {
        return compileQuery(QString::fromUtf8(query), context)
            .predicate->evaluate(test::FakeRow{{RowKey::Time, time}}, nullptr);
    };
    EXPECT_TRUE(passes("age:20s", "12-31 23:59:55.000"));
    EXPECT_FALSE(passes("age:10s", "12-31 23:59:55.000"));
    EXPECT_TRUE(passes("age:1s", "01-01 00:00:11.000")) << "a live log goes on after the reference";
    EXPECT_TRUE(passes("age:1s", "01-01 00:00:09.5")) << "fractions of any length";
    EXPECT_FALSE(passes("age:400d", "")) << "no time, no age";
    EXPECT_FALSE(passes("age:1d", "13-01 00:00:00.000"));
}

TEST(QueryMode, ATermWithAKeyOfTheTableMakesAQuery) {
    const std::pair<const char*, bool> cases[] = {
        {"tag:Net", true},       {"-LEVEL:e", true},        {"x msg~:(", true},     {"tag:", true},
        {"(age:5m", true},       {"timeout", false},        {"foo:bar", false},     {"http://host", false},
        {"Error: code", false},  {"p: type == 'E'", false}, {"\"tag:x\"", false},   {"tags:x", false},
        {"levl:warn", true},     {"levels:", true},         {"page:2", false},      {"\"levl:warn\"", false},
    };
    for (const auto& [text, query] : cases) EXPECT_EQ(looksLikeQuery(QString::fromUtf8(text)), query) << text;
    EXPECT_EQ(completeQueryWord(u"level:e buffer:s", 16, {}, {}).candidates,
              (QStringList{u"buffer:security"_s, u"buffer:stats"_s, u"buffer:system"_s}));
}

}  // namespace
}  // namespace vf
