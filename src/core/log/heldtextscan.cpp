#include "core/log/heldtextscan.h"

#include <algorithm>
#include <cstdint>

namespace vf {

namespace {
using Result = textmatch::Searcher::Result;
// How far past a row a search looks ahead: long enough that searches are
// few, short enough that the end of a pass's chunk costs little extra.
constexpr size_t kLookAhead = 64 * 1024;
}  // namespace

HeldTextScan::HeldTextScan(const textmatch::Searcher& held, bool wholeText)
    : held_(held), wholeText_(wholeText), dashMayHold_(held.scan("-") != Result::Absent) {}

bool HeldTextScan::mayHold(const Row& row) {
    if (row.hasSideRecord() || spanMayHold(row)) return true;
    if (const std::string_view app = row.listedApp(); !app.empty() && appMayHold(app)) return true;
    return row.tidIsDash() && dashMayHold_;
}

bool HeldTextScan::spanMayHold(const Row& row) {
    const std::string_view span = row.span();
    Region* region = wholeText_ ? regionOf(row, span) : nullptr;
    if (region == nullptr) return held_.scan(span) != Result::Absent;
    const char* begin = span.data();
    const char* end = begin + span.size();
    if (begin < region->from || end > region->to) {
        search(*region, begin, std::max(end, begin + std::min(kLookAhead, size_t(region->text.data() + region->text.size() - begin))));
    } else if (region->found != nullptr && region->found < begin) {
        // What was found lies before this row (in a row before, or across
        // a line end): look again from here.
        search(*region, begin, region->to);
    }
    if (region->found == nullptr || region->found >= end) return false;
    // A match running past the line's end leaves the line without one, and
    // ASCII up to it (it is the first thing found from the line's start).
    return region->nonAscii || region->found + held_.needle().size() <= end;
}

HeldTextScan::Region* HeldTextScan::regionOf(const Row& row, std::string_view span) {
    if (span.empty()) return nullptr;
    const char* begin = span.data();
    const char* end = begin + span.size();
    for (Region& region : regions_)
        if (!region.text.empty() && begin >= region.text.data() && end <= region.text.data() + region.text.size())
            return &region;
    const std::string_view text = adoptedText(row);
    if (text.empty()) return nullptr;
    Region& region = regions_[nextRegion_];
    nextRegion_ = (nextRegion_ + 1) % regions_.size();
    region = Region{text};
    return &region;
}

void HeldTextScan::search(Region& region, const char* from, const char* end) {
    bool nonAscii = false;
    const size_t found = held_.findOrNonAscii(std::string_view(from, size_t(end - from)), nonAscii);
    region.from = from;
    region.to = end;
    region.found = found == std::string_view::npos ? nullptr : from + found;
    region.nonAscii = nonAscii;
}

// Rows of a file share a few hundred names: each is scanned once.
bool HeldTextScan::appMayHold(std::string_view app) {
    const auto key = uint64_t(reinterpret_cast<uintptr_t>(app.data())) * 0x9E3779B97F4A7C15ull;
    AppAnswer& answer = apps_[size_t(key >> 58)];
    if (answer.name != app.data()) answer = {app.data(), held_.scan(app) != Result::Absent};
    return answer.mayHold;
}

}  // namespace vf
