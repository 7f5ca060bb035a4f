#include "core/screen/typewriter.h"

#include <QTimer>
#include <utility>

#include "core/support/logger.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {

enum Tag : long { kTransportStatus = 0, kCommandStatus = 4, kOutputLine = 5 };

// The command's reply may take this long; everything else waits for ever.
constexpr double kCommandReplyTimeout = 1.0;
// After a connection that never reached the server, the next attempt waits
// this long instead of spinning on a dead port.
constexpr int kRetryAfterFailureMs = 500;

std::optional<int> punctuationKeyCode(char c) {
    switch (c) {
        case '#': return 18;
        case '\'': return 75;
        case '*': return 17;
        case '+': return 81;
        case ',': return 55;
        case '-': return 69;
        case '.': return 56;
        case '/': return 76;
        case ';': return 74;
        case '=': return 70;
        case '@': return 77;
        case '[': return 71;
        case '\\': return 73;
        case ']': return 72;
        default: return std::nullopt;
    }
}

}  // namespace

QByteArray TypeWriter::charactersForKey(int key, Qt::KeyboardModifiers modifiers, const QString& text) {
    switch (key) {
        case Qt::Key_Up: return QByteArray(1, '\0');
        case Qt::Key_Down: return QByteArray(1, '\1');
        case Qt::Key_Left: return QByteArray(1, '\2');
        case Qt::Key_Right: return QByteArray(1, '\3');
        case Qt::Key_Tab: return QByteArray(1, '\t');
        case Qt::Key_Return:
        case Qt::Key_Enter: return QByteArray(1, '\r');
        case Qt::Key_Backspace: return QByteArray(1, '\x7f');
        // The forward-delete key's character (U+F728) keeps only its low
        // byte, "(": it is typed as that, like any other function key.
        case Qt::Key_Delete: return QByteArray(1, '(');
        default: break;
    }
    // Characters ignoring the modifiers: with Ctrl held the typed text is a
    // control character, the key still names the letter.
    if ((modifiers & Qt::ControlModifier) && key >= Qt::Key_A && key <= Qt::Key_Z) {
        const char letter = char('a' + (key - Qt::Key_A));
        return QByteArray(1, (modifiers & Qt::ShiftModifier) ? char(letter - 'a' + 'A') : letter);
    }
    QByteArray out;
    for (const QChar ch : text) {
        if (ch.unicode() < 0x20) continue;  // control characters of other chords
        out.append(char(ch.unicode() & 0xFF));
    }
    return out;
}

InputWrapper TypeWriter::inputForChar(char c, bool command) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) {
        return InputWrapper::ofText(QString(QLatin1Char(c)));
    }
    if (c >= 0 && c <= 3) return InputWrapper::ofKeyCode(19 + c);
    if (c == '\t') return InputWrapper::ofKeyCode(61);
    if (c == '\n' || c == '\r') return InputWrapper::ofKeyCode(66);
    if (c == '\x7f') return InputWrapper::ofKeyCode(command ? kBackKey : 67);
    if (const std::optional<int> code = punctuationKeyCode(c)) return InputWrapper::ofKeyCode(*code);
    VF_LOG("TODO: handle char: 0x{:02X}", int(c));
    return InputWrapper::ofText(QString(QLatin1Char(c)));
}

QString TypeWriter::escapeText(const QString& text) {
    // The device's "input text" turns %s into a space; the order of these
    // passes is part of the behaviour: "%" ends up as two backslashes and
    // an ampersand, and the "%s" of a space is left alone.
    QString out = text;
    out.replace(u'%', u"\\&"_s);
    out.replace(u' ', u"%s"_s);
    out.replace(u'&', u"\\&"_s);
    out.replace(u'(', u"\\("_s);
    out.replace(u')', u"\\)"_s);
    out.replace(u'<', u"\\<"_s);
    out.replace(u'>', u"\\>"_s);
    // The command runs in the device's shell: every other character it
    // would interpret is escaped too, so typed text never runs a command.
    static const QString kShellSpecial = u"`$|;\"'*?~!#{}[]^"_s;
    QString safe;
    safe.reserve(out.size() * 2);
    for (const QChar ch : out) {
        if (kShellSpecial.contains(ch)) safe.append(u'\\');
        safe.append(ch);
    }
    return safe;
}

