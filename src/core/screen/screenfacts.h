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

// The request that tells whether the device is awake.
inline constexpr char kWakefulnessRequest[] = "shell:dumpsys power";

// True when the device is awake (the screen is on and not dreaming):
// "mWakefulness=Awake" (Android 4.2 and later), else "mScreenOn=true" of
// older power services; nullopt when the text says neither.
std::optional<bool> parseWakefulness(QByteArrayView text);

}  // namespace vf
