#include "ui/preferences/preferencepanes.h"

#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPalette>
#include <QPushButton>

#include "core/adb/logbuffer.h"
#include "core/support/preferences.h"
#include "ui/table/levelstyles.h"
#include "ui/window/theme.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

constexpr char kLogTagHelp[] =
    "<a href=\"https://developer.android.com/studio/command-line/logcat#filteringOutput\">"
    "How to write a log tag expression</a>";

QLineEdit* boundLineEdit(QWidget* parent, const QString& key, const QString& placeholder) {
    auto* edit = new QLineEdit(Preferences::string(key), parent);
    edit->setPlaceholderText(placeholder);
    QObject::connect(edit, &QLineEdit::textEdited, edit, [key](const QString& text) { Preferences::setValue(key, text); });
    return edit;
}

QIcon swatch(const QColor& color) {
    QPixmap pixmap(28, 14);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setPen(QColor(0x80, 0x80, 0x80));
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(0.5, 0.5, 27, 13), 3, 3);
    return QIcon(pixmap);
}

// The colour the log shows for `level` now (on a dark theme a default colour
// is shown lighter).
QColor shownColor(int level) {
    return levelColor(level, Preferences::string(colorKey(level)), isDarkPalette());
}

QPushButton* colorButton(QWidget* parent, int level, const std::function<void()>& changed) {
    auto* button = new QPushButton(parent);
    button->setObjectName(colorKey(level));
    button->setIconSize(QSize(28, 14));
    button->setIcon(swatch(shownColor(level)));
    QObject::connect(button, &QPushButton::clicked, button, [button, level, changed] {
        auto* dialog = new QColorDialog(shownColor(level), button->window());
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(dialog, &QColorDialog::currentColorChanged, button, [button, level, changed](const QColor& c) {
            if (!c.isValid()) return;
            Preferences::setValue(colorKey(level), c.name());
            button->setIcon(swatch(c));
            changed();
        });
        dialog->open();
    });
    return button;
}

// main, system and crash always; events, radio and kernel when ticked.
QWidget* logBufferChoice(QWidget* pane) {
    auto* box = new QWidget(pane);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(new QLabel(u"main, system, crash"_s, box));
    QStringList chosen = Preferences::string(QLatin1String(prefs::kLogBuffers)).split(u',', Qt::SkipEmptyParts);
    if (chosen.isEmpty()) chosen = defaultLogBuffers();
    for (const QString& name : {u"events"_s, u"radio"_s, u"kernel"_s}) {
        auto* check = new QCheckBox(name, box);
        check->setChecked(chosen.contains(name));
        row->addWidget(check);
        QObject::connect(check, &QCheckBox::toggled, box, [name](bool on) {
            QStringList buffers =
                Preferences::string(QLatin1String(prefs::kLogBuffers)).split(u',', Qt::SkipEmptyParts);
            if (buffers.isEmpty()) buffers = defaultLogBuffers();
            buffers.removeAll(name);
            if (on) buffers.append(name);
            Preferences::setValue(QLatin1String(prefs::kLogBuffers), buffers.join(u','));
        });
    }
    row->addStretch(1);
    return box;
}

}  // namespace

