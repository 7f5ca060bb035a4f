#include "core/adb/packagelist.h"

#include <algorithm>
#include <charconv>

#include "core/support/text.h"

using namespace std::string_view_literals;

namespace vf {

namespace {

constexpr uint32_t kUidsPerUser = 100000;

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

bool parseUid(std::string_view text, uint32_t& uid) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), uid);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

}  // namespace

const std::vector<std::string>& PackageMap::packagesOf(uint32_t uid) const {
    static const std::vector<std::string> kNone;
    const auto it = packages_.find(uid % kUidsPerUser);
    return it == packages_.end() ? kNone : it->second;
}

void PackageMap::add(uint32_t uid, std::string_view package) {
    std::vector<std::string>& list = packages_[uid % kUidsPerUser];
    if (std::find(list.begin(), list.end(), package) == list.end()) list.emplace_back(package);
}

PackageListing parsePackageList(std::string_view output) {
    PackageListing listing;
    const std::string text = validUtf8(output);
    LineSplitter lines(text, LineBreaks::AnyNewline);
    std::string_view line;
    while (lines.next(line)) {
        line = trimmed(line);
        if (!line.starts_with("package:"sv)) continue;
        line.remove_prefix(8);
        const size_t uidAt = line.rfind(" uid:"sv);
        if (uidAt == std::string_view::npos) continue;
        // "-f" would put "PATH=" before the name; the name is what follows the last '='.
        std::string_view name = trimmed(line.substr(0, uidAt));
        if (const size_t path = name.rfind('='); path != std::string_view::npos) name.remove_prefix(path + 1);
        std::string_view uids = line.substr(uidAt + 5);
        if (name.empty() || name.find(' ') != std::string_view::npos) continue;
        while (!uids.empty()) {
            const size_t comma = std::min(uids.find(','), uids.size());
            uint32_t uid = 0;
            if (parseUid(trimmed(uids.substr(0, comma)), uid)) {
                listing.packages.add(uid, name);
                listing.listed = true;
            }
            uids.remove_prefix(std::min(comma + 1, uids.size()));
        }
    }
    return listing;
}

}  // namespace vf
