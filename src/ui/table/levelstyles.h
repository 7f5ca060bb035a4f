#pragma once
// Per-level text styles of the log table: one colour and one font per level
// letter (V, D, I, W, E, F), all fonts at one point size. Built from the
// preferences by the controller's readSettings and shared with the table
// model and its item delegate.

#include <QColor>
#include <QFont>
#include <QString>
#include <array>
#include <optional>
#include <string_view>

namespace vf::ui {

inline constexpr int kLevelCount = 6;
inline constexpr std::array<char, kLevelCount> kLevelLetters{'V', 'D', 'I', 'W', 'E', 'F'};
// Preference key stems, in the order of kLevelLetters: "log<Stem>Color", "log<Stem>Bold".
inline constexpr std::array<const char*, kLevelCount> kLevelStems{"Verbose", "Debug",  "Info",
                                                                  "Warning", "Error", "Fatal"};
inline constexpr double kDefaultFontSize = 11.0;

// The level a row's type letter names, as the user reads it: "Verbose",
// "Debug", "Info", "Warn", "Error", "Fatal", "Assert"; the letter itself
// for any other type.
QString levelName(std::string_view type);

QString colorKey(int level);
QString boldKey(int level);

// Index into kLevelLetters of a row's type, or -1 when it is none of them.
int levelIndex(std::string_view type);

struct LevelStyles {
    double pointSize = kDefaultFontSize;
    std::array<QFont, kLevelCount> fonts;
    std::array<QColor, kLevelCount> colors;
    QFont plain;  // types that are no level letter
    int rowHeight = 0;

    // Empty type -> the Debug font; unknown letters -> the plain font.
    const QFont& fontFor(std::string_view type) const;
    // No colour for an unknown or empty type: the view's default is used.
    std::optional<QColor> colorFor(std::string_view type) const;
};

// Registers the colour and bold defaults (registration domain) and writes
// "adbServer"/"adbPort" when missing or empty. Main thread.
void registerDefaults();

// "defaultFontSize", with 0 read as 11 (and logged).
double readFontSize();

// Size after one step bigger/smaller: outside 1...30 it goes back to 11.
double steppedFontSize(double size, bool bigger);
// Stores the stepped size as "defaultFontSize"; the styles are read again
// by whoever shows them.
void stepFontSize(bool bigger);

// The text colour of `level` from its stored colour name. On a dark base
// (`darkBase`) a level still at its default colour gets a lighter shade of
// it; a colour the user chose is kept as it is.
QColor levelColor(int level, const QString& stored, bool darkBase);

// Builds the styles from the preferences on `base` (the application font),
// with levelColor's colours.
LevelStyles readLevelStyles(const QFont& base, bool darkBase);

}  // namespace vf::ui
