#include "core/filter/foldtable.h"

#include <QChar>
#include <QList>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>

#include "core/filter/textmatch.h"

namespace vf::textmatch {

namespace {

QString dropNonSpacingMarks(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            if (QChar::category(QChar::surrogateToUcs4(c, text.at(i + 1))) != QChar::Mark_NonSpacing)
                out.append(text.mid(i, 2));
            ++i;
        } else if (c.category() != QChar::Mark_NonSpacing) {
            out.append(c);
        }
    }
    return out;
}

enum EntryFlags : uint8_t { kStartsWithMark = 1, kEndsWithMark = 2, kNoFastFold = 4 };

struct Entry {
    uint32_t offset = 0;  // into Block::pool
    uint8_t length = 0;
    uint8_t flags = 0;
};

// The folded text of 256 consecutive code points.
struct Block {
    std::array<Entry, 256> entries;
    std::string pool;
};

constexpr size_t kBlockCount = 0x110000 >> 8;

struct Table {
    std::array<std::atomic<const Block*>, kBlockCount> blocks{};
    std::mutex mutex;
    ~Table() {
        for (auto& block : blocks) delete block.load();
    }
};

std::unique_ptr<Block> buildBlock(char32_t base, uint8_t options) {
    auto block = std::make_unique<Block>();
    for (char32_t i = 0; i < 256; ++i) {
        const char32_t cp = base + i;
        Entry& entry = block->entries[i];
        if (cp >= 0xD800 && cp <= 0xDFFF) {
            entry.flags = kNoFastFold;
            continue;
        }
        const QString folded = foldString(QString::fromUcs4(&cp, 1), options);
        const QList<uint> points = folded.toUcs4();
        if (!points.isEmpty() && QChar::combiningClass(points.front()) != 0) entry.flags |= kStartsWithMark;
        if (!points.isEmpty() && QChar::combiningClass(points.back()) != 0) entry.flags |= kEndsWithMark;
        const QByteArray utf8 = folded.toUtf8();
        entry.offset = uint32_t(block->pool.size());
        entry.length = uint8_t(utf8.size());
        block->pool.append(utf8.constData(), size_t(utf8.size()));
    }
    return block;
}

const Block& blockFor(char32_t cp, uint8_t options) {
    static Table tables[3];  // [c], [d], [cd]
    Table& table = tables[(options & 3) - 1];
    std::atomic<const Block*>& slot = table.blocks[cp >> 8];
    const Block* block = slot.load(std::memory_order_acquire);
    if (block != nullptr) return *block;
    std::lock_guard lock(table.mutex);
    block = slot.load(std::memory_order_relaxed);
    if (block == nullptr) {
        block = buildBlock(cp & ~char32_t(0xFF), options).release();
        slot.store(block, std::memory_order_release);
    }
    return *block;
}

// Decodes the character at text[i] (not ASCII); 0 length when malformed.
size_t decode(std::string_view text, size_t i, char32_t& cp) {
    const auto lead = static_cast<unsigned char>(text[i]);
    size_t length;
    if ((lead & 0xE0) == 0xC0) length = 2, cp = lead & 0x1F;
    else if ((lead & 0xF0) == 0xE0) length = 3, cp = lead & 0x0F;
    else if ((lead & 0xF8) == 0xF0) length = 4, cp = lead & 0x07;
    else return 0;
    if (i + length > text.size()) return 0;
    for (size_t k = 1; k < length; ++k) {
        const auto c = static_cast<unsigned char>(text[i + k]);
        if ((c & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (c & 0x3F);
    }
    static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kSmallest[length] || cp > 0x10FFFF) return 0;
    return length;
}

}  // namespace

QString foldString(const QString& text, uint8_t options) {
    QString s = text.normalized(QString::NormalizationForm_D);
    if (options & kDiacriticInsensitive) s = dropNonSpacingMarks(s);
    if (options & kCaseInsensitive) s = s.toCaseFolded();
    return s;
}

// Folding is a per-character mapping except for the canonical reordering of
// combining marks, which only matters where one character's folded text
// ends with a mark and the next one's begins with a mark.
bool foldByCharacter(std::string_view text, uint8_t options, std::string& out) {
    out.clear();
    const bool lower = (options & kCaseInsensitive) != 0;
    bool afterMark = false;
    for (size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            out.push_back(char(lower ? lowerAscii(c) : c));
            afterMark = false;
            ++i;
            continue;
        }
        char32_t cp = 0;
        const size_t length = decode(text, i, cp);
        if (length == 0) return false;
        const Block& block = blockFor(cp, options);
        const Entry& entry = block.entries[cp & 0xFF];
        if ((entry.flags & kNoFastFold) || (afterMark && (entry.flags & kStartsWithMark))) return false;
        if (entry.length > 0) {
            out.append(block.pool, entry.offset, entry.length);
            afterMark = (entry.flags & kEndsWithMark) != 0;
        }
        i += length;
    }
    return true;
}

}  // namespace vf::textmatch
