#include "cli/rowwriter.h"

#include <array>
#include <cstdio>

#include "core/log/logexport.h"

namespace vf::cli {

namespace {

constexpr std::string_view kColorReset = "\033[0m";

void appendEscapedCodeUnit(std::string& out, unsigned value) {
    std::array<char, 8> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "\\u%04x", value);
    out += buffer.data();
}

bool isContinuation(unsigned char c) { return (c & 0xC0) == 0x80; }

// Length of the valid UTF-8 sequence starting at `i`, or 0 when it is invalid.
size_t validSequenceLength(std::string_view s, size_t i) {
    const auto at = [&](size_t k) -> unsigned char { return i + k < s.size() ? (unsigned char)s[i + k] : 0; };
    const unsigned char c = at(0);
    if (c >= 0xC2 && c <= 0xDF) return isContinuation(at(1)) ? 2 : 0;
    if (c >= 0xE0 && c <= 0xEF) {
        const unsigned char lo = c == 0xE0 ? 0xA0 : 0x80;
        const unsigned char hi = c == 0xED ? 0x9F : 0xBF;  // no UTF-16 surrogates
        return at(1) >= lo && at(1) <= hi && isContinuation(at(2)) ? 3 : 0;
    }
    if (c >= 0xF0 && c <= 0xF4) {
        const unsigned char lo = c == 0xF0 ? 0x90 : 0x80;
        const unsigned char hi = c == 0xF4 ? 0x8F : 0xBF;
        return at(1) >= lo && at(1) <= hi && isContinuation(at(2)) && isContinuation(at(3)) ? 4 : 0;
    }
    return 0;
}

// The viewer's saved-text layout, optionally in the level's colour.
class TextWriter final : public RowWriter {
public:
    TextWriter(std::ostream& out, bool color, bool terminal, const std::string& device)
        : out_(out), color_(color), terminal_(terminal), device_(device.empty() ? device : device + "  ") {}
    void write(const RowPtr& row) override {
        std::string line = device_ + savedTextLine(*row);
        if (terminal_) line = terminalSafe(line);
        const std::string_view color = color_ ? levelColor(row->type()) : std::string_view();
        if (!color.empty()) {
            // The reset goes before the line feed so a cut-off line leaves no colour behind.
            line.insert(line.size() - 1, kColorReset);
            line.insert(0, color);
        }
        out_.write(line.data(), std::streamsize(line.size()));
    }

private:
    std::ostream& out_;
    bool color_;
    bool terminal_;
    std::string device_;  // with its separator
};

// The viewer's copy layout (seven tab-separated columns), then the buffer.
class TsvWriter final : public RowWriter {
public:
    TsvWriter(std::ostream& out, bool terminal, const std::string& device)
        : out_(out), terminal_(terminal), device_(device.empty() ? QByteArray() : '\t' + QByteArray::fromStdString(device)) {}
    void write(const RowPtr& row) override {
        QByteArray line = copyText(RowList{row}).toUtf8();
        const std::string_view buffer = row->view(RowKey::Buffer);
        line.insert(line.size() - 1, '\t' + QByteArray(buffer.data(), qsizetype(buffer.size())) + device_);
        if (terminal_) {
            const std::string safe = terminalSafe(std::string_view(line.constData(), size_t(line.size())));
            out_.write(safe.data(), std::streamsize(safe.size()));
            return;
        }
        out_.write(line.constData(), std::streamsize(line.size()));
    }

private:
    std::ostream& out_;
    bool terminal_;
    QByteArray device_;  // with its tab
};

// One JSON object per line, keys in the row's key order.
class JsonWriter final : public RowWriter {
public:
    JsonWriter(std::ostream& out, const std::string& device) : out_(out) {
        if (device.empty()) return;
        device_ = ",\"device\":";
        appendJsonString(device_, device);
    }
    void write(const RowPtr& row) override {
        line_.assign("{\"idx\":").append(std::to_string(row->idx().value()));
        for (int k = 1; k < kRowKeyCount; ++k) {
            const RowKey key = RowKey(k);
            line_.append(",\"").append(rowKeyName(key)).append("\":");
            appendJsonString(line_, row->view(key));
        }
        line_.append(",\"").append(kBufferKeyName).append("\":");
        appendJsonString(line_, row->view(RowKey::Buffer));
        line_.append(device_).append("}\n");
        out_.write(line_.data(), std::streamsize(line_.size()));
    }

private:
    std::ostream& out_;
    std::string line_;
    std::string device_;  // the "device" member, when there is one
};

}  // namespace

void appendJsonString(std::string& out, std::string_view s) {
    out += '"';
    for (size_t i = 0; i < s.size();) {
        const unsigned char c = (unsigned char)s[i];
        if (c < 0x80) {
            switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            case '\b': out += "\\b"; break;
            case '\f': out += "\\f"; break;
            default:
                if (c < 0x20 || c == 0x7F) appendEscapedCodeUnit(out, c);
                else out += char(c);
            }
            ++i;
            continue;
        }
        const size_t length = validSequenceLength(s, i);
        if (length == 0) {
            out += "\\ufffd";
            ++i;
            continue;
        }
        // Line and paragraph separators are valid JSON but break line-based readers.
        if (length == 3 && c == 0xE2 && (unsigned char)s[i + 1] == 0x80 &&
            ((unsigned char)s[i + 2] == 0xA8 || (unsigned char)s[i + 2] == 0xA9)) {
            appendEscapedCodeUnit(out, (unsigned char)s[i + 2] == 0xA8 ? 0x2028 : 0x2029);
        } else {
            out.append(s.substr(i, length));
        }
        i += length;
    }
    out += '"';
}

std::string_view levelColor(std::string_view type) {
    if (type.size() != 1) return {};
    switch (type.front()) {
    case 'V': case 'v': return "\033[34m";        // blue
    case 'I': case 'i': return "\033[32m";        // green
    case 'W': case 'w': return "\033[33m";        // orange-ish
    case 'E': case 'e': return "\033[31m";        // red
    case 'F': case 'f':
    case 'A': case 'a': return "\033[1;31m";      // bold red
    default: return {};                           // debug: the terminal's own colour
    }
}

std::unique_ptr<RowWriter> makeRowWriter(OutputFormat format, std::ostream& out, bool color, bool terminal,
                                         const std::string& device) {
    switch (format) {
    case OutputFormat::Tsv: return std::make_unique<TsvWriter>(out, terminal, device);
    case OutputFormat::Json: return std::make_unique<JsonWriter>(out, device);
    case OutputFormat::Text: break;
    }
    return std::make_unique<TextWriter>(out, color, terminal, device);
}

}  // namespace vf::cli
