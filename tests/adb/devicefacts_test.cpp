// Table tests of what the listing, FAIL replies, process tables, package
// listings and property texts of today's and older devices say.
#include <gtest/gtest.h>

#include "core/adb/devicelisting.h"
#include "core/adb/devicestate.h"
#include "core/adb/modelname.h"
#include "core/adb/packagelist.h"
#include "core/adb/processtable.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

// Every field of a listing line, short and long form: the serial doubles
// as the type, later "model:"/"product:" fields win, a leading tab leaves
// the id empty, and "no permissions" is one state of two words whose advice
// is not a field.
TEST(DeviceListing, LinesShortAndLongForm) {
    using S = std::optional<QString>;
    struct Case {
        QString line;
        QString id, type, state;
        S name, product, vendor, path, device, transport;
    };
    std::vector<Case> cases;
    for (const QString& word : {u"device"_s, u"unauthorized"_s, u"offline"_s, u"recovery"_s, u"sideload"_s,
                                u"bootloader"_s, u"host"_s, u"authorizing"_s})
        cases.push_back({u"0123\t"_s + word, u"0123"_s, u"0123"_s, word});
    cases.insert(cases.end(), {
        {u"emulator-5554\tdevice"_s, u"emulator-5554"_s, u"emulator-5554"_s, u"device"_s},
        {u"x model:a model:b product:c"_s, u"x"_s, u"x"_s, u"model:a"_s, u"b"_s, u"c"_s},
        {u"\tserial device model:m"_s, {}, u"serial"_s, u"serial"_s, u"m"_s},
        {u"0123\tno permissions (user in plugdev group; are your udev rules wrong?); see "
         "[http://developer.android.com/tools/device.html]"_s,
         u"0123"_s, u"0123"_s, u"no permissions"_s},
        {u"0123           device usb:1-1.4 product:sdk model:Pixel_3 device:blueline transport_id:2"_s,
         u"0123"_s, u"0123"_s, u"device"_s, u"Pixel_3"_s, u"sdk"_s, {}, u"1-1.4"_s, u"blueline"_s, u"2"_s},
        {u"????????????   no permissions (missing udev rules? user is in the plugdev group); see "
         "[http://developer.android.com/tools/device.html] usb:3-2 vendor:18D1 transport_id:1"_s,
         u"????????????"_s, u"????????????"_s, u"no permissions"_s, {}, {}, u"18d1"_s, u"3-2"_s, {}, u"1"_s},
        {u"0123 no permissions; see [x] usb:18d1:4ee7"_s, u"0123"_s, u"0123"_s, u"no permissions"_s, {}, {},
         u"18d1"_s},
    });
    for (const Case& c : cases) {
        const DeviceRecord r = parseDeviceLine(c.line);
        EXPECT_EQ(std::tie(r.id, r.type, r.state, r.name, r.product, r.usbVendorId, r.usbPath, r.device, r.transportId),
                  std::tie(c.id, c.type, c.state, c.name, c.product, c.vendor, c.path, c.device, c.transport))
            << c.line.toStdString();
    }
    // Banners and errors are not devices; every newline ends a line.
    const DeviceList listing = parseDeviceListing(
        u"* daemon started\r\n- x\nerror: no\r\nA\tdevice\u2028B device model:Bee\rA\toffline\n"_s.toUtf8());
    ASSERT_EQ(listing.size(), 3);
    EXPECT_EQ(std::tie(listing[0].id, listing[1].id, listing[1].name, listing[2].id, listing[2].state),
              std::make_tuple(u"A"_s, u"B"_s, std::optional(u"Bee"_s), u"A"_s, u"offline"_s));
}

