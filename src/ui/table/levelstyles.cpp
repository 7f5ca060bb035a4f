#include "ui/table/levelstyles.h"

#include <QFontInfo>
#include <QVariantMap>
#include <cmath>

#include "core/support/logger.h"
#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

QString levelName(std::string_view type) {
    static constexpr std::array<std::pair<char, const char*>, 7> kNames{
        {{'V', "Verbose"}, {'D', "Debug"}, {'I', "Info"}, {'W', "Warn"}, {'E', "Error"}, {'F', "Fatal"}, {'A', "Assert"}}};
    if (type.size() == 1)
        for (const auto& [letter, name] : kNames)
            if (letter == type[0]) return QLatin1String(name);
    return QString::fromUtf8(type.data(), qsizetype(type.size()));
}

QString colorKey(int level) { return u"log"_s + QLatin1String(kLevelStems[size_t(level)]) + u"Color"_s; }
QString boldKey(int level) { return u"log"_s + QLatin1String(kLevelStems[size_t(level)]) + u"Bold"_s; }

int levelIndex(std::string_view type) {
    if (type.size() != 1) return -1;
    for (int i = 0; i < kLevelCount; ++i)
        if (kLevelLetters[size_t(i)] == type[0]) return i;
    return -1;
}

const QFont& LevelStyles::fontFor(std::string_view type) const {
    if (type.empty()) return fonts[1];
    const int level = levelIndex(type);
    return level < 0 ? plain : fonts[size_t(level)];
}

std::optional<QColor> LevelStyles::colorFor(std::string_view type) const {
    const int level = levelIndex(type);
    if (level < 0) return std::nullopt;
    return colors[size_t(level)];
}

namespace {

// The registered colours, and what stands in for each on a dark base: the
// same hue, light enough to read on a dark background.
constexpr std::array<const char*, kLevelCount> kColors{"#0000ff", "#000000", "#008000",
                                                       "#ff8000", "#ff0000", "#ff0000"};
constexpr std::array<const char*, kLevelCount> kDarkColors{"#7aa7ff", "#d8d8d8", "#5fd35f",
                                                           "#ffa040", "#ff6b6b", "#ff6b6b"};

}  // namespace

QColor levelColor(int level, const QString& stored, bool darkBase) {
    QColor color(stored);
    if (!color.isValid()) color = QColor(QLatin1String(kColors[size_t(level)]));
    // Only the defaults change with the theme: a colour the user chose is kept.
    if (darkBase && color == QColor(QLatin1String(kColors[size_t(level)])))
        return QColor(QLatin1String(kDarkColors[size_t(level)]));
    return color;
}

void registerDefaults() {
    QVariantMap defaults;
    for (int i = 0; i < kLevelCount; ++i) {
        defaults.insert(colorKey(i), QString::fromLatin1(kColors[size_t(i)]));
        defaults.insert(boldKey(i), i == kLevelCount - 1 ? 1 : 0);
    }
    Preferences::registerDefaults(defaults);
    if (Preferences::string(QLatin1String(prefs::kAdbServer)).isEmpty())
        Preferences::setValue(QLatin1String(prefs::kAdbServer), u"127.0.0.1"_s);
    if (Preferences::string(QLatin1String(prefs::kAdbPort)).isEmpty())
        Preferences::setValue(QLatin1String(prefs::kAdbPort), u"5037"_s);
}

double readFontSize() {
    const double size = Preferences::number(QLatin1String(prefs::kDefaultFontSize));
    if (size == 0) {
        VF_LOG("Will use font size 11 as default");
        return kDefaultFontSize;
    }
    return size;
}

double steppedFontSize(double size, bool bigger) {
    const double next = size + (bigger ? 1.0 : -1.0);
    return (next > 30.0 || next < 1.0) ? kDefaultFontSize : next;
}

void stepFontSize(bool bigger) {
    VF_LOG("makeBigger:{}", int(bigger));
    Preferences::setValue(QLatin1String(prefs::kDefaultFontSize), steppedFontSize(readFontSize(), bigger));
}

LevelStyles readLevelStyles(const QFont& base, bool darkBase) {
    LevelStyles styles;
    styles.pointSize = readFontSize();
    styles.plain = base;
    styles.plain.setPointSizeF(styles.pointSize);
    styles.plain.setBold(false);
    for (int i = 0; i < kLevelCount; ++i) {
        styles.colors[size_t(i)] = levelColor(i, Preferences::string(colorKey(i)), darkBase);
        QFont font = styles.plain;
        font.setBold(Preferences::boolean(boldKey(i)));
        styles.fonts[size_t(i)] = font;
    }
    // One height for every row: half as much again as the Verbose font.
    styles.rowHeight = int(std::ceil(QFontInfo(styles.fonts[0]).pixelSize() * 1.5));
    return styles;
}

}  // namespace vf::ui
