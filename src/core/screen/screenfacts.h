#pragma once
// What a device says about its screens, read from its shell commands: the
// displays SurfaceFlinger lists ("dumpsys SurfaceFlinger --display-id", the
// ids "screencap -d" takes) and whether the device is awake ("dumpsys
// power").
//
// Pure functions of their text; any thread.

#include <QByteArrayView>
#include <QList>
#include <QString>
#include <optional>

namespace vf {

// One physical display, from a line like
//   Display 4619827259835644672 (HWC display 0): port=0 pnpId=GGL displayName="EMU_display_0"
struct DisplayInfo {
    QString id;        // the decimal id, kept as text: it does not fit a signed 64-bit integer
    int hwcIndex = 0;  // the composer's display number, 0 for the built-in screen
    QString name;      // displayName; empty when the line has none (or it is "")

    bool operator==(const DisplayInfo&) const = default;
};

// The request that lists the displays.
inline constexpr char kDisplayListingRequest[] = "shell:dumpsys SurfaceFlinger --display-id";

// The displays of the listing, in the order printed. Lines of any other
// shape (a device that does not know --display-id answers with a usage text
// or the whole dump, CR LF through a terminal) are skipped.
QList<DisplayInfo> parseDisplayListing(QByteArrayView text);

// What a chooser shows: the name, else "Display N" after the composer's
// number.
QString displayLabel(const DisplayInfo& display);

// The request that lists the displays as input knows them.
inline constexpr char kInputDisplayRequest[] = "shell:dumpsys display";

// The display id that "input -d" takes for the display `displayId` of the
// listing above: input counts displays its own way (0 for the built-in
// screen, then as displays were added), while screencap takes the physical
// id. Read from the display service's dump, whose DisplayInfo lines name
// both ("displayId 2" ... "uniqueId \"local:4619827259835644673\"");
// empty when none names it.
QString inputDisplayFor(QByteArrayView displayDump, const QString& displayId);
// The start of every input command: "shell:input -d N " for an input
// display (Android 10 and later), else "shell:input " (the default display).
QString inputCommandPrefix(const QString& inputDisplay);

// The request that tells whether the device is awake.
inline constexpr char kWakefulnessRequest[] = "shell:dumpsys power";

// True when the device is awake (the screen is on and not dreaming):
// "mWakefulness=Awake" (Android 4.2 and later), else "mScreenOn=true" of
// older power services; nullopt when the text says neither.
std::optional<bool> parseWakefulness(QByteArrayView text);

}  // namespace vf