TEST(DeviceState, AdviceAndTitles) {
    const auto advice = [](const QString& line) { return deviceStateAdvice(u"S1"_s, parseDeviceLine(line)); };
    EXPECT_TRUE(advice(u"S1\tdevice"_s).isEmpty());
    EXPECT_TRUE(advice(u"S1\tunauthorized"_s).isEmpty());
    EXPECT_TRUE(advice(u"S1\toffline"_s).contains(u"offline"_s));
    const QString udev = advice(u"S1\tno permissions; see [x] usb:1-2 vendor:04e8"_s);
    EXPECT_TRUE(udev.contains(u"plugdev"_s) && udev.contains(u"ATTR{idVendor}==\"04e8\""_s)) << udev.toStdString();
    EXPECT_TRUE(advice(u"S1\tno permissions"_s).contains(u"lsusb"_s));
    EXPECT_TRUE(advice(u"S1\tsideload"_s).startsWith(u"Device S1 is in sideload mode"_s));
    EXPECT_TRUE(deviceStateAdvice(u"S1"_s, std::nullopt).contains(u"offline"_s));  // no listing

    EXPECT_EQ(deviceTitleWithState(u"S1"_s, u"Pixel"_s, u"p"_s, u"device"_s), u"S1 - Pixel"_s);
    EXPECT_EQ(deviceTitleWithState(u"S1"_s, {}, u"p"_s, u"recovery"_s), u"S1 - p [recovery]"_s);
    EXPECT_EQ(deviceTitleWithState(u"S1"_s, {}, {}, u"no permissions"_s), u"S1 [no permissions]"_s);
}

TEST(AdbFailureKind, CurrentAndOlderServerTexts) {
    const std::pair<QString, AdbFailureKind> cases[] = {
        {u"device not found"_s, AdbFailureKind::DeviceNotFound},
        {u"error: device not found"_s, AdbFailureKind::DeviceNotFound},
        {u"device 'emulator-5556' not found"_s, AdbFailureKind::DeviceNotFound},
        {u"no devices/emulators found"_s, AdbFailureKind::DeviceNotFound},
        {u"no devices found"_s, AdbFailureKind::DeviceNotFound},
        {u"device unauthorized.\nThis adb server's $ADB_VENDOR_KEYS is not set\nTry 'adb kill-server' if that "
         "seems wrong.\nOtherwise check for a confirmation dialog on your device."_s,
         AdbFailureKind::Unauthorized},
        {u"device still authorizing"_s, AdbFailureKind::Unauthorized},
        {u"device offline"_s, AdbFailureKind::Offline},
        {u"device offline (no transport)"_s, AdbFailureKind::Offline},
        {u"more than one device/emulator"_s, AdbFailureKind::MoreThanOneDevice},
        {u"error: more than one device and emulator"_s, AdbFailureKind::MoreThanOneDevice},
        {u"closed"_s, AdbFailureKind::Other},
        {u"unknown host service"_s, AdbFailureKind::Other},
        // Advice lines never decide.
        {u"closed\ndevice not found"_s, AdbFailureKind::Other},
    };
    for (const auto& [text, kind] : cases) EXPECT_EQ(adbFailureKind(text), kind) << text.toStdString();
}

const QByteArray kToybox =
    "USER           PID  PPID     VSZ    RSS WCHAN            ADDR S NAME\n"
                        "root             1     0   10632   2124 SyS_epoll_wait      0 S init\n"
                        "u0_a12        2001   612 1434564 102112 SyS_epoll_wait      0 S com.example.app\n";
const QByteArray kToyboxShellOnly = "USER           PID  PPID     VSZ    RSS WCHAN            ADDR S NAME\n"
                                 "shell        9001  8000   10712   2640 sigsuspend          0 S sh\n"
                                 "shell        9002  9001   10988   2900 0                   0 R ps\n";
const QByteArray kToolbox = "USER     PID   PPID  VSIZE  RSS     WCHAN    PC        NAME\r\n"
                         "root      1     0     8904   708   ffffffff 00000000 S /init\r\n"
                         "u0_a12    2001  612   1534564 52112 ffffffff 00000000 S com.example.app\r\n";
const QByteArray kToolboxNothing = "USER     PID   PPID  VSIZE  RSS     WCHAN    PC        NAME\r\n";

