#include "core/support/terminaltext.h"

#include <array>
#include <cstdio>

namespace vf {

std::string terminalSafe(std::string_view line) {
    std::string out;
    out.reserve(line.size());
    const size_t body = !line.empty() && line.back() == '\n' ? line.size() - 1 : line.size();
    std::array<char, 8> buffer{};
    for (size_t i = 0; i < body; ++i) {
        const unsigned char c = (unsigned char)line[i];
        if ((c < 0x20 && c != '\t') || c == 0x7F) {
            std::snprintf(buffer.data(), buffer.size(), "\\x%02x", c);
            out += buffer.data();
        } else if (c == 0xC2 && i + 1 < body && (unsigned char)line[i + 1] >= 0x80 &&
                   (unsigned char)line[i + 1] <= 0x9F) {
            std::snprintf(buffer.data(), buffer.size(), "\\u%04x",
                          unsigned((unsigned char)line[++i]));
            out += buffer.data();
        } else {
            out += char(c);
        }
    }
    out.append(line.substr(body));
    return out;
}

QString visibleControls(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 || u == 0x7F)
            out += QStringLiteral("\\x%1").arg(unsigned(u), 2, 16, QLatin1Char('0'));
        else if (u >= 0x80 && u <= 0x9F)
            out += QStringLiteral("\\u%1").arg(unsigned(u), 4, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out;
}

}  // namespace vf
