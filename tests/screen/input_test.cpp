#include <gtest/gtest.h>

#include "core/screen/touchwriter.h"
#include "core/screen/typewriter.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

QByteArray framedRequest(const QByteArray& text) { return AdbSocket::frame(QString::fromUtf8(text)); }

// One conversation of an input command: transport, command, the device
// closes the shell when the command is done.
Script commandScript(const QByteArray& command, const QByteArray& transport = "host:transport-any") {
    return Script().expectRequest(transport).reply("OKAY").expectRequest(command).reply("OKAY").close();
}

TEST(TouchWriter, GesturesAreRoundedAndTheNewestGoesFirst) {
    ScriptedAdbServer server;
    server.addScript(commandScript("shell:input swipe 10 20 300 400 100", "host:transport:emu-1"));
    server.addScript(commandScript("shell:input tap 100 201", "host:transport:emu-1"));
    TouchWriter writer(server.endpoint());
    writer.setDeviceId(u"emu-1"_s);
    // Both are queued before the first connection is bound to the device.
    writer.sendTouchForPoint({100.4, 200.6});
    writer.sendSwipeFrom({10, 20}, {300.2, 399.5});
    ASSERT_TRUE(test::waitThenSettle([&] { return server.scriptDone(1) && server.isClosed(1); }));
    EXPECT_EQ(server.connectionCount(), 2);
    EXPECT_EQ(server.received(0), framedRequest("host:transport:emu-1") +
                                      framedRequest("shell:input swipe 10 20 300 400 100"));
    EXPECT_EQ(server.received(1), framedRequest("host:transport:emu-1") + framedRequest("shell:input tap 100 201"));
}

TEST(TouchWriter, ARefusedTransportSendsNothing) {
    ScriptedAdbServer server;
    server.addScript(Script().expectRequest("host:transport-any").reply(test::failReply("more than one device")).close());
    TouchWriter writer(server.endpoint());
    writer.sendTouchForPoint({1, 2});
    ASSERT_TRUE(test::waitThenSettle([&] { return server.isClosed(0); }, 100));
    EXPECT_EQ(server.received(0), framedRequest("host:transport-any"));
    EXPECT_EQ(server.connectionCount(), 1);
}

TEST(TypeWriter, KeysMapToTextOrAndroidKeyCodes) {
    const struct {
        int key;
        Qt::KeyboardModifiers modifiers;
        QString text;
        QList<InputWrapper> inputs;
        QString skipped = {};
    } cases[] = {
        {Qt::Key_A, {}, u"a"_s, {InputWrapper::ofText(u"a"_s)}},
        {Qt::Key_7, {}, u"7"_s, {InputWrapper::ofText(u"7"_s)}},
        {Qt::Key_Up, {}, {}, {InputWrapper::ofKeyCode(19)}},
        {Qt::Key_Right, {}, {}, {InputWrapper::ofKeyCode(22)}},
        {Qt::Key_Tab, {}, u"\t"_s, {InputWrapper::ofKeyCode(61)}},
        {Qt::Key_Return, {}, u"\r"_s, {InputWrapper::ofKeyCode(66)}},
        {Qt::Key_Enter, Qt::KeypadModifier, u"\r"_s, {InputWrapper::ofKeyCode(66)}},
        {Qt::Key_Backspace, {}, u"\b"_s, {InputWrapper::ofKeyCode(67)}},
        {Qt::Key_Backspace, Qt::ControlModifier, {}, {InputWrapper::ofKeyCode(4)}},
        {Qt::Key_Slash, {}, u"/"_s, {InputWrapper::ofKeyCode(76)}},
        {Qt::Key_Backslash, {}, u"\\"_s, {InputWrapper::ofKeyCode(73)}},
        {Qt::Key_At, Qt::ShiftModifier, u"@"_s, {InputWrapper::ofKeyCode(77)}},
        {Qt::Key_Space, {}, u" "_s, {InputWrapper::ofText(u" "_s)}},
        {Qt::Key_Dollar, Qt::ShiftModifier, u"$"_s, {InputWrapper::ofText(u"$"_s)}},
        {Qt::Key_C, Qt::ControlModifier, u"\x03"_s, {InputWrapper::ofText(u"c"_s)}},
        // Escape and the function keys go as their character's low byte.
        {Qt::Key_Escape, {}, u"\x1b"_s, {InputWrapper::ofText(u"\x1b"_s)}},
        {Qt::Key_F5, {}, {}, {InputWrapper::ofText(u"\x08"_s)}},
        {Qt::Key_End, {}, {}, {InputWrapper::ofKeyCode(81)}},
        {Qt::Key_PageDown, {}, {}, {InputWrapper::ofKeyCode(69)}},
        // Beyond ASCII nothing is typed, least of all the low byte ("-" for
        // U+4E2D, "%" for U+0125): the character is reported as skipped.
        {Qt::Key_unknown, {}, u"\u4e2d"_s, {}, u"\u4e2d"_s},
        {Qt::Key_unknown, {}, u"\u0125"_s, {}, u"\u0125"_s},
        {Qt::Key_Eacute, {}, u"\u00e9"_s, {}, u"\u00e9"_s},
        {Qt::Key_unknown, {}, u"a\U0001F600b"_s, {InputWrapper::ofText(u"a"_s), InputWrapper::ofText(u"b"_s)},
         u"\U0001F600"_s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        QList<InputWrapper> inputs;
        QString skipped;
        for (const char ch : TypeWriter::charactersForKey(c.key, c.modifiers, c.text, &skipped)) {
            inputs.append(TypeWriter::inputForChar(ch, c.modifiers & Qt::ControlModifier));
        }
        EXPECT_EQ(inputs, c.inputs);
        EXPECT_EQ(skipped, c.skipped);
    }
}

TEST(TypeWriter, BatchesKeepTheOrderTyped) {
    ScriptedAdbServer server;
    const QByteArray commands[] = {"shell:input text a%sb", "shell:input keyevent 66 ", "shell:input text 5%"};
    for (const QByteArray& command : commands) server.addScript(commandScript(command));
    TypeWriter writer(server.endpoint());
    // Queued together: the text runs up to the key code, which goes next alone.
    for (const char c : QByteArray("a b")) EXPECT_FALSE(writer.addInput(TypeWriter::inputForChar(c, false)));
    EXPECT_FALSE(writer.sendKeyEvent(Qt::Key_Return, {}, u"\r"_s));
    EXPECT_FALSE(writer.sendKeyEvent(Qt::Key_5, {}, u"5"_s));
    EXPECT_FALSE(writer.sendKeyEvent(Qt::Key_Percent, Qt::ShiftModifier, u"%"_s));
    ASSERT_TRUE(test::waitThenSettle([&] { return server.isClosed(2); }));
    EXPECT_EQ(server.connectionCount(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(server.received(i), framedRequest("host:transport-any") + framedRequest(commands[i])) << i;
    EXPECT_EQ(writer.pendingInputs(), 0);
}

TEST(TypeWriter, TheTwelfthWaitingInputIsRefused) {
    ScriptedAdbServer server;  // no script: the batch waits for the transport
    TypeWriter writer(server.endpoint());
    for (int i = 0; i < 11; ++i) EXPECT_FALSE(writer.sendHomeKey()) << i;
    EXPECT_TRUE(writer.sendKeyEvent(Qt::Key_X, {}, u"x"_s));
    EXPECT_TRUE(waitUntil([&] { return server.connectionCount() == 1; }));
    EXPECT_EQ(writer.pendingInputs(), 11);
}

}  // namespace
}  // namespace vf
