#include "core/log/crashdetector.h"

#include <algorithm>
#include <array>
#include <optional>

#include "core/filter/nodes.h"
#include "core/log/processlines.h"

using namespace std::string_view_literals;

namespace vf {

namespace {

constexpr size_t kMaxOpenBlocks = 64;       // reporters writing a block at the same moment
// A block is written in one burst; a reporter silent for this many rows (a
// dead process, usually) has finished its block.
constexpr uint64_t kStaleRows = 2'000;
constexpr uint64_t kSweepEvery = 256;
constexpr size_t kDumpHeaderLength = 63;  // "*** *** *** *** *** *** *** *** *** *** *** *** *** *** *** ***"
constexpr size_t kMaxPendingRows = 16;      // a bare exception's message lines before its first "at"
constexpr size_t kSignalMergeLookback = 8;  // crashes searched for the libc line of a dump

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The run of digits at the start of `s`.
std::string_view leadingNumber(std::string_view s) {
    size_t n = 0;
    while (n < s.size() && isDigit(s[n])) ++n;
    return s.substr(0, n);
}

// The digits after the first occurrence of `key` in `s`.
std::string_view numberAfter(std::string_view s, std::string_view key) {
    const size_t at = s.find(key);
    return at == std::string_view::npos ? std::string_view() : leadingNumber(trimmed(s.substr(at + key.size())));
}

// The text between `open` and the next `close` after it.
std::string_view between(std::string_view s, std::string_view open, std::string_view close, size_t from = 0) {
    const size_t a = s.find(open, from);
    if (a == std::string_view::npos) return {};
    const size_t b = s.find(close, a + open.size());
    return b == std::string_view::npos ? std::string_view() : trimmed(s.substr(a + open.size(), b - a - open.size()));
}

bool isNativeReporter(std::string_view tag) {
    return tag == "DEBUG"sv || tag == "crash_dump"sv || tag == "crash_dump32"sv || tag == "crash_dump64"sv ||
           tag == "tombstoned"sv;
}

bool isSevere(char level) { return level == 'E' || level == 'F' || level == 'A'; }

// "java.lang.IllegalStateException: ...", "kotlin.NotImplementedError",
// "com.example.AppCrash$Boom": a dotted name ending in Exception, Error or
// Throwable, then the end or ": ".
bool looksLikeException(std::string_view text) {
    const size_t end = std::min(text.find(':'), text.size());
    const std::string_view name = text.substr(0, end);
    if (name.empty() || name.find('.') == std::string_view::npos || name.find(' ') != std::string_view::npos)
        return false;
    return name.ends_with("Exception"sv) || name.ends_with("Error"sv) || name.ends_with("Throwable"sv);
}

bool isStackLine(std::string_view text) {
    return text.starts_with("at "sv) || text.starts_with("Caused by: "sv) || text.starts_with("... "sv) ||
           text.starts_with("Suppressed: "sv);
}

// Lines of an ActivityManager ANR report after its first line.
bool isAnrDetail(std::string_view text) {
    static constexpr std::array kPrefixes{"PID:"sv,    "Reason:"sv,  "Parent:"sv,  "Load:"sv,    "ErrorId:"sv,
                                          "Frozen:"sv, "Subject:"sv, "CPU usage"sv, "TOTAL:"sv,  "-----"sv,
                                          "some "sv,   "full "sv,    "Package is"sv, "Dropped"sv, "Dropbox"sv};
    if (!text.empty() && isDigit(text.front())) return true;
    return std::any_of(kPrefixes.begin(), kPrefixes.end(), [text](std::string_view p) { return text.starts_with(p); });
}

enum class Form : uint8_t { JavaFatal, SystemFatal, JavaPending, NativeDump, LibcSignal, Anr };

// The block a row starts, if any. A start line counts under its usual tag,
// or at an error level under any tag (the store may have replaced it).
std::optional<Form> startForm(std::string_view tag, std::string_view text, char level) {
    const bool runtime = tag == "AndroidRuntime"sv;
    const bool severe = isSevere(level);
    if (text.starts_with("FATAL EXCEPTION: "sv) && (runtime || severe)) return Form::JavaFatal;
    if (text.starts_with("*** FATAL EXCEPTION IN SYSTEM PROCESS: "sv) && (runtime || severe)) return Form::SystemFatal;
    if (text.starts_with("*** *** ***"sv) && (isNativeReporter(tag) || severe)) return Form::NativeDump;
    if (text.starts_with("Fatal signal "sv) && text.find("(SIG"sv) != std::string_view::npos &&
        (tag == "libc"sv || severe))
        return Form::LibcSignal;
    if ((text.starts_with("ANR in "sv) || text.starts_with("ANR (application not responding) in process: "sv)) &&
        (tag == "ActivityManager"sv || severe))
        return Form::Anr;
    if (runtime && looksLikeException(text)) return Form::JavaPending;
    return std::nullopt;
}

CrashKind kindOf(Form form) {
    switch (form) {
        case Form::SystemFatal: return CrashKind::System;
        case Form::NativeDump:
        case Form::LibcSignal: return CrashKind::Native;
        case Form::Anr: return CrashKind::Anr;
        case Form::JavaFatal:
        case Form::JavaPending: break;
    }
    return CrashKind::Java;
}

// The name a block gives its crash, or the app column of the row that gave
// it when that is the same process shown in its user ("com.example@10").
void nameCrash(CrashRecord& crash, std::string_view name, std::string_view rowApp) {
    const size_t user = rowApp.rfind('@');
    crash.app = user != std::string_view::npos && rowApp.substr(0, user) == name ? rowApp : name;
}

// What the first line tells of a crash; true when it names the process that died.
bool describeStart(Form form, std::string_view text, CrashRecord& crash) {
    switch (form) {
        case Form::SystemFatal:
            if (crash.app.empty()) crash.app = "system_server";
            crash.title = text.substr(4);  // without the "*** "
            return false;
        case Form::JavaFatal: crash.title = text; return false;
        case Form::NativeDump: crash.title = "native crash"; return false;
        case Form::LibcSignal: {
            // "Fatal signal 11 (SIGSEGV), code 1 (SEGV_MAPERR), fault addr 0x0 in tid 1 (T), pid 1 (PROC)"
            crash.title = text.substr(0, text.find(" in tid "sv));
            const size_t pidAt = text.rfind(", pid "sv);
            if (pidAt == std::string_view::npos) return false;
            const std::string_view pid = numberAfter(text.substr(pidAt), "pid "sv);
            if (!pid.empty()) crash.pid = pid;
            const std::string_view app = between(text, "("sv, ")"sv, pidAt);
            if (!app.empty()) crash.app = app;
            return true;
        }
        case Form::Anr: {
            const size_t nameAt = text.starts_with("ANR in "sv) ? 7 : text.find(':') + 2;
            const std::string_view rest = text.substr(nameAt);
            crash.app = rest.substr(0, std::min(rest.find(' '), rest.size()));
            crash.title = "ANR in " + crash.app;
            return false;
        }
        case Form::JavaPending: break;
    }
    return false;
}

}  // namespace

// The fields of one row the detector looks at.
struct CrashDetector::Line {
    const Row& row;
    std::string_view tag;   // trimmed
    std::string_view text;  // the message trimmed
    char level;
};

// One reporter's block being written.
struct CrashDetector::Block {
    std::string pid, tid, tag;  // the reporter
    std::string source;         // its rows' source: in a merged timeline pids repeat across sources
    Form form = Form::JavaFatal;
    uint64_t crashId = 0;       // 0 while a bare exception waits for its first "at"
    uint64_t lastRow = 0;       // the detector's row count at the block's last row
    bool titled = false;        // the block's own title line was seen
    bool named = false;         // the block named the process that died
    // A bare exception before its first "at" line.
    std::vector<RowIdx> pendingRows;
    std::string pendingTime, pendingTitle, pendingApp;
};

std::string_view crashKindName(CrashKind kind) {
    switch (kind) {
        case CrashKind::Java: return "java";
        case CrashKind::Native: return "native";
        case CrashKind::Anr: return "anr";
        case CrashKind::System: return "system";
    }
    return "java";
}

CrashDetector::CrashDetector() = default;
CrashDetector::~CrashDetector() = default;

void CrashDetector::feed(const Row& row) {
    ++fed_;
    const std::string_view type = row.type();
    const char level = type.empty() ? '\0' : type.front();
    if (level == 'I' && !open_.empty()) endBlocksOfDeadProcess(row);
    const auto lineOf = [&row] {
        return Line{row, trimmed(row.name()), trimmed(row.text()), row.type().empty() ? '\0' : row.type().front()};
    };
    if (!open_.empty()) {
        if (fed_ % kSweepEvery == 0) closeStaleBlocks();
        Block* block = openBlockOf(row);
        if (block != nullptr && fed_ - block->lastRow > kStaleRows) {
            closeBlock(block);
            block = nullptr;
        }
        if (block != nullptr) {
            const Line line = lineOf();
            if (continueBlock(*block, line)) {
                block->lastRow = fed_;
                return;
            }
            closeBlock(block);
            startBlock(line);
            return;
        }
    }
    // Most rows leave here, decided by what the row itself holds (its level,
    // the length of its text) without reading its line, which costs a cache
    // miss per row over a large file. Every start line begins with 'F', '*' or
    // 'A', except the bare exception (AndroidRuntime).
    if (level == 'V' || level == 'D' || level == 'W') return;
    // Older devices write the native dump at level I; its first line is the
    // fixed "*** *** ***" row of sixteen triples.
    if (level == 'I' && (row.text().size() < kDumpHeaderLength || row.text().size() > kDumpHeaderLength + 3)) return;
    std::string_view text = row.text();
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    const char first = text.empty() ? '\0' : text.front();
    if (level == 'I' && first != '*') return;
    if (first != 'F' && first != '*' && first != 'A' && !row.name().starts_with("AndroidRuntime"sv)) return;
    startBlock(lineOf());
}

// ActivityManager's "Process NAME (pid N) has died" (level I): the blocks
// written by or about that process are complete.
void CrashDetector::endBlocksOfDeadProcess(const Row& row) {
    // The tag's length first ("ActivityManager", with the long layout's
    // trailing blank): the row holds it without reading its line.
    const size_t tagLength = row.name().size();
    if (tagLength != 15 && tagLength != 16) return;
    const auto event = processEventOf(row.name(), row.text());
    if (!event || event->kind != ProcessEvent::Kind::Died) return;
    const std::string pid = std::to_string(event->pid);
    const std::string_view source = row.view(RowKey::Source);
    std::erase_if(open_, [&](const auto& block) {
        if (block->source != source) return false;
        if (block->pid == pid) return true;
        const CrashRecord* crash = block->crashId != 0 ? crashById(block->crashId) : nullptr;
        return crash != nullptr && crash->pid == pid;
    });
}

void CrashDetector::closeStaleBlocks() {
    std::erase_if(open_, [this](const auto& block) { return fed_ - block->lastRow > kStaleRows; });
}

void CrashDetector::finish() {
    while (!open_.empty()) closeBlock(open_.back().get());
}

void CrashDetector::clear() {
    open_.clear();
    dropped_ = 0;
    if (!crashes_.empty()) ++revision_;
    crashes_.clear();
}

bool CrashDetector::isOpen(uint64_t id) const {
    return std::any_of(open_.begin(), open_.end(), [id](const auto& block) { return block->crashId == id; });
}

CrashDetector::Block* CrashDetector::openBlockOf(const Row& row) {
    const std::string_view pid = row.pid(), tid = row.tid();
    for (const auto& block : open_)
        if (block->pid == pid && block->tid == tid && block->source == row.view(RowKey::Source)) return block.get();
    return nullptr;
}

void CrashDetector::closeBlock(Block* block) {
    const auto it = std::find_if(open_.begin(), open_.end(), [block](const auto& b) { return b.get() == block; });
    if (it != open_.end()) open_.erase(it);
}

bool CrashDetector::startBlock(const Line& line) {
    const std::optional<Form> form = startForm(line.tag, line.text, line.level);
    if (!form) return false;
    if (open_.size() >= kMaxOpenBlocks) open_.erase(open_.begin());
    auto block = std::make_unique<Block>();
    block->pid = line.row.pid(), block->tid = line.row.tid(), block->tag = line.tag;
    block->source = line.row.view(RowKey::Source);
    block->form = *form;
    block->lastRow = fed_;
    if (*form == Form::JavaPending) {
        block->pendingRows.push_back(line.row.idx());
        block->pendingTime = line.row.time(), block->pendingTitle = line.text, block->pendingApp = line.row.app();
    } else {
        CrashRecord* crash = addCrash(kindOf(*form), line);
        block->crashId = crash->id;
        block->named = describeStart(*form, line.text, *crash);
        if (block->named) nameCrash(*crash, std::string(crash->app), line.row.app());
    }
    open_.push_back(std::move(block));
    return true;
}

CrashRecord* CrashDetector::addCrash(CrashKind kind, const Line& line) {
    if (crashes_.size() >= kMaxCrashes) {
        crashes_.pop_front();
        ++dropped_;
    }
    CrashRecord& crash = crashes_.emplace_back();
    crash.id = nextId_++;
    crash.kind = kind;
    crash.app = line.row.app();
    crash.pid = line.row.pid();
    crash.time = line.row.time();
    crash.source = line.row.view(RowKey::Source);
    crash.rows.push_back(line.row.idx());
    ++detected_;
    ++revision_;
    return &crash;
}

CrashRecord* CrashDetector::crashById(uint64_t id) {
    const auto it = std::lower_bound(crashes_.begin(), crashes_.end(), id,
                                     [](const CrashRecord& c, uint64_t wanted) { return c.id < wanted; });
    return it != crashes_.end() && it->id == id ? &*it : nullptr;
}

void CrashDetector::addRow(CrashRecord& crash, RowIdx idx) {
    if (crash.rows.size() < kMaxRowsPerCrash) crash.rows.push_back(idx);
    else ++crash.droppedRows;
    ++revision_;
}

bool CrashDetector::continueBlock(Block& block, const Line& line) {
    if (line.tag != block.tag) return false;
    if (block.form == Form::JavaPending) return continuePending(block, line);
    // A new block from the same reporter ends this one.
    const std::string_view text = line.text;
    if (text.starts_with("FATAL EXCEPTION"sv) || text.starts_with("*** "sv) || text.starts_with("Fatal signal "sv) ||
        text.starts_with("ANR "sv))
        return false;
    CrashRecord* crash = crashById(block.crashId);
    if (crash == nullptr) return false;  // dropped by the bound
    switch (block.form) {
        case Form::JavaFatal:
        case Form::SystemFatal: return continueJava(block, *crash, line);
        case Form::NativeDump: return continueNative(block, *crash, line);
        case Form::LibcSignal: addRow(*crash, line.row.idx()); return true;
        case Form::Anr: return continueAnr(*crash, line);
        case Form::JavaPending: break;
    }
    return false;
}

bool CrashDetector::continuePending(Block& block, const Line& line) {
    if (!line.text.starts_with("at "sv)) {
        if (block.pendingRows.size() >= kMaxPendingRows || looksLikeException(line.text)) return false;
        block.pendingRows.push_back(line.row.idx());  // more of the exception's message
        return true;
    }
    CrashRecord* crash = addCrash(CrashKind::Java, line);
    crash->rows = std::move(block.pendingRows);
    crash->rows.push_back(line.row.idx());
    crash->time = std::move(block.pendingTime);
    crash->title = std::move(block.pendingTitle);
    if (!block.pendingApp.empty()) crash->app = std::move(block.pendingApp);
    block.crashId = crash->id;
    block.form = Form::JavaFatal;
    block.titled = true;
    return true;
}

bool CrashDetector::continueJava(Block& block, CrashRecord& crash, const Line& line) {
    const std::string_view text = line.text;
    if (!block.named && text.starts_with("Process: "sv)) {
        // "Process: com.example.app, PID: 1234"
        const std::string_view rest = text.substr(9);
        const size_t comma = rest.find(',');
        const std::string_view pid = numberAfter(rest, "PID: "sv);
        if (!pid.empty()) crash.pid = pid;
        nameCrash(crash, trimmed(rest.substr(0, comma)), line.row.app());
        block.named = true;
    } else if (!block.named && text.starts_with("PID: "sv)) {
        const std::string_view pid = numberAfter(text, "PID: "sv);
        if (!pid.empty()) crash.pid = pid;
        block.named = true;
    } else if (!block.titled && !isStackLine(text) && !text.empty()) {
        crash.title = text;
        block.titled = true;
    }
    addRow(crash, line.row.idx());
    return true;
}

bool CrashDetector::continueNative(Block& block, CrashRecord& crash, const Line& line) {
    const std::string_view text = line.text;
    addRow(crash, line.row.idx());
    if (!block.named && text.starts_with("pid: "sv) && text.find(">>> "sv) != std::string_view::npos) {
        // "pid: 1234, tid: 1250, name: RenderThread  >>> com.example.app <<<" (the name part is newer)
        const std::string_view pid = leadingNumber(text.substr(5));
        if (!pid.empty()) crash.pid = pid;
        const std::string_view app = between(text, ">>> "sv, " <<<"sv);
        if (!app.empty()) nameCrash(crash, app, line.row.app());
        block.named = true;
        absorbIntoSignal(block, crash);
    } else if (!block.titled && text.starts_with("signal "sv) && text.find("(SIG"sv) != std::string_view::npos) {
        crash.title = text;
        block.titled = true;
    }
    return true;
}

// libc writes "Fatal signal ..." in the dying process just before the dump
// of the same crash: the dump joins that crash instead of being a second one.
void CrashDetector::absorbIntoSignal(Block& block, CrashRecord& dump) {
    const size_t n = crashes_.size();
    for (size_t back = 2; back <= std::min(n, kSignalMergeLookback); ++back) {
        CrashRecord& signal = crashes_[n - back];
        if (signal.kind != CrashKind::Native || signal.pid != dump.pid || signal.source != dump.source ||
            signal.title.rfind("Fatal signal ", 0) != 0)
            continue;
        std::vector<RowIdx> rows;
        rows.reserve(signal.rows.size() + dump.rows.size());
        std::merge(signal.rows.begin(), signal.rows.end(), dump.rows.begin(), dump.rows.end(), std::back_inserter(rows));
        const size_t keep = std::min(rows.size(), kMaxRowsPerCrash);
        signal.droppedRows += dump.droppedRows + (rows.size() - keep);
        rows.resize(keep);
        signal.rows = std::move(rows);
        signal.app = dump.app;
        block.crashId = signal.id;
        block.titled = true;  // libc's line already says which signal
        const uint64_t dumpId = dump.id;
        crashes_.erase(std::find_if(crashes_.begin(), crashes_.end(),
                                    [dumpId](const CrashRecord& c) { return c.id == dumpId; }));
        ++revision_;
        return;
    }
}

bool CrashDetector::continueAnr(CrashRecord& crash, const Line& line) {
    const std::string_view text = line.text;
    if (!isAnrDetail(text)) return false;
    if (text.starts_with("PID: "sv)) {
        const std::string_view pid = numberAfter(text, "PID: "sv);
        if (!pid.empty()) crash.pid = pid;
    } else if (text.starts_with("Reason: "sv)) {
        crash.title = trimmed(text.substr(8));
    }
    addRow(crash, line.row.idx());
    return true;
}

namespace {

class RowsPredicate final : public Predicate {
public:
    RowsPredicate(std::vector<RowIdx> rows, std::string source) : rows_(std::move(rows)), source_(std::move(source)) {
        std::sort(rows_.begin(), rows_.end());
        rows_.erase(std::unique(rows_.begin(), rows_.end()), rows_.end());
    }

