#include "core/log/reportrows.h"

#include <algorithm>

#include "core/adb/replyframing.h"
#include "core/log/linecut.h"
#include "core/log/utf8.h"
#include "core/support/logger.h"

namespace vf {

namespace {
// Progress is told at most this many times over a report.
constexpr uint64_t kProgressSteps = 200;
}  // namespace

RowPtr reportLogRow(RowArena& arena, std::string_view line, bool inArena, const RowIndexSource& nextIndex) {
    if (line.size() > size_t(kMaxLineBytes)) {
        line = arena.copyLine(cutLongLine(std::string(line)));
    } else if (!utf8::isValid(line)) {
        line = arena.copyLine(utf8::replaceInvalid(line));
    } else if (!inArena) {
        line = arena.copyLine(line);
    }
    return parseThreadTimeLine(arena, line, LogLineFormat::ThreadTimeUid, nextIndex);
}

ReportRows::ReportRows(const RowIndexSource& nextIndex, const TextFileReading& how, bool rows)
    : nextIndex_(nextIndex), how_(how), wantRows_(rows), want_(std::max<size_t>(how.firstChunkBytes, 1)) {}

BugreportScanner::Line ReportRows::takeOther(std::string_view line) {
    const BugreportScanner::Line kind = scanner_.take(line);
    if (kind == BugreportScanner::Line::SectionStart)
        layout_.sections.push_back({QString::fromLatin1(scanner_.section()), LogLineFormat::None, 0});
    return kind;
}

void ReportRows::take(std::string_view line, bool inArena) {
    if (takeOther(line) != BugreportScanner::Line::Log || line.empty()) return;
    ReportLayout::Section& section = layout_.sections.back();
    ++section.lines;
    if (!wantRows_ && section.format != LogLineFormat::None) return;
    RowPtr row = reportLogRow(arena_, line, inArena, nextIndex_);
    if (!row) return;
    if (section.format == LogLineFormat::None) section.format = reportRowFormat(*row);
    if (!wantRows_) return;
    row->setUnsharedBuffer(scanner_.buffer());
    notes_.observe(*row);
    rows_.append(std::move(row));
}

void ReportRows::takeStretch(ReportStretch stretch) {
    ReportLayout::Section& section = layout_.sections.at(stretch.section);
    section.lines += stretch.lines;
    if (section.format == LogLineFormat::None) section.format = stretch.format;
    if (stretch.rows.isEmpty()) return;
    closeStretch();
    numberRows(stretch.rows, 0, stretch.rows.size(), nextIndex_);
    namer_.take(std::move(stretch.notes));
    stretches_.push_back(stretch.rows);
    if (how_.rows) how_.rows(std::move(stretch.rows));
}

void ReportRows::closeStretch() {
    if (rows_.isEmpty()) return;
    namer_.take(std::move(notes_));
    notes_ = {};
    stretches_.push_back(rows_);
    if (how_.rows) how_.rows(std::move(rows_));
    rows_ = {};
}

bool ReportRows::reached(uint64_t done, uint64_t total) {
    if (how_.rows && done - handedAt_ >= want_) {
        closeStretch();
        handedAt_ = done;
        want_ = std::min(want_ * 2, std::max(how_.chunkBytes, want_));
    }
    if (how_.progress && total != 0 && (done - toldAt_) * kProgressSteps >= total) {
        how_.progress(done, total);
        toldAt_ = done;
    }
    return !(how_.cancelled != nullptr && how_.cancelled->load());
}

BugreportRead ReportRows::finish(ReportLayout::Kind kind, bool stopped) {
    closeStretch();
    namer_.nameRows(stretches_);
    BugreportRead read;
    read.outcome = BugreportRead::Outcome::Read;
    read.cancelled = stopped;
    read.namedLate = how_.rows && namer_.namesAny();
    qsizetype total = 0;
    for (const RowList& rows : stretches_) total += rows.size();
    if (!how_.rows) {
        read.rows.reserve(total);
        for (const RowList& rows : stretches_) read.rows.append(rows);
    }
    VF_LOG("bugreport sections:{}, rows:{}", scanner_.sections(), total);
    read.facts = scanner_.facts();
    layout_.kind = kind;
    read.facts.layout = std::move(layout_);
    return read;
}

}  // namespace vf
