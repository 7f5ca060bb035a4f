#include "core/screen/typewriter.h"

#include <QTimer>
#include <utility>

#include "core/screen/screenfacts.h"
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

// The platform the key handling was written for reports its function keys
// as private-use characters: F1 to F35 are U+F704 to U+F726, Insert U+F727,
// Home U+F729, End U+F72B, Page Up U+F72C, Page Down U+F72D. Each goes on
// as the low byte of its character, like every other key.
std::optional<char> functionKeyByte(int key) {
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35) return char(0x04 + (key - Qt::Key_F1));
    switch (key) {
        case Qt::Key_Insert: return char(0x27);
        case Qt::Key_Home: return char(0x29);
        case Qt::Key_End: return char(0x2B);
        case Qt::Key_PageUp: return char(0x2C);
        case Qt::Key_PageDown: return char(0x2D);
        default: return std::nullopt;
    }
}

}  // namespace

QByteArray TypeWriter::charactersForKey(int key, Qt::KeyboardModifiers modifiers, const QString& text,
                                        QString* skipped) {
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
        case Qt::Key_Escape: return QByteArray(1, '\x1b');
        default: break;
    }
    if (const std::optional<char> byte = functionKeyByte(key)) return QByteArray(1, *byte);
    // Characters ignoring the modifiers: with Ctrl held the typed text is a
    // control character, the key still names the letter.
    if ((modifiers & Qt::ControlModifier) && key >= Qt::Key_A && key <= Qt::Key_Z) {
        const char letter = char('a' + (key - Qt::Key_A));
        return QByteArray(1, (modifiers & Qt::ShiftModifier) ? char(letter - 'a' + 'A') : letter);
    }
    // "input text" types only what the device's virtual keyboard has, which
    // is ASCII: anything else is skipped and named, never sent as its low
    // byte (which would type another character, or a shell metacharacter).
    QByteArray out;
    for (const char32_t c : text.toUcs4()) {
        if (c < 0x20) continue;  // control characters of other chords
        if (c < 0x80) {
            out.append(char(c));
        } else if (skipped != nullptr) {
            *skipped += QString::fromUcs4(&c, 1);
        }
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
    // The command runs in the device's shell, so the text must reach
    // "input text" as exactly one word, whatever was typed. A space goes as
    // "%s", which "input text" turns back into a space. Letters, digits,
    // the few punctuation marks no shell reads and any non-ASCII character
    // go as they are; every other printable character behind a backslash
    // (the backslash too), which keeps the long-standing "\&", "\(" and
    // the like; a control character in single quotes, since a backslash
    // before a line feed would join lines instead of quoting it. NUL cannot
    // be passed at all and is dropped.
    static const QString kPlain = u"%_-+.,/:=@"_s;
    QString word;
    word.reserve(text.size() * 2 + 2);
    for (const QChar ch : text) {
        const char16_t c = ch.unicode();
        if (c == u' ') {
            word += u"%s"_s;
        } else if (c == 0) {
            continue;
        } else if (c < 0x20 || c == 0x7F) {
            word.append(u'\'').append(ch).append(u'\'');
        } else if (c >= 0x80 || ch.isLetterOrNumber() || kPlain.contains(ch)) {
            word += ch;
        } else {
            word.append(u'\\').append(ch);
        }
    }
    // An empty text is still one word.
    return word.isEmpty() ? u"''"_s : word;
}

bool TypeWriter::sendKeyEvent(int key, Qt::KeyboardModifiers modifiers, const QString& text, QString* skipped) {
    const bool command = modifiers & Qt::ControlModifier;
    bool refused = false;
    for (const char c : charactersForKey(key, modifiers, text, skipped)) {
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
        const QString request = inputCommandPrefix(inputDisplay_) + u"keyevent "_s + codes;
        VF_LOG("Sending: {}", request);
        sendExpectOkay(request, kCommandStatus, kCommandReplyTimeout);
        return;
    }
    if (!inputs_.isEmpty()) {
        VF_LOG("Already have text to process to process send text now: \"{}\"", text);
    }
    if (text.isEmpty()) return;
    const QString request = inputCommandPrefix(inputDisplay_) + u"text "_s + escapeText(text);
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
