// The simulated device's own pieces: if its framing or its reading of the
// viewer's requests is wrong, every end-to-end result is meaningless.
#include <gtest/gtest.h>

#include <QDateTime>
#include <QtEndian>

#include "device-sim/devicelog.h"
#include "device-sim/options.h"
#include "device-sim/processes.h"
#include "device-sim/shellline.h"
#include "device-sim/wire.h"

using namespace vf::sim;

TEST(DeviceSimWire, EncodesTheHeaderLittleEndianWithChecksumAndMagic) {
    const QByteArray bytes = encode({kCmdWrte, 7, 42, QByteArray("\x01\xff", 2)});
    ASSERT_EQ(bytes.size(), kHeaderSize + 2);
    EXPECT_EQ(bytes.left(4), QByteArray("WRTE"));
    const auto u32 = [&](int at) { return qFromLittleEndian<uint32_t>(bytes.constData() + at); };
    EXPECT_EQ(u32(4), 7u);
    EXPECT_EQ(u32(8), 42u);
    EXPECT_EQ(u32(12), 2u);
    EXPECT_EQ(u32(16), 0x100u);  // bytes summed unsigned: 1 + 255
    EXPECT_EQ(u32(20), kCmdWrte ^ 0xffffffffu);
}

TEST(DeviceSimWire, DecodesPacketsSplitAnywhereAndRejectsBrokenOnes) {
    const QByteArray stream = encode({kCmdOpen, 3, 0, "shell:ps\0"}) + encode({kCmdOkay, 3, 9, {}});
    PacketDecoder decoder;
    Packet packet;
    for (char c : stream.left(30)) decoder.feed(QByteArray(1, c));
    EXPECT_EQ(decoder.next(packet), PacketDecoder::Status::NeedMore);
    decoder.feed(stream.mid(30));
    ASSERT_EQ(decoder.next(packet), PacketDecoder::Status::Ready);
    EXPECT_EQ(packet.command, kCmdOpen);
    EXPECT_EQ(packet.payload, QByteArray("shell:ps\0"));
    ASSERT_EQ(decoder.next(packet), PacketDecoder::Status::Ready);
    EXPECT_EQ(packet.command, kCmdOkay);
    EXPECT_EQ(packet.arg1, 9u);
    EXPECT_EQ(decoder.next(packet), PacketDecoder::Status::NeedMore);

    QByteArray badMagic = encode({kCmdCnxn, 0x01000001, 4096, "host::"});
    badMagic[20] = 0;
    PacketDecoder strict;
    strict.feed(badMagic);
    EXPECT_EQ(strict.next(packet), PacketDecoder::Status::Broken);
}

TEST(DeviceSimWire, OldProtocolChecksumIsVerifiedOnlyWhenAsked) {
    QByteArray corrupt = encode({kCmdWrte, 1, 2, "abc"});
    corrupt[kHeaderSize] = 'x';  // payload no longer matches the sum in the header
    Packet packet;
    PacketDecoder lenient(false);
    lenient.feed(corrupt);
    EXPECT_EQ(lenient.next(packet), PacketDecoder::Status::Ready);
    PacketDecoder checking(true);
    checking.feed(corrupt);
    EXPECT_EQ(checking.next(packet), PacketDecoder::Status::Broken);
}

TEST(DeviceSimShell, ReadsTheViewersLogcatRequest) {
    const ShellLine line = parseShellLine(QStringLiteral(
        "export ANDROID_LOG_TAGS=\"*:S MyTag:D\"; exec logcat -v threadtime"));
    EXPECT_EQ(line.environment.value(QStringLiteral("ANDROID_LOG_TAGS")), QStringLiteral("*:S MyTag:D"));
    EXPECT_EQ(line.argv, (QStringList{QStringLiteral("logcat"), QStringLiteral("-v"), QStringLiteral("threadtime")}));

    const ShellLine empty = parseShellLine(QStringLiteral("export ANDROID_LOG_TAGS=\"\"; exec logcat -v threadtime"));
    EXPECT_TRUE(empty.environment.contains(QStringLiteral("ANDROID_LOG_TAGS")));
    EXPECT_TRUE(empty.environment.value(QStringLiteral("ANDROID_LOG_TAGS")).isEmpty());

    // The text-input escapes reach the device's shell, which removes them.
    const ShellLine text = parseShellLine(QStringLiteral("input text 5\\\\\\&a\\(b\\)"));
    EXPECT_EQ(text.argv.value(2), QStringLiteral("5\\&a(b)"));
}

TEST(DeviceSimShell, OldDevicesTurnEveryLineFeedIntoCrLf) {
    EXPECT_EQ(toTerminalNewlines("a\nb\n"), QByteArray("a\r\nb\r\n"));
    EXPECT_EQ(toTerminalNewlines("\x89PNG\r\n\x1a\n"), QByteArray("\x89PNG\r\r\n\x1a\r\n"));
    EXPECT_EQ(toTerminalNewlines("no newline"), QByteArray("no newline"));
}

