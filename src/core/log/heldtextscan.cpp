#include "core/log/heldtextscan.h"

#include <algorithm>
#include <cstdint>

namespace vf {

namespace {
// How far past a row a search looks ahead: long enough that searches are
// few, short enough that the end of a pass's chunk costs little extra.
constexpr size_t kLookAhead = 64 * 1024;
}  // namespace

HeldTextSearch::HeldTextSearch(const HeldText& held) : patterns_(held.patterns) {
    for (const std::string& word : held.words) words_.push_back({textmatch::Searcher(word, true), true});
    for (const std::string& word : held.byteWords) words_.push_back({textmatch::Searcher(word, true), false});
}

// Each word is looked for only as far as a hit could still come first.
HeldTextSearch::Hit HeldTextSearch::find(std::string_view text) const {
    Hit first;
    for (const Word& word : words_) {
        const size_t size = word.searcher.needle().size();
        const std::string_view before =
            text.substr(0, first.at == std::string_view::npos ? text.size() : first.at + size);
        bool nonAscii = false;
        const size_t at = word.folded ? word.searcher.findOrNonAscii(before, nonAscii) : word.searcher.find(before);
        const size_t length = nonAscii ? 0 : size;
        if (at < first.at || (at == first.at && length < first.length)) first = {at, length};
    }
    for (const auto& pattern : patterns_)
        if (const size_t at = pattern->find(text); at <= first.at && at != std::string_view::npos) first = {at, 0};
    return first;
}

HeldTextScan::HeldTextScan(const HeldTextSearch& held, bool wholeText)
    : held_(held), wholeText_(wholeText), dashMayHold_(held.mayHold("-")) {}

bool HeldTextScan::mayHold(const Row& row) {
    if (row.hasSideRecord() || spanMayHold(row)) return true;
    if (const std::string_view app = row.listedApp(); !app.empty() && appMayHold(app)) return true;
    return row.tidIsDash() && dashMayHold_;
}

bool HeldTextScan::spanMayHold(const Row& row) {
    const std::string_view span = row.span();
    Region* region = wholeText_ ? regionOf(row, span) : nullptr;
    if (region == nullptr) return held_.mayHold(span);
    const char* begin = span.data();
    const char* end = begin + span.size();
    if (begin < region->from || end > region->to) {
        search(*region, begin, std::max(end, begin + std::min(kLookAhead, size_t(region->text.data() + region->text.size() - begin))));
    } else if (region->found != nullptr && region->found < begin) {
        // What was found lies before this row (in a row before, or across
        // a line end): look again from here.
        search(*region, begin, region->to);
    }
    // A word running past the line's end is not in it; another may be.
    while (region->found != nullptr && region->found < end && region->found + region->length > end)
        search(*region, region->found + 1, region->to);
    return region->found != nullptr && region->found < end;
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
    const HeldTextSearch::Hit hit = held_.find(std::string_view(from, size_t(end - from)));
    region.from = from;
    region.to = end;
    region.found = hit.at == std::string_view::npos ? nullptr : from + hit.at;
    region.length = hit.length;
}

// Rows of a file share a few hundred names: each is scanned once.
bool HeldTextScan::appMayHold(std::string_view app) {
    const auto key = uint64_t(reinterpret_cast<uintptr_t>(app.data())) * 0x9E3779B97F4A7C15ull;
    AppAnswer& answer = apps_[size_t(key >> 58)];
    if (answer.name != app.data()) answer = {app.data(), held_.mayHold(app)};
    return answer.mayHold;
}

}  // namespace vf
