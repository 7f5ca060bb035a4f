#include "core/support/plistreader.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace vf {

using namespace Qt::StringLiterals;

namespace {

// Past this many nodes a binary list that shares objects would expand into a
// tree far larger than its file; the library copies shared objects.
constexpr uint64_t kMaxTreeNodes = 64ull * 1024 * 1024;

uint64_t readBigEndian(const unsigned char* p, int size) {
    uint64_t value = 0;
    for (int i = 0; i < size; ++i) value = (value << 8) | p[i];
    return value;
}

// Nesting depth of the XML elements. The library parses the nesting of
// arrays and dictionaries recursively, so the depth is all we bound.
// XML forbids the NUL character, raw or as a character reference; the
// library would take one into a dictionary key and then abort on reading it.
bool xmlHoldsNul(const QByteArray& bytes) {
    if (bytes.contains('\0')) return true;
    for (qsizetype at = bytes.indexOf("&#"); at >= 0; at = bytes.indexOf("&#", at + 2)) {
        qsizetype i = at + 2;
        const bool hex = i < bytes.size() && (bytes[i] == 'x' || bytes[i] == 'X');
        if (hex) ++i;
        while (i < bytes.size() && bytes[i] == '0') ++i;
        if (i > at + 2 + (hex ? 1 : 0) && i < bytes.size() && bytes[i] == ';') return true;
    }
    return false;
}

QString checkXml(const QByteArray& bytes) {
    if (xmlHoldsNul(bytes)) return u"the property list holds a NUL character"_s;
    int depth = 0;
    const char* p = bytes.constData();
    const char* const end = p + bytes.size();
    for (; p < end; ++p) {
        if (*p != '<' || p + 1 >= end) continue;
        const char next = p[1];
        if (next == '/') {
            if (depth > 0) --depth;
            continue;
        }
        if (next == '?' || next == '!') continue;
        const char* close = static_cast<const char*>(memchr(p, '>', size_t(end - p)));
        if (close == nullptr) break;
        if (close[-1] != '/' && ++depth > kPlistMaxDepth + 1) return u"the property list nests too deeply"_s;
        p = close;
    }
    return {};
}

class BinaryChecker final {
public:
    explicit BinaryChecker(const QByteArray& bytes)
        : data_(reinterpret_cast<const unsigned char*>(bytes.constData())), size_(uint64_t(bytes.size())) {}

    QString check() {
        if (size_ < 8 + 32) return u"the binary property list is truncated"_s;
        const unsigned char* trailer = data_ + size_ - 32;
        offsetSize_ = trailer[6];
        refSize_ = trailer[7];
        count_ = readBigEndian(trailer + 8, 8);
        const uint64_t top = readBigEndian(trailer + 16, 8);
        tableStart_ = readBigEndian(trailer + 24, 8);
        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8 || count_ == 0 || top >= count_ ||
            tableStart_ < 8 || tableStart_ >= size_ - 32 || count_ > (size_ - 32 - tableStart_) / offsetSize_) {
            return u"the binary property list has a damaged trailer"_s;
        }
        return walk(top);
    }

private:
    struct Frame {
        uint64_t object;
        uint64_t firstRef;  // byte position of the child references
        uint64_t children;
        uint64_t next = 0;
        uint64_t nodes = 1;
        int height = 1;
        bool isDict = false;
    };

    // A key (an ASCII or UTF-16 string) with a NUL in it.
    bool keyHoldsNul(uint64_t object) const {
        const uint64_t at = offsetOf(object);
        if (at < 8 || at >= tableStart_) return false;  // the library refuses it itself
        const int type = data_[at] >> 4;
        if (type != 0x5 && type != 0x6) return false;
        uint64_t pos = at + 1;
        uint64_t length = data_[at] & 0x0F;
        if (!extendedLength(&pos, &length)) return false;
        const uint64_t unit = type == 0x6 ? 2 : 1;
        if (length > (tableStart_ - pos) / unit) return false;
        for (uint64_t i = 0; i < length; ++i) {
            if (unit == 1 ? data_[pos + i] == 0 : (data_[pos + 2 * i] == 0 && data_[pos + 2 * i + 1] == 0)) return true;
        }
        return false;
    }

    // A marker's length nibble of 0xF means the real length follows as an
    // integer object; reads it and moves `pos` past it. False when it does
    // not fit before the offset table.
    bool extendedLength(uint64_t* pos, uint64_t* length) const {
        if (*length != 0x0F) return true;
        if (*pos >= tableStart_ || (data_[*pos] >> 4) != 0x1) return false;
        const int width = 1 << (data_[*pos] & 0x0F);
        if (width > 8 || *pos + 1 + uint64_t(width) > tableStart_) return false;
        *length = readBigEndian(data_ + *pos + 1, width);
        *pos += 1 + uint64_t(width);
        return true;
    }

    uint64_t offsetOf(uint64_t object) const {
        return readBigEndian(data_ + tableStart_ + object * offsetSize_, offsetSize_);
    }