bool TypeWriter::sendKeyEvent(int key, Qt::KeyboardModifiers modifiers, const QString& text) {
    const bool command = modifiers & Qt::ControlModifier;
    bool refused = false;
    for (const char c : charactersForKey(key, modifiers, text)) {
        refused = addInput(inputForChar(c, command));
        if (refused) break;
    }
    return refused;
}

bool TypeWriter::addKeyEvent(int keyCode) { return addInput(InputWrapper::ofKeyCode(keyCode)); }

bool TypeWriter::addInput(const InputWrapper& input) {
    {
        QMutexLocker lock(&mutex_);
        if (inputs_.size() >= kMaxWaitingBeforeRefusal) return true;
        inputs_.append(input);
        VF_LOG("pending inputs = {}", inputs_.size());
    }
    QMetaObject::invokeMethod(this, [this] { processInputs(); }, Qt::QueuedConnection);
    return false;
}

qsizetype TypeWriter::pendingInputs() const {
    QMutexLocker lock(&mutex_);
    return inputs_.size();
}

void TypeWriter::processInputs() {
    VF_LOG("isConnected: {}, isProcessingInputs: {}", isConnected(), processingInputs_);
    if (pendingInputs() == 0) {
        VF_LOG("Nothing else to send: {}", 0);
    } else if (!isConnected() && !processingInputs_) {
        processingInputs_ = true;
        VF_LOG("connect");
        start();
    } else {
        VF_LOG("Ignore processInputs isConnected= {}, processingInputs={}", isConnected(), processingInputs_);
    }
}

void TypeWriter::connected() {
    reachedServer_ = true;
    sendDeviceId(kTransportStatus);
}

void TypeWriter::sendData() {
    QMutexLocker lock(&mutex_);
    if (!isConnected() || !processingInputs_) {
        if (!isConnected()) VF_LOG("ADB not connected!!!");
        else VF_LOG("Should be in processingInputs state");
        return;
    }
    QString text;
    while (!inputs_.isEmpty() && inputs_.first().isText) text += inputs_.takeFirst().text;
    if (!inputs_.isEmpty() && text.isEmpty()) {
        QString codes;
        while (!inputs_.isEmpty() && !inputs_.first().isText) {
            codes += QString::number(inputs_.takeFirst().keyCode) + u' ';
        }
        const QString request = u"shell:input keyevent "_s + codes;
        VF_LOG("Sending: {}", request);
        sendExpectOkay(request, kCommandStatus, kCommandReplyTimeout);
        return;
    }
    if (!inputs_.isEmpty()) {
        VF_LOG("Already have text to process to process send text now: \"{}\"", text);
    }
    if (text.isEmpty()) return;
    const QString request = u"shell:input text "_s + escapeText(text);
    VF_LOG("Sending: \"{}\"", request);
    sendExpectOkay(request, kCommandStatus, kCommandReplyTimeout);
}

void TypeWriter::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    VF_LOG("RX: {}", data);
    switch (tag) {
        case kTransportStatus:
            if (takeOkay(data)) sendData();
            break;
        case kCommandStatus:
            if (takeOkay(data)) readLine(kOutputLine);
            break;
        case kOutputLine:
            // The command normally prints nothing; whatever it printed ends
            // the batch.
            VF_LOG("Error1: response was not 'OKAY'. Got: '{}'", data);
            end(AdbOutcome::Done);
            break;
        default:
            logUnknownTag(tag);
    }
}

void TypeWriter::finished(const AdbResult& result) {
    VF_LOG("socketDidDisconnect");
    if (result.error) VF_LOG("error: {}", result.error->toString());
    processingInputs_ = false;
    if (std::exchange(reachedServer_, false)) {
        processInputs();
    } else {
        QTimer::singleShot(kRetryAfterFailureMs, this, [this] { processInputs(); });
    }
}

}  // namespace vf