// The pid is the first piece that reads as an integer, the name the last;
// the first surviving line is the header (its columns tell the flavor),
// whatever it holds; two "error:" lines end the reading.
TEST(ProcessTable, ReadsPidsNamesTheFlavorAndTheAbortingErrors) {
    using Entries = std::vector<std::pair<std::string, std::string>>;
    const struct {
        QByteArray text;
        Entries entries;
        PsAbort abort;
        PsFlavor flavor;
    } cases[] = {
        {kToybox, {{"1", "init"}, {"2001", "com.example.app"}}, PsAbort::None, PsFlavor::Toybox},
        {kToolbox, {{"1", "/init"}, {"2001", "com.example.app"}}, PsAbort::None, PsFlavor::Toolbox},
        {kToolboxNothing, {}, PsAbort::None, PsFlavor::Toolbox},
        {"u0_a1 1 2 header-even-with-four-fields\r\n\r\n---- a separator\nerror: something else\n"
         "u0_a1 77 1 <pre-initialized>\nu0_a1 88 1\nu0_a1 x 123abc 0 named.by.letters\nu0_a1 00 ab cd no.integer\n",
         {{"123abc", "named.by.letters"}}, PsAbort::None, PsFlavor::Unknown},
        {"", {}, PsAbort::None, PsFlavor::Unknown},
        {"USER PID\nu 1 2 3 x\nerror: device not found\nu 4 5 6 y\n", {{"1", "x"}}, PsAbort::DeviceNotFound,
         PsFlavor::Unknown},
        {"error: more than one device and emulator\n", {}, PsAbort::MultipleDevices, PsFlavor::Unknown},
        {"H\nu 0 0 0 zero\n", {{"0", "zero"}}, PsAbort::None, PsFlavor::Unknown},
        {"H\nu 7 0 caf\xe9\n", {{"7", "caf\xEF\xBF\xBD"}}, PsAbort::None, PsFlavor::Unknown},  // a stray byte
    };
    for (const auto& c : cases) {
        const ProcessTable table = parseProcessTable(c.text);
        EXPECT_EQ(std::tie(table.entries, table.abort, table.flavor), std::tie(c.entries, c.abort, c.flavor))
            << c.text.constData();
    }
}

