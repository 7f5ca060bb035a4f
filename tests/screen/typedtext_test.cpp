// Typed text goes to the device's shell as "input text WORD": whatever the
// user types, the shell must see exactly one word whose value is the text
// (spaces as "%s"), and run nothing else.
#include <gtest/gtest.h>

#include <QProcess>
#include <QTemporaryDir>
#include <random>

#include "core/screen/typewriter.h"
#include "fuzz/shellwords.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

// The value the word must have once the shell has removed its quoting.
std::string expectedWord(const QString& typed) {
    return QString(typed).remove(QChar(0)).replace(u' ', u"%s"_s).toStdString();
}

std::string commandFor(const QString& typed) {
    return "input text " + TypeWriter::escapeText(typed).toStdString();
}

TEST(TypedText, EscapingGivesOneWordAndKeepsTheSafeResults) {
    const struct {
        QString typed, sent;
    } cases[] = {
        {u"a b"_s, u"a%sb"_s},
        {u"%"_s, u"%"_s},
        {u"%reboot"_s, u"%reboot"_s},
        {u"%s"_s, u"%s"_s},
        {u"50% off"_s, u"50%%soff"_s},
        {u"a&b(c)<d>"_s, u"a\\&b\\(c\\)\\<d\\>"_s},
        {u"`id`"_s, u"\\`id\\`"_s},
        {u"$(reboot)"_s, u"\\$\\(reboot\\)"_s},
        {u"a;b|c"_s, u"a\\;b\\|c"_s},
        {u"\"'"_s, u"\\\"\\'"_s},
        {u"\\"_s, u"\\\\"_s},
        {u"\\&"_s, u"\\\\\\&"_s},
        {u"a\nb"_s, u"a'\n'b"_s},
        {u"*?~!#{}[]^"_s, u"\\*\\?\\~\\!\\#\\{\\}\\[\\]\\^"_s},
        {u"Ab9_:,.=+-@/"_s, u"Ab9_:,.=+-@/"_s},
        {u"h\u00e9\u65e5"_s, u"h\u00e9\u65e5"_s},
        {u""_s, u"''"_s},
        {QString(QChar(0)), u"''"_s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed.toStdString());
        EXPECT_EQ(TypeWriter::escapeText(c.typed), c.sent);
        const auto words = test::plainShellWords(commandFor(c.typed));
        ASSERT_TRUE(words);
        EXPECT_EQ(*words, (std::vector<std::string>{"input", "text", expectedWord(c.typed)}));
    }
}

// Any character: mostly ASCII (controls, quotes and operators included),
// some from every Unicode plane.
QString randomText(std::mt19937& random) {
    std::uniform_int_distribution<int> length(1, 24), percent(0, 99), ascii(1, 127);
    std::uniform_int_distribution<char32_t> unicode(0x80, 0x10FFFF);
    QString text;
    for (int n = length(random); n > 0; --n) {
        char32_t c = percent(random) < 75 ? char32_t(ascii(random)) : unicode(random);
        if (c >= 0xD800 && c <= 0xDFFF) c = U'\u00e9';  // no lone surrogates in real text
        text += QString::fromUcs4(&c, 1);
    }
    return text;
}

// Every call of "input" with its arguments when /bin/sh runs `command`
// (waiting for background jobs too). "input" is a shell function that
// records its arguments, and the PATH leads nowhere, so that nothing else
// can run.
std::vector<std::vector<std::string>> inputCalls(const std::string& command) {
    QTemporaryDir cwd;
    QProcess shell;
    QProcessEnvironment env;
    env.insert(u"PATH"_s, cwd.filePath(u"nothing"_s));
    env.insert(u"HOME"_s, cwd.path());
    shell.setProcessEnvironment(env);
    shell.setWorkingDirectory(cwd.path());
    shell.start(u"/bin/sh"_s, {u"-c"_s, u"input() { printf 'call\\0'; printf '%s\\0' \"$@\"; }; eval \"$1\"; wait"_s,
                               u"sh"_s, QString::fromStdString(command)});
    shell.waitForFinished();
    QByteArray record = shell.readAllStandardOutput();
    record.chop(1);  // every field ends in a NUL
    std::vector<std::vector<std::string>> calls;
    for (const QByteArray& field : record.split('\0')) {
        if (field == "call")
            calls.emplace_back();
        else if (!calls.empty())
            calls.back().push_back(field.toStdString());
    }
    return calls;
}

TEST(TypedText, TheShellRunsExactlyOneInputWithTheTypedWord) {
    using Calls = std::vector<std::vector<std::string>>;
    ASSERT_EQ(inputCalls("input text 'a b' c; ls"), (Calls{{"text", "a b", "c"}}));  // the stub itself works
    std::mt19937 random(20240611);
    for (int i = 0; i < 2000; ++i) {
        const QString typed = randomText(random);
        const std::string command = commandFor(typed);
        ASSERT_EQ(inputCalls(command), (Calls{{"text", expectedWord(typed)}}))
            << "typed " << typed.toStdString() << " sent " << command;
    }
}

}  // namespace
}  // namespace vf
