#pragma once
// TypeWriter: what the user types in the remote screen window, sent to the
// device as "input text" and "input keyevent" commands, and the Menu, Home
// and Back keys. Keys become text or Android key codes in a short queue
// (at most 11 waiting); the queue goes out in batches, each a run of text or
// a run of key codes, one batch per connection, in the order typed.
//
// Threads: a conversation (see core/adb/adbsocket.h) living on its owner's
// chosen thread. The queuing calls (send*, add*) and pendingInputs() may be
// called from any thread: the queue has a lock of its own, and sending is
// queued to the writer's thread. Each batch's connection ends in its own
// finished(), which only starts the next batch: nothing is reported back.

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <optional>

#include "core/adb/adbsocket.h"

namespace vf {

// One queued input: a piece of text or an Android key code.
struct InputWrapper {
    bool isText = false;
    QString text;     // empty for a key code
    int keyCode = 0;  // 0 for text

    static InputWrapper ofText(const QString& text) { return {true, text, 0}; }
    static InputWrapper ofKeyCode(int code) { return {false, {}, code}; }
    friend bool operator==(const InputWrapper&, const InputWrapper&) = default;
};

class TypeWriter final : public AdbSocket {
    Q_OBJECT
public:
    static constexpr int kMenuKey = 82;
    static constexpr int kHomeKey = 3;
    static constexpr int kBackKey = 4;
    // The queue refuses an input while this many already wait.
    static constexpr int kMaxWaitingBeforeRefusal = 11;

    explicit TypeWriter(const AdbEndpoint& endpoint, QObject* parent = nullptr)
        : AdbSocket(endpoint, parent) {}

    // A key press (Qt key, modifiers, typed text). Returns true when the
    // queue was full and an input was refused (the caller beeps). Characters
    // the device cannot type (any beyond ASCII) are left out and appended to
    // `skipped`. Any thread.
    bool sendKeyEvent(int key, Qt::KeyboardModifiers modifiers, const QString& text, QString* skipped = nullptr);
    bool sendMenuKey() { return addKeyEvent(kMenuKey); }
    bool sendHomeKey() { return addKeyEvent(kHomeKey); }
    bool sendBackKey() { return addKeyEvent(kBackKey); }
    bool addKeyEvent(int keyCode);
    bool addInput(const InputWrapper& input);

    qsizetype pendingInputs() const;
    // The display, as input counts them, that keys and text go to (empty:
    // the default display). The writer's thread.
    void setInputDisplay(const QString& inputDisplay) { inputDisplay_ = inputDisplay; }

    // Pure helpers.
    // The device characters of a key press: each typed ASCII character,
    // with the arrows as 0-3, Tab 9, Return 13, Backspace 127, Escape 27,
    // and the other function keys (F1-F35, Insert, Home, End, Page Up/Down)
    // as the low byte of the platform's private-use characters. Characters
    // beyond ASCII are appended to `skipped` instead.
    static QByteArray charactersForKey(int key, Qt::KeyboardModifiers modifiers, const QString& text,
                                       QString* skipped = nullptr);
    // The input for one such character; `command` is Ctrl (Command) held.
    static InputWrapper inputForChar(char c, bool command);
    // The text as exactly one word of the device's shell whose value is the
    // text with each space as "%s" (see the .cpp for the quoting).
    static QString escapeText(const QString& text);

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    void connected() override;
    void finished(const AdbResult& result) override;
    void processInputs();
    void sendData();

    mutable QMutex mutex_;  // guards inputs_
    QList<InputWrapper> inputs_;
    QString inputDisplay_;  // writer's thread
    // The writer's thread.
    bool processingInputs_ = false;  // a batch's connection is under way
    bool reachedServer_ = false;     // the current connection was made
};

}  // namespace vf