    bool evaluate(const FieldSource& row, QString*) const override {
        FieldScratch scratch;
        if (!source_.empty() && row.field(RowKey::Source, scratch) != source_) return false;
        const std::string_view idx = row.field(RowKey::Idx, scratch);
        uint64_t value = 0;
        for (const char c : idx) {
            if (!isDigit(c)) return false;
            value = value * 10 + uint64_t(c - '0');
        }
        return !idx.empty() && std::binary_search(rows_.begin(), rows_.end(), RowIdx(value));
    }

    QString format() const override {
        if (rows_.empty()) return QStringLiteral("idx == ''");
        QString text;
        for (const RowIdx idx : rows_) {
            if (!text.isEmpty()) text += QStringLiteral(" OR ");
            text += QStringLiteral("idx == '%1'").arg(idx.value());
        }
        if (source_.empty()) return text;
        const QString source = QString::fromUtf8(source_.data(), qsizetype(source_.size()));
        return (rows_.size() > 1 ? u'(' + text + u')' : text) + QStringLiteral(" AND source == ") + filter::quoted(source);
    }

private:
    std::vector<RowIdx> rows_;
    std::string source_;
};

}  // namespace

PredicatePtr rowsPredicate(std::vector<RowIdx> rows, std::string_view source) {
    return std::make_shared<RowsPredicate>(std::move(rows), std::string(source));
}

}  // namespace vf
