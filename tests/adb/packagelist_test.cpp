#include <gtest/gtest.h>

#include "core/adb/packagelist.h"

namespace vf {
namespace {

using Names = std::vector<std::string>;

TEST(PackageList, SharedUidsUsersAndOddLines) {
    const PackageListing listing = parsePackageList(
        "package:com.android.settings uid:1000\n"
        "package:android uid:1000\r\n"
        "package:com.example uid:10187,1010187\n"       // installed for two users
        "package:com.example.work uid:1010150\n"        // only in user 10
        "package:/data/app/base.apk=com.example.f uid:10190\n"
        "package:com.example.old\n"                     // no uid: skipped
        "package:com.example.bad uid:x\n"
        "WARNING: linker: something\n");
    ASSERT_TRUE(listing.listed);
    EXPECT_EQ(listing.packages.packagesOf(1000), (Names{"com.android.settings", "android"}));
    EXPECT_EQ(listing.packages.packagesOf(10187), (Names{"com.example"}));
    EXPECT_EQ(listing.packages.packagesOf(1010187), (Names{"com.example"})) << "the app id, in any user";
    EXPECT_EQ(listing.packages.packagesOf(10150), (Names{"com.example.work"}));
    EXPECT_EQ(listing.packages.packagesOf(10190), (Names{"com.example.f"}));
    EXPECT_TRUE(listing.packages.packagesOf(10999).empty());
    EXPECT_EQ(listing.packages.appIds(), 4u);

    // What devices that do not understand the request answer.
    for (const char* refusal : {"/system/bin/sh: cmd: not found\n", "Error: Unknown option: -U\nusage: pm ...\n",
                                "package:com.example\npackage:android\n", ""}) {
        EXPECT_FALSE(parsePackageList(refusal).listed) << refusal;
    }
}

}  // namespace
}  // namespace vf
