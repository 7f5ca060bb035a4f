#include "ui/connection/devicepickersheet.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/support/logger.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

DevicePickerSheet::DevicePickerSheet(QWidget* parent) : QDialog(parent), deviceButton_(new QComboBox(this)) {
    setWindowTitle(u"Choose Device"_s);
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(u"Several devices are connected. Show the log of:"_s, this));
    deviceButton_->setMinimumContentsLength(28);
    layout->addWidget(deviceButton_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(u"Start Log"_s);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &DevicePickerSheet::startLogForDevice);
    connect(buttons, &QDialogButtonBox::rejected, this, &DevicePickerSheet::cancelDevicePicker);
}

void DevicePickerSheet::setDeviceTitles(const QStringList& titles) {
    deviceButton_->clear();
    deviceButton_->addItems(titles);
}

int DevicePickerSheet::selectedIndex() const { return deviceButton_->currentIndex(); }

void DevicePickerSheet::startLogForDevice() {
    VF_LOG("");
    done(1);
}

void DevicePickerSheet::cancelDevicePicker() {
    VF_LOG("");
    done(0);
}

}  // namespace vf::ui
