#pragma once
// TextUtils: the message viewer's text transformations. The printers are
// lenient by design: they never reject their input, they reflow whatever
// characters they are given, and their quirks (a "]" always ends its line,
// an outermost "}" does not; a self-closing XML tag keeps the depth raised)
// are part of what users see and are kept. Pure functions; any thread.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>
#include <optional>

namespace vf {

// A stretch of a text: its first UTF-16 unit and its length.
struct TextSpan {
    qsizetype start = 0;
    qsizetype length = 0;
    friend bool operator==(const TextSpan&, const TextSpan&) = default;
};

// What decoding Base64 gives: the text, or the informative text of the alert.
struct Base64Decoding {
    std::optional<QString> text;  // set when the bytes are non-empty UTF-8
    QString alertText;            // otherwise: "Result is not a string..." or "Value is not valid Base64..."
};

class TextUtils final {
public:
    TextUtils() = delete;

    // The printers' bounds, so that hostile text costs time and memory in
    // proportion to its size: indentation stops growing at kMaxIndentDepth
    // levels (deeper levels are indented as that one), and the output stops
    // at `maxOutput` characters, followed by a line saying it was cut.
    static constexpr int kMaxIndentDepth = 64;
    static constexpr qsizetype kMaxPrettyOutput = qsizetype(64) << 20;

    // JSON reflowed with four-space indentation; text outside the outermost
    // brackets passes through. The result starts with a newline.
    static QString lenientJsonPrettyPrinter(QStringView text, qsizetype maxOutput = kMaxPrettyOutput);

    // XML with each tag on its own line; a text of fewer than two units
    // prints as nothing.
    static QString lenientXMLPrettyPrinter(QStringView text, qsizetype maxOutput = kMaxPrettyOutput);
    static void xmlPrettyPrinter(QStringView text, qsizetype index, int tabCount, QString& result,
                                 qsizetype maxOutput = kMaxPrettyOutput);

    // Drops trailing line feeds and spaces (tabs and CR stay).
    static void trimEnd(QString& text);
    // Appends `count` indentation units of four spaces (none for count <= 0,
    // kMaxIndentDepth at most).
    static void addTabs(qsizetype count, QString& text);
    // The text, or its first `length` characters and "..." when longer.
    static QString truncate(const QString& text, qsizetype length);

    // Decodes Base64, skipping characters outside its alphabet, and reads
    // the bytes as UTF-8. The alert shows at most the first kShownBytes
    // bytes (and then the total), or the first kShownBytes characters of
    // text that is not Base64.
    static constexpr qsizetype kShownBytes = 64;
    static Base64Decoding decodeBase64(QStringView text);
    // The Base64 run to decode when nothing is selected: the one the cursor
    // (a position between units; -1 for none) touches, else the longest in `text` (the
    // first of equals). A run is a stretch of the alphabet's letters,
    // digits, "+" and "/" with at most two "=" after it (unless more of the
    // alphabet follows them, as in "key=value"), at least
    // kMinBase64Run units long, whose length could be Base64 (not 1 beyond a
    // multiple of 4 before the padding). None when no stretch is one.
    static constexpr qsizetype kMinBase64Run = 4;
    static std::optional<TextSpan> base64RunAt(QStringView text, qsizetype cursor);
    // Bytes as hexadecimal groups of four bytes in angle brackets: <48656c6c 6f>.
    static QString dataDescription(QByteArrayView bytes);
};

}  // namespace vf