TEST(DeviceSimShell, LogTagFilterFollowsLogcatRules) {
    const LogTagFilter all{QString()};
    EXPECT_TRUE(all.allows(QStringLiteral("Any"), 'V'));

    const LogTagFilter only(QStringLiteral("*:S MyTag:D"));
    EXPECT_TRUE(only.allows(QStringLiteral("MyTag"), 'D'));
    EXPECT_TRUE(only.allows(QStringLiteral("MyTag"), 'F'));
    EXPECT_FALSE(only.allows(QStringLiteral("MyTag"), 'V'));
    EXPECT_FALSE(only.allows(QStringLiteral("Other"), 'F'));

    // Without "*:S" other tags keep the default (everything); a bare tag means V.
    const LogTagFilter loose(QStringLiteral("Noisy:E Quiet"));
    EXPECT_TRUE(loose.allows(QStringLiteral("Other"), 'V'));
    EXPECT_FALSE(loose.allows(QStringLiteral("Noisy"), 'W'));
    EXPECT_TRUE(loose.allows(QStringLiteral("Quiet"), 'V'));

    const LogTagFilter warnings(QStringLiteral("*:W MyTag:S"));
    EXPECT_TRUE(warnings.allows(QStringLiteral("Other"), 'W'));
    EXPECT_FALSE(warnings.allows(QStringLiteral("Other"), 'I'));
    EXPECT_FALSE(warnings.allows(QStringLiteral("MyTag"), 'F'));
}

TEST(DeviceSimLog, ParsesThreadtimeFilesAndFormatsLinesBack) {
    const QList<ReplayLine> lines = parseThreadtime(
        "--------- beginning of main\r\n"
        "03-17 16:13:38.811  1702  2395 D WindowManager: opening app\r\n"
        "03-17 16:13:38.819  1702  1702 E Tag With Space: msg: with colon\r\n"
        "garbage\r\n"
        "03-17 16:13:38.820  2227  2227 I Empty   : ");
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0].pid, 1702);
    EXPECT_EQ(lines[0].tid, 2395);
    EXPECT_EQ(lines[0].tag, QStringLiteral("WindowManager"));
    EXPECT_EQ(lines[0].message, QStringLiteral("opening app"));
    EXPECT_EQ(lines[1].tag, QStringLiteral("Tag With Space"));
    EXPECT_EQ(lines[1].message, QStringLiteral("msg: with colon"));
    EXPECT_EQ(lines[2].tag, QStringLiteral("Empty"));
    EXPECT_TRUE(lines[2].message.isEmpty());

    const QDateTime time(QDate(2026, 3, 17), QTime(9, 5, 7, 42));
    EXPECT_EQ(formatThreadtime(time, 123, 4567, 'W', QStringLiteral("Tag"), QStringLiteral("hi")),
              QByteArray("03-17 09:05:07.042   123  4567 W Tag     : hi\n"));
}

TEST(DeviceSimProcesses, ToyboxPsShowsOnlyTheShellAndRestartsChangePids) {
    ProcessTable table(1);
    const QList<QByteArray> own = table.psOutput({}, false).split('\n');
    ASSERT_EQ(own.size(), 4);  // header, sh, ps, and the empty rest after the last LF
    EXPECT_TRUE(own[0].startsWith("USER"));
    EXPECT_TRUE(own[1].endsWith(" sh"));
    EXPECT_TRUE(own[2].endsWith(" ps"));

    const int app = table.slotNamed(QStringLiteral("org.example.fieldnotes"), false);
    ASSERT_GE(app, 0);
    const int before = table.slot(app).pid;
    EXPECT_TRUE(table.psOutput({QStringLiteral("-A")}, false).contains(QByteArray(QByteArray::number(before) + " ")));
    table.restart(app);
    EXPECT_NE(table.slot(app).pid, before);
    EXPECT_FALSE(table.psOutput({QStringLiteral("-A")}, false).contains(QByteArray(" " + QByteArray::number(before) + " ")));

    // Toolbox lists everything with plain ps and takes "-A" as a name.
    EXPECT_TRUE(table.psOutput({}, true).contains(" org.example.fieldnotes\n"));
    EXPECT_EQ(table.psOutput({QStringLiteral("-A")}, true).count('\n'), 1);
}

TEST(DeviceSimOptions, RejectsBadValues) {
    QString error;
    EXPECT_TRUE(parseOptions({QStringLiteral("--ps"), QStringLiteral("toolbox"), QStringLiteral("--legacy")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--ps"), QStringLiteral("busybox")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--state"), QStringLiteral("asleep")}, error));
    const auto legacy = parseOptions({QStringLiteral("--legacy")}, error);
    ASSERT_TRUE(legacy);
    EXPECT_TRUE(legacy->toolboxPs);
    EXPECT_EQ(legacy->sdk, 23);
    EXPECT_FALSE(parseOptions({QStringLiteral("--port")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--port"), QStringLiteral("70000")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--frobnicate"), QStringLiteral("1")}, error));
}
