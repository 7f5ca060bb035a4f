#pragma once
// The package manager's listing of packages with their uids
// ("cmd package list packages -U --user all", or "pm list packages -U"):
// one "package:NAME uid:N" line per package; a package installed for
// several users may list several uids ("uid:10187,1010187"), and packages
// that share a uid each have their line.
//
// Pure values and functions; any thread. A PackageMap is a plain value.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vf {

// Packages by app id (a uid without its user: apps keep their app id in
// every user), in listing order.
class PackageMap final {
public:
    // The packages of `uid`'s app id; empty when none is known.
    const std::vector<std::string>& packagesOf(uint32_t uid) const;
    void add(uint32_t uid, std::string_view package);

    bool empty() const { return packages_.empty(); }
    size_t appIds() const { return packages_.size(); }

    friend bool operator==(const PackageMap&, const PackageMap&) = default;

private:
    std::map<uint32_t, std::vector<std::string>> packages_;
};

struct PackageListing {
    PackageMap packages;
    // At least one line was a package with its uid: the command understood
    // "-U" (an old "pm" answers "Error: Unknown option: -U", a device
    // without "cmd" says "cmd: not found").
    bool listed = false;
};

// Reads the listing (decoded and split into lines by the device-output rule
// of core/support/text.h); lines of any other shape are skipped.
PackageListing parsePackageList(std::string_view output);

// The requests, newest first: the package service directly, and the older
// "pm" wrapper for devices without "cmd".
inline constexpr std::string_view kPackageListRequest = "shell:cmd package list packages -U --user all";
inline constexpr std::string_view kPackageListFallbackRequest = "shell:pm list packages -U";

}  // namespace vf
