#include <gtest/gtest.h>

#include "core/adb/adbsocket.h"
#include "core/adb/shellcommandreader.h"
#include "core/support/preferences.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

TEST(AdbSocket, FramesWithTheUtf8LengthInFourLowerCaseHexDigits) {
    EXPECT_EQ(AdbSocket::frame(u"host:devices"_s), "000chost:devices");
    EXPECT_EQ(AdbSocket::frame(QString(0x1234, u'x')).left(4), "1234");
    EXPECT_EQ(AdbSocket::frame(QString(0x12345, u'x')).left(5), "12345");
    // Two characters, four bytes; an astral character is two UTF-16 units and four bytes.
    EXPECT_EQ(AdbSocket::frame(u"\u00e9\u00e9"_s), "0004\xc3\xa9\xc3\xa9");
    EXPECT_EQ(AdbSocket::frame(u"\U0001F600"_s), "0004\xf0\x9f\x98\x80");
}

// The server reads exactly the bytes the prefix announces: a request with
// non-ASCII text arrives whole and the conversation goes on after it.
TEST(AdbSocket, NonAsciiRequestsArriveWhole) {
    test::ScriptedAdbServer server;
    const QByteArray command = "shell:echo h\xc3\xa9llo \xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e";
    server.addScript(test::Script().expectRequest("host:transport-any").reply("OKAY")
                         .expect(4 + command.size()).reply("OKAY").reply("done\n").close());
    ShellCommandReader reader(server.endpoint(), QString::fromUtf8(command));
    struct : ShellCommandDelegate {
        void shellCommandEnded(const QString&, const QByteArray& bytes, const OptionalError&) override {
            output = bytes;
        }
        QByteArray output;
    } delegate;
    reader.setDelegate(&delegate);
    reader.connect();
    ASSERT_TRUE(test::waitUntil([&] { return !delegate.output.isEmpty(); }));
    EXPECT_EQ(delegate.output, "done\n");
    EXPECT_EQ(server.received(0), "0012host:transport-any001b" + command);
}

TEST(AdbSocket, StatusWordsTextAndHexLengths) {
    EXPECT_TRUE(AdbSocket::isOkay("OKAY"));
    for (const char* status : {"okay", "OKAY\n", "FAIL"}) EXPECT_FALSE(AdbSocket::isOkay(status)) << status;

    EXPECT_EQ(AdbSocket::stringFromData("caf\xc3\xa9"), u"caf\u00e9"_s);
    EXPECT_EQ(AdbSocket::stringFromData(""), QString());
    // Invalid, overlong and truncated sequences.
    for (const char* bad : {"ab\xff", "\xc0\xaf", "\xc3"}) EXPECT_FALSE(AdbSocket::stringFromData(bad)) << bad;

    EXPECT_EQ(AdbSocket::hexDataToInteger("001a"), 26u);
    EXPECT_EQ(AdbSocket::hexDataToInteger("FFFF"), 65535u);
    for (const char* bad : {"00g1", "zzzz", "\xff\xff"}) EXPECT_EQ(AdbSocket::hexDataToInteger(bad), 0u) << bad;
    EXPECT_EQ(AdbSocket::hexStringToInteger(u"  0x1fq"_s), 31u);
    EXPECT_EQ(AdbSocket::hexStringToInteger(u"fffffffff"_s), 0xFFFFFFFFu);
}

TEST(AdbSocket, StopBeforeTheConnectionCompletesLeavesItNotConnecting) {
    test::ScriptedAdbServer server;
    ShellCommandReader reader(server.endpoint(), QStringLiteral("shell:ps"));
    reader.connect();
    EXPECT_TRUE(reader.isConnecting() && reader.isConnected());
    reader.stop();
    EXPECT_FALSE(reader.isConnecting());
    test::pumpEvents(50);
    EXPECT_FALSE(reader.isConnecting());
    EXPECT_FALSE(reader.isConnected());
}

}  // namespace
}  // namespace vf