TEST(PackageList, SharedUidsUsersAndOddLines) {
    using Names = std::vector<std::string>;
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

// One request in flight, from a bucket of three that refills one per 2 s;
// a reply of the wrong shape is followed at once by the other request, once
// per lookup; the form is learned per device and kept across runs; a pid
// that two lookups did not list rests for 30 s.
TEST(ProcessLookup, OneInFlightOnePerTwoSecondsAndMissedPidsRest) {
    int64_t now = 0;
    ProcessLookup lookup([&now] { return now; });
    const LookupRequest psA{LookupRequest::Kind::ProcessTable, u"shell:ps -A"_s};
    const LookupRequest ps{LookupRequest::Kind::ProcessTable, u"shell:ps"_s};
    using R = std::optional<LookupRequest>;

    lookup.beginRun(u"old"_s);
    EXPECT_EQ(lookup.want(), psA);
    EXPECT_EQ(lookup.finished(parseProcessTable(kToolboxNothing)), ps);  // toolbox took -A as a name
    EXPECT_EQ(lookup.want(7), R());                                      // in flight: remembered
    EXPECT_EQ(lookup.dueInMs(), std::nullopt);
    EXPECT_EQ(lookup.finished(parseProcessTable(kToolbox)), ps);  // the third of the bucket
    EXPECT_EQ(lookup.finished(parseProcessTable(kToolbox)), R());  // 7 missed once
    EXPECT_EQ(lookup.want(7), R());
    EXPECT_EQ(lookup.dueInMs(), 2000);
    now = 1999;
    EXPECT_EQ(lookup.poll(), R());
    now = 2000;
    EXPECT_EQ(lookup.poll(), ps);
    EXPECT_EQ(lookup.finished(parseProcessTable(kToolbox)), R());  // missed twice: it rests
    EXPECT_TRUE(lookup.rests(7));
    now = 20'000;
    EXPECT_EQ(lookup.want(7), R());
    EXPECT_EQ(lookup.dueInMs(), std::nullopt);
    EXPECT_EQ(lookup.want(2001), ps);  // another pid asks
    EXPECT_EQ(lookup.finished(std::nullopt), R());  // an end without output frees it too
    now = 32'001;
    EXPECT_EQ(lookup.want(7), ps);  // rested: two lookups again
    EXPECT_EQ(lookup.flavor(), PsFlavor::Toolbox);

    lookup.beginRun(u"new"_s);
    EXPECT_EQ(lookup.want(), psA);
    EXPECT_EQ(lookup.finished(parseProcessTable(kToybox)), R());
    now = 40'000;
    EXPECT_EQ(lookup.want(), psA);
    EXPECT_EQ(lookup.finished(parseProcessTable(kToolboxNothing)), ps);
    EXPECT_EQ(lookup.finished(parseProcessTable(kToyboxShellOnly)), R());  // contradicting: not a third time
    EXPECT_EQ(lookup.flavor(), PsFlavor::Toybox);
    lookup.beginRun(u"old"_s);
    now = 50'000;
    EXPECT_EQ(lookup.want(), ps);
}

// The package listing: at the start of a run, "cmd" first and "pm" at once
// when that lists no uids, never again on a device where neither does;
// asked again for an unknown uid, but at most every 30 s; the table waits
// while a listing is in flight.
TEST(ProcessLookup, PackagesAtTheStartThenAtMostEveryThirtySeconds) {
    int64_t now = 0;
    ProcessLookup lookup([&now] { return now; });
    const LookupRequest cmd{LookupRequest::Kind::Packages, u"shell:cmd package list packages -U --user all"_s};
    const LookupRequest pm{LookupRequest::Kind::Packages, u"shell:pm list packages -U"_s};
    const PackageListing unlisted;
    PackageListing listed;
    listed.listed = true;
    using R = std::optional<LookupRequest>;

    lookup.beginRun(u"legacy"_s);
    EXPECT_EQ(lookup.wantPackages(), cmd);
    EXPECT_EQ(lookup.packagesFinished(unlisted), pm);
    EXPECT_EQ(lookup.packagesFinished(unlisted), R());
    now = 60'000;
    EXPECT_EQ(lookup.wantPackages(), R());
    EXPECT_EQ(lookup.dueInMs(), std::nullopt);

    lookup.beginRun(u"modern"_s);
    EXPECT_EQ(lookup.wantPackages(), cmd);
    EXPECT_EQ(lookup.want(), R());  // one in flight
    EXPECT_EQ(lookup.packagesFinished(listed), LookupRequest({LookupRequest::Kind::ProcessTable, u"shell:ps -A"_s}));
    EXPECT_EQ(lookup.finished(parseProcessTable(kToybox)), R());
    now = 70'000;
    EXPECT_EQ(lookup.wantPackages(), R());
    EXPECT_EQ(lookup.dueInMs(), 20'000);
    now = 90'000;
    EXPECT_EQ(lookup.poll(), cmd);
}

TEST(ModelName, BuildPropThenGetprop) {
    EXPECT_EQ(modelNameFromBuildProp("ro.product.name=foo\nro.product.model=Bar\nro.product.name=baz\n"),
              u"Bar"_s);
    EXPECT_EQ(modelNameFromBuildProp("ro.product.name=foo\r\nro.build.id=x\r\n"), u"foo"_s);
    EXPECT_EQ(modelNameFromBuildProp("# no product keys\nro.build.id=x\n"), std::nullopt);
    EXPECT_EQ(modelNameFromBuildProp("ro.product.model= Pixel 3 \n"), u" Pixel 3 "_s);  // nothing trimmed
    EXPECT_EQ(modelNameFromBuildProp(" ro.product.model=X\n"), std::nullopt);
    EXPECT_EQ(modelNameFromBuildProp("ro.product.name=foo\nro.product.name=baz\n"), u"baz"_s);  // the last name

    const QByteArray getprop = "[ro.build.id]: [QP1A]\n[ro.product.model]: []\n[ro.product.vendor.model]: "
                            "[Pixel 4]\n[ro.product.name]: [flame]\n";
    EXPECT_EQ(modelNameFromGetprop(getprop), u"Pixel 4"_s);
    EXPECT_EQ(modelNameFromGetprop("[ro.product.system.name]: [sys]\r\n"), u"sys"_s);
    EXPECT_EQ(modelNameFromGetprop("[ro.product.model]: [Pixel 7]\n[ro.product.vendor.model]: [x]\n"),
              u"Pixel 7"_s);
    EXPECT_EQ(modelNameFromGetprop("garbage\n"), std::nullopt);

    const QByteArray buildPropWithout = "\n# begin build properties\nro.build.id=x\n";
    EXPECT_EQ(modelNameFromLookupOutput(QByteArray(buildPropWithout + getprop)), u"Pixel 4"_s);
    EXPECT_EQ(modelNameFromLookupOutput(QByteArray("ro.product.model=A\n" + getprop)), u"A"_s);
    EXPECT_EQ(modelNameFromLookupOutput(QByteArray("cat: /system/build.prop: No such file or directory\n" + getprop)),
              u"Pixel 4"_s);
    EXPECT_EQ(modelNameFromLookupOutput(buildPropWithout), std::nullopt);
    // A stray byte costs its character, not the name.
    EXPECT_EQ(modelNameFromLookupOutput("ro.product.model=Caf\xe9\n"), u"Caf\uFFFD"_s);
}

}  // namespace
}  // namespace vf
