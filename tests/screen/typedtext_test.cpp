// Typed text goes to the device's shell as "input text WORD": whatever the
// user types, the shell must see exactly one word whose value is the text
// (spaces as "%s"), and run nothing else.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
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

// Runs each command in /bin/sh with a stub "input" as the only program on
// the PATH; the stub records every call and its arguments.
class StubShell final {
public:
    StubShell() {
        QFile stub(dir_.filePath(u"input"_s));
        stub.open(QIODevice::WriteOnly);
        stub.write(
            "#!/bin/sh\n{ printf 'call\\0'; printf '%s\\0' \"$@\"; } >> \"$VF_INPUT_LOG\"\n");
        stub.close();
        stub.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                            QFileDevice::ExeOwner);
        QProcessEnvironment env;
        env.insert(u"PATH"_s, dir_.path());
        env.insert(u"HOME"_s, dir_.path());
        env.insert(u"VF_INPUT_LOG"_s, log());
        shell_.setProcessEnvironment(env);
        shell_.setWorkingDirectory(dir_.path());
        shell_.setProgram(u"/bin/sh"_s);
    }

    // Every call's arguments, for one command (waiting for background jobs too).
    std::vector<std::vector<std::string>> run(const std::string& command) {
        QFile::remove(log());
        shell_.setArguments(
            {u"-c"_s, u"eval \"$1\"; wait"_s, u"sh"_s, QString::fromStdString(command)});
        shell_.start();
        shell_.waitForFinished();
        QFile file(log());
        file.open(QIODevice::ReadOnly);
        QByteArray record = file.readAll();
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

private:
    QString log() const { return dir_.filePath(u"calls"_s); }
    QTemporaryDir dir_;
    QProcess shell_;
};

TEST(TypedText, TheShellRunsExactlyOneInputWithTheTypedWord) {
    StubShell shell;
    const std::vector<std::vector<std::string>> ok = shell.run("input text 'a b' c");
    ASSERT_EQ(
        ok,
        (std::vector<std::vector<std::string>>{{"text", "a b", "c"}}));  // the stub itself works

    std::mt19937 random(20240611);
    for (int i = 0; i < 2000; ++i) {
        const QString typed = randomText(random);
        const std::string command = commandFor(typed);
        const auto calls = shell.run(command);
        ASSERT_EQ(calls, (std::vector<std::vector<std::string>>{{"text", expectedWord(typed)}}))
            << "typed " << typed.toStdString() << " sent " << command;
    }
}

}  // namespace
}  // namespace vf