    // For containers: where the references start and how many there are.
    bool children(uint64_t object, uint64_t* first, uint64_t* n) const {
        *n = 0;
        const uint64_t at = offsetOf(object);
        if (at < 8 || at >= tableStart_) return false;
        const unsigned char marker = data_[at];
        const int type = marker >> 4;
        if (type != 0xA && type != 0xC && type != 0xD) return true;
        uint64_t pos = at + 1;
        uint64_t length = marker & 0x0F;
        if (!extendedLength(&pos, &length)) return false;
        if (type == 0xD) {
            if (length > tableStart_) return false;
            length *= 2;
        }
        if (length > (tableStart_ - pos) / refSize_) return false;
        *first = pos;
        *n = length;
        return true;
    }

    // Depth-first over the object graph, every object finished once: the
    // depth of the tree the library would build, its node count, and cycles.
    QString walk(uint64_t top) {
        std::vector<unsigned char> state(count_, 0);  // 0 new, 1 open, 2 done
        std::vector<int> heights(count_, 0);
        std::vector<uint64_t> nodes(count_, 0);
        std::vector<Frame> stack;
        if (QString e = open(top, &stack, &state); !e.isEmpty()) return e;
        while (!stack.empty()) {
            Frame& frame = stack.back();
            if (frame.next == frame.children) {
                state[frame.object] = 2;
                heights[frame.object] = frame.height;
                nodes[frame.object] = frame.nodes;
                const Frame done = frame;
                stack.pop_back();
                if (stack.empty()) break;
                Frame& parent = stack.back();
                parent.height = qMax(parent.height, done.height + 1);
                parent.nodes = qMin(kMaxTreeNodes + 1, parent.nodes + done.nodes);
                if (parent.height > kPlistMaxDepth) return u"the property list nests too deeply"_s;
                if (parent.nodes > kMaxTreeNodes || parent.nodes > 2 * size_ + 1024)
                    return u"the property list expands far beyond its size"_s;
                continue;
            }
            const uint64_t child = readBigEndian(data_ + frame.firstRef + frame.next * refSize_, refSize_);
            ++frame.next;
            if (child >= count_) return u"the binary property list refers to a missing object"_s;
            if (frame.isDict && frame.next <= frame.children / 2 && keyHoldsNul(child))
                return u"the property list holds a NUL character in a key"_s;
            if (state[child] == 1) return u"the binary property list refers to itself"_s;
            if (state[child] == 2) {
                frame.height = qMax(frame.height, heights[child] + 1);
                frame.nodes = qMin(kMaxTreeNodes + 1, frame.nodes + nodes[child]);
                if (frame.height > kPlistMaxDepth) return u"the property list nests too deeply"_s;
                continue;
            }
            if (QString e = open(child, &stack, &state); !e.isEmpty()) return e;
        }
        return {};
    }

    QString open(uint64_t object, std::vector<Frame>* stack, std::vector<unsigned char>* state) {
        if (stack->size() >= size_t(kPlistMaxDepth)) return u"the property list nests too deeply"_s;
        Frame frame{object, 0, 0};
        if (!children(object, &frame.firstRef, &frame.children))
            return u"the binary property list has a damaged object"_s;
        frame.isDict = (data_[offsetOf(object)] >> 4) == 0xD;
        (*state)[object] = 1;
        stack->push_back(frame);
        return {};
    }

    const unsigned char* data_;
    uint64_t size_;
    int offsetSize_ = 0;
    int refSize_ = 0;
    uint64_t count_ = 0;
    uint64_t tableStart_ = 0;
};

}  // namespace

QString plistPrecheck(const QByteArray& bytes) {
    if (bytes.isEmpty()) return u"the file is empty"_s;
    if (bytes.size() > kPlistMaxBytes) return u"the file is too large for a property list"_s;
    if (bytes.startsWith("bplist00")) return BinaryChecker(bytes).check();
    return checkXml(bytes);
}

QByteArray readAtMost(QIODevice& device, qint64 limit, bool* truncated) {
    QByteArray bytes;
    if (!device.isSequential()) bytes.reserve(qsizetype(qBound<qint64>(0, device.size() - device.pos(), limit)));
    char chunk[64 * 1024];
    while (bytes.size() < limit) {
        const qint64 got = device.read(chunk, qMin<qint64>(sizeof chunk, limit - bytes.size()));
        if (got <= 0) break;
        bytes.append(chunk, qsizetype(got));
    }
    if (truncated != nullptr) {
        char extra = 0;
        *truncated = bytes.size() == limit && device.read(&extra, 1) == 1;
    }
    return bytes;
}

std::string plistString(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return {};
    uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return text != nullptr ? std::string(text, size_t(length)) : std::string();
}

PlistReadResult readPlistSafely(const QByteArray& bytes) {
    PlistReadResult result;
    result.error = plistPrecheck(bytes);
    if (!result.error.isEmpty()) return result;
    plist_t parsed = nullptr;
    plist_from_memory(bytes.constData(), uint32_t(bytes.size()), &parsed);
    result.root.reset(parsed);
    if (!result.root) result.error = u"the file is not a property list"_s;
    return result;
}

}  // namespace vf
