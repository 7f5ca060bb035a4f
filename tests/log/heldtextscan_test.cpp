#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "core/filter/query.h"
#include "core/log/filterpass.h"
#include "core/log/heldtextscan.h"
#include "core/log/logparser.h"
#include "helpers.h"

namespace vf {
namespace {

// A saved log of the rows a scan of whole text must answer like a scan of
// each line: CR LF and LF endings, lines that differ only in case, folding
// cases beyond ASCII, words that run across a line end, a tid shown as "-",
// apps named by the log's own start line, and no newline after the last
// line. Repeated with growing lines, so the searches' stretches end at
// every kind of place and a pass splits the rows into chunks.
QByteArray sampleLog() {
    QByteArray log =
        "03-17 16:13:38.800  1000  1102 I ActivityManager: Start proc 300:com.TimeOut.app/u0a5 for activity\r\n";
    for (int i = 0; i < 7000; ++i) {
        const QByteArray pad(i % 29, 'x');
        log += "03-17 16:13:38.811  1702  2395 D Tag: a read timeout here " + pad + "\r\n";
        log += "03-17 16:13:38.812  1702  2395 D Tag: a read TIMEOUT here\r\n";
        log += "03-17 16:13:38.813  1702  2395 E Net: T\xC3\x8EMEOUT with a diacritic " + pad + "\n";
        log += "03-17 16:13:38.814  1702  2395 W Net: \xEF\xAC\x81le not found\n";
        log += "03-17 16:13:38.815   300   300 I App: main thread of a named app\r\n";
        log += "03-17 16:13:38.816   300   301 I TimeoutTag: the word is in the tag " + pad + "\n";
        log += "03-17 16:13:38.817  1702  2395 I Tag: a line ending in time\n";
        log += "03-17 16:13:38.818  1702  2395 E Tag: out and about " + pad + "\r\n";
        log += "03-17 16:13:38.819  1702  2395 W Http: error 503 after 20ms\r\n";
        log += "03-17 16:13:38.820  1702  2395 I Http: Error, ends in error\n";
        log += "03-17 16:13:38.821  1702  2395 I Disk: 5 \xE2\x84\xAA""B free\n";
    }
    log += "03-17 16:13:38.819  1702  2395 E Tag: the last timeout";
    return log;
}

const RowList& sampleRows() {
    static const RowList rows = [] {
        QTemporaryDir dir;
        const std::optional<RowList> read = readTextFile(test::writeFile(dir, QStringLiteral("sample.log"), sampleLog()), rowCounter());
        return read.value_or(RowList());
    }();
    return rows;
}

// Each row gets the same answer from whole-text scans as from its own
// line, whatever the text (and with rows asked out of order, as a merged
// list may).
TEST(HeldTextScan, WholeTextAnswersAsEachLine) {
    const RowList& rows = sampleRows();
    ASSERT_GT(rows.size(), 56000);
    ASSERT_FALSE(adoptedText(*rows.front()).empty()) << "the file is mapped";
    for (const char* needle : {"timeout", "-", "com.timeout", "time\n03-17", "here\r\n03", "xx\r\n", "300", "a", "zzz",
                               "le not", "in time"}) {
        const HeldTextSearch held(HeldText::word(needle));
        HeldTextScan whole(held), lineByLine(held, false);
        qsizetype differ = 0, held_ = 0;
        for (const RowPtr& row : rows) {
            const bool expected = lineByLine.mayHold(*row);
            differ += whole.mayHold(*row) != expected;
            held_ += expected;
        }
        EXPECT_EQ(differ, 0) << needle << " (" << held_ << " rows may hold it)";
        HeldTextScan backwards(held);
        for (qsizetype i = rows.size() - 1; i >= 0 && differ == 0; i -= 97)
            differ += backwards.mayHold(*rows.at(i)) != lineByLine.mayHold(*rows.at(i));
        EXPECT_EQ(differ, 0) << needle << " backwards";
    }
}

// Whole-text and line-by-line passes keep the rows that evaluating each
// row keeps, for words, alternatives and patterns (anchored, crossing line
// ends, in any case, beyond ASCII), and what a pass tells as it goes joins
// up to its result.
TEST(HeldTextScan, PassesKeepWhatEvaluationKeeps) {
    const RowList& rows = sampleRows();
    const auto query = [](const char* text) { return compileQuery(QString::fromUtf8(text)).predicate; };
    const auto quick = [](const char* text) { return quickFilterPredicate(QString::fromUtf8(text)).predicate; };
    for (const PredicatePtr& filter : {
             quick("timeout"), quick("\xEF\xAC\x81"), quick("p: name BEGINSWITH[c] 'time' AND text ENDSWITH[cd] 'tag'"),
             query("timeout | error"), query("msg:timeout msg:error"), query("tag:net | msg:503"), query("-msg:timeout"),
             query("timeout -tag:net"), query("message~:\"timeout|error\""), query("message~:\"^a read\""),
             query("message~:here$"), query("message~:\"(?i)TIMEOUT\""), query("message~:[0-9]+ms"),
             query("message~:\"\\d{3} after\""), query("tag~:^Net$"), query("message~:n.$"), query("message~:e\\s+03"),
             query("message~:\"(?s)e.03\""), query("message~:\\bout\\b"), query("message~:T\xC3\x8EMEOUT"),
             query("message~:\"(?i)\xC3\xAEm\""), query("message~:\xEF\xAC\x81"), query("process~:[A-Z]ut"),
             query("package~:^com\\.TimeOut"), query("message~:timeout -message~:here"),
             query("(tag:Net | tag:Http) & message~:error$"), query("message~:\\d+"), query("message~:\"(?<=rror) 5\""),
             query("message~:\"(?i)kb free\""), query("message~:\"(?i)B free\""),
         }) {
        ASSERT_TRUE(filter);
        const std::atomic<bool> cancelled{false};
        RowList expected, told;
        for (const RowPtr& row : rows)
            if (acceptsRow(filter, *row)) expected.append(row);
        FullPassOptions options;
        options.progress = [&](qsizetype, const RowList& matched) { told += matched; };
        const RowList whole = runFullPass(rows, *filter, cancelled, options).accepted;
        EXPECT_TRUE(whole == expected) << filter->format().toStdString() << ": " << whole.size() << " of " << expected.size();
        EXPECT_TRUE(runFullPass(rows, *filter, cancelled, FullPassOptions{false, {}}).accepted == expected)
            << filter->format().toStdString();
        EXPECT_TRUE(told == whole) << filter->format().toStdString();
    }
}

}  // namespace
}  // namespace vf
