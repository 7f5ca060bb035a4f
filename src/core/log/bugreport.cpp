// What a file is (archive magic, a report's banner), and the scanner that
// tells a report's log lines and facts from the rest of it.
#include "core/log/bugreport.h"

#include <QLocale>
#include <array>
#include <optional>

using namespace Qt::StringLiterals;
using namespace std::string_view_literals;

namespace vf {

namespace {

constexpr std::string_view kSectionOpen = "------ ";
constexpr std::string_view kSectionClose = " ------";
constexpr std::string_view kDurationOf = " was the duration of '";

struct LogSection {
    std::string_view name;
    LogBuffer buffer;  // until logcat's own markers say otherwise
};

// The sections that hold logcat output; the last one reads every buffer
// and says which by its markers.
constexpr std::array<LogSection, 4> kLogSections{{
    {"SYSTEM LOG", LogBuffer::Main},
    {"EVENT LOG", LogBuffer::Events},
    {"RADIO LOG", LogBuffer::Radio},
    {"LAST LOGCAT", LogBuffer::None},
}};

// "------ NAME (command) ------" or "------ 0.1s was the duration of 'NAME' ------".
bool isSectionLine(std::string_view line) {
    return line.size() > kSectionOpen.size() + kSectionClose.size() && line.starts_with(kSectionOpen) &&
           line.ends_with(kSectionClose);
}

// The log section a section line opens; nullptr for any other line.
const LogSection* logSectionOpened(std::string_view line) {
    line.remove_prefix(kSectionOpen.size());
    line.remove_suffix(kSectionClose.size());
    const size_t paren = line.find(" (logcat"sv);
    if (paren == std::string_view::npos) return nullptr;
    const std::string_view name = line.substr(0, paren);
    for (const LogSection& section : kLogSections)
        if (section.name == name) return &section;
    return nullptr;
}

// The value between `open` and `close` after `prefix` at the start of `line`.
std::optional<std::string_view> quotedAfter(std::string_view line, std::string_view prefix, char open, char close) {
    if (!line.starts_with(prefix)) return std::nullopt;
    line.remove_prefix(prefix.size());
    while (!line.empty() && line.front() == ' ') line.remove_prefix(1);
    if (line.size() < 2 || line.front() != open) return std::nullopt;
    const size_t end = line.find(close, 1);
    if (end == std::string_view::npos) return std::nullopt;
    return line.substr(1, end - 1);
}

QString fromUtf8(std::string_view s) { return QString::fromUtf8(s.data(), qsizetype(s.size())); }

}  // namespace

ArchiveKind archiveKindOf(std::string_view head) {
    struct Magic {
        size_t at;
        std::string_view bytes;
        ArchiveKind kind;
    };
    static constexpr std::array<Magic, 11> kMagic{{
        {0, "PK\x03\x04"sv, ArchiveKind::Zip},
        {0, "PK\x05\x06"sv, ArchiveKind::Zip},  // an empty zip
        {0, "PK\x07\x08"sv, ArchiveKind::Zip},  // a spanned zip
        {0, "\x1f\x8b"sv, ArchiveKind::Gzip},
        {0, "BZh"sv, ArchiveKind::Bzip2},
        {0, "\xfd" "7zXZ\x00"sv, ArchiveKind::Xz},
        {0, "\x28\xb5\x2f\xfd"sv, ArchiveKind::Zstd},
        {0, "7z\xbc\xaf\x27\x1c"sv, ArchiveKind::SevenZip},
        {0, "Rar!\x1a\x07"sv, ArchiveKind::Rar},
        {257, "ustar\x00"sv, ArchiveKind::Tar},
        {257, "ustar  \x00"sv, ArchiveKind::Tar},  // GNU tar
    }};
    for (const Magic& magic : kMagic)
        if (head.size() >= magic.at + magic.bytes.size() && head.substr(magic.at, magic.bytes.size()) == magic.bytes)
            return magic.kind;
    return ArchiveKind::None;
}

QString archiveKindText(ArchiveKind kind) {
    switch (kind) {
        case ArchiveKind::None: return {};
        case ArchiveKind::Zip: return u"a zip archive"_s;
        case ArchiveKind::Gzip: return u"a gzip-compressed file"_s;
        case ArchiveKind::Bzip2: return u"a bzip2-compressed file"_s;
        case ArchiveKind::Xz: return u"an xz-compressed file"_s;
        case ArchiveKind::Zstd: return u"a zstd-compressed file"_s;
        case ArchiveKind::SevenZip: return u"a 7z archive"_s;
        case ArchiveKind::Rar: return u"a RAR archive"_s;
        case ArchiveKind::Tar: return u"a tar archive"_s;
    }
    return {};
}

bool startsBugreportText(std::string_view head) {
    constexpr std::string_view kBanner = "== dumpstate: ";
    head = head.substr(0, 4096);
    if (head.starts_with("\xEF\xBB\xBF"sv)) head.remove_prefix(3);
    for (size_t at = 0; (at = head.find(kBanner, at)) != std::string_view::npos; at += kBanner.size())
        if (at == 0 || head[at - 1] == '\n') return true;
    return false;
}

QString ReportFacts::title() const {
    if (device.isEmpty() || fingerprint.isEmpty()) return device.isEmpty() ? fingerprint : device;
    return device + u" \u00b7 "_s + fingerprint;
}

QString ReportFacts::description() const {
    const QString layoutText = layout.text();
    const QString head = title();
    if (head.isEmpty() || layoutText.isEmpty()) return head.isEmpty() ? layoutText : head;
    return head + u"\n"_s + layoutText;
}

QString ReportLayout::kindText() const {
    switch (kind) {
        case Kind::None: return {};
        case Kind::Text: return u"bugreport (text)"_s;
        case Kind::Zip: return u"bugreport (zip)"_s;
    }
    return {};
}

QString ReportLayout::sectionText(const Section& section) {
    if (section.format == LogLineFormat::None) return section.name + u": no log lines"_s;
    return u"%1: %2, %3 line%4"_s.arg(section.name, logLineFormatName(section.format))
        .arg(section.lines)
        .arg(section.lines == 1 ? u""_s : u"s"_s);
}

QString ReportLayout::text() const {
    QString text = kindText();
    if (text.isEmpty()) return text;
    for (const Section& section : sections) text += u"\n"_s + sectionText(section);
    if (const QString part = partText(); !part.isEmpty()) text += u"\n"_s + part;
    return text;
}

QString ReportLayout::partText() const {
    if (entrySize == 0 || lookedAt >= entrySize) return {};
    const auto size = [](uint64_t bytes) {
        return QLocale::c().formattedDataSize(qint64(bytes), 0, QLocale::DataSizeTraditionalFormat);
    };
    return u"only the first %1 of %2 were looked at: later sections are not listed, and line counts "
           u"stop there"_s.arg(size(lookedAt), size(entrySize));
}

BugreportScanner::Line BugreportScanner::take(std::string_view line) {
    if (isSectionLine(line)) {
        if (const LogSection* section = logSectionOpened(line)) {
            inSection_ = true;
            section_ = section->name;
            buffer_ = section->buffer;
            ++sections_;
            return Line::SectionStart;
        }
        // The duration line closes its section; an older report may go
        // straight on to the next section, which closes it too.
        const bool closes = inSection_;
        inSection_ = false;
        if (closes) return Line::SectionEnd;
        if (line.find(kDurationOf) == std::string_view::npos) takeFact(line);
        return Line::Outside;
    }
    if (!inSection_) {
        takeFact(line);
        return Line::Outside;
    }
    if (isBufferMarker(line)) {
        buffer_ = bufferOfMarker(line).value_or(LogBuffer::None);
        return Line::Marker;
    }
    return Line::Log;
}

void BugreportScanner::takeFact(std::string_view line) {
    if (facts_.fingerprint.isEmpty()) {
        if (const auto value = quotedAfter(line, factPrefixes()[0], '\'', '\''))
            facts_.fingerprint = fromUtf8(*value);
    }
    if (facts_.device.isEmpty()) {
        if (const auto value = quotedAfter(line, factPrefixes()[1], '[', ']')) facts_.device = fromUtf8(*value);
    }
}

}  // namespace vf