QWidget* makeGeneralPane(QWidget* parent) {
    auto* pane = new QWidget(parent);
    auto* form = new QFormLayout(pane);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(u"ADB server:"_s, boundLineEdit(pane, QLatin1String(prefs::kAdbServer), u"127.0.0.1"_s));
    form->addRow(u"ADB port:"_s, boundLineEdit(pane, QLatin1String(prefs::kAdbPort), u"5037"_s));
    form->addRow(u"Log tags:"_s, boundLineEdit(pane, QLatin1String(prefs::kAdbLogTags), u"*:V"_s));
    auto* help = new QLabel(QString::fromLatin1(kLogTagHelp), pane);
    help->setOpenExternalLinks(true);
    form->addRow(QString(), help);

    auto* clearOnStart = new QCheckBox(u"Clear the device log when logging starts"_s, pane);
    clearOnStart->setChecked(Preferences::boolean(QLatin1String(prefs::kClearLogOnStart)));
    QObject::connect(clearOnStart, &QCheckBox::toggled, pane,
                     [](bool on) { Preferences::setValue(QLatin1String(prefs::kClearLogOnStart), on); });
    form->addRow(QString(), clearOnStart);
    form->addRow(u"Log buffers:"_s, logBufferChoice(pane));

    auto* adbRow = new QHBoxLayout;
    auto* adbPath = boundLineEdit(pane, QLatin1String(prefs::kAdbPath), u"found automatically"_s);
    auto* browse = new QPushButton(u"Browse…"_s, pane);
    adbRow->addWidget(adbPath, 1);
    adbRow->addWidget(browse);
    form->addRow(u"adb program:"_s, adbRow);
    QObject::connect(browse, &QPushButton::clicked, pane, [pane, adbPath] {
        auto* dialog = new QFileDialog(pane->window(), u"Choose adb"_s, QDir::homePath());
        dialog->setFileMode(QFileDialog::ExistingFile);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setWindowModality(Qt::WindowModal);
        QObject::connect(dialog, &QFileDialog::fileSelected, adbPath, [adbPath](const QString& path) {
            adbPath->setText(path);
            Preferences::setValue(QLatin1String(prefs::kAdbPath), path);
        });
        dialog->open();
    });
    pane->setMinimumWidth(460);
    return pane;
}

QWidget* makeAppearancePane(QWidget* parent, std::function<void()> changed) {
    auto* pane = new QWidget(parent);
    auto* grid = new QGridLayout(pane);
    auto* size = new QDoubleSpinBox(pane);
    size->setObjectName(QLatin1String(prefs::kDefaultFontSize));
    size->setRange(1, 30);
    size->setDecimals(0);
    size->setSuffix(u" pt"_s);
    size->setValue(readFontSize());
    QObject::connect(size, &QDoubleSpinBox::valueChanged, pane, [changed](double value) {
        Preferences::setValue(QLatin1String(prefs::kDefaultFontSize), value);
        changed();
    });
    auto* theme = new QComboBox(pane);
    theme->setObjectName(QLatin1String(kThemeKey));
    theme->addItem(u"System"_s, u"system"_s);
    theme->addItem(u"Light"_s, u"light"_s);
    theme->addItem(u"Dark"_s, u"dark"_s);
    theme->setCurrentIndex(qMax(0, theme->findData(Preferences::string(QLatin1String(kThemeKey)))));
    QObject::connect(theme, &QComboBox::currentIndexChanged, pane, [theme, changed] {
        Preferences::setValue(QLatin1String(kThemeKey), theme->currentData().toString());
        changed();
    });
    grid->addWidget(new QLabel(u"Theme:"_s, pane), 0, 0);
    grid->addWidget(theme, 0, 1, 1, 2);
    grid->addWidget(new QLabel(u"Font size:"_s, pane), 1, 0);
    grid->addWidget(size, 1, 1, 1, 2);
    grid->addWidget(new QLabel(u"<b>Level</b>"_s, pane), 2, 0);
    grid->addWidget(new QLabel(u"<b>Colour</b>"_s, pane), 2, 1);
    grid->addWidget(new QLabel(u"<b>Bold</b>"_s, pane), 2, 2);
    for (int level = 0; level < kLevelCount; ++level) {
        const int row = level + 3;
        grid->addWidget(new QLabel(QLatin1String(kLevelStems[size_t(level)]), pane), row, 0);
        grid->addWidget(colorButton(pane, level, changed), row, 1);
        auto* bold = new QCheckBox(pane);
        bold->setObjectName(boldKey(level));
        bold->setChecked(Preferences::boolean(boldKey(level)));
        QObject::connect(bold, &QCheckBox::toggled, pane, [level, changed](bool on) {
            Preferences::setValue(boldKey(level), on ? 1 : 0);
            changed();
        });
        grid->addWidget(bold, row, 2, Qt::AlignCenter);
    }
    grid->setColumnStretch(3, 1);
    return pane;
}

}  // namespace vf::ui
