#pragma once
// The sheet in which the user picks one of several attached devices. It only
// shows the titles it is given and ends with 1 (OK) or 0 (Cancel); which
// device a choice means is the controller's business.
//
// Main thread only. Parented to the main window (which owns it).

#include <QDialog>
#include <QStringList>

class QComboBox;

namespace vf::ui {

class DevicePickerSheet final : public QDialog {
    Q_OBJECT
public:
    explicit DevicePickerSheet(QWidget* parent);

    void setDeviceTitles(const QStringList& titles);
    int selectedIndex() const;
    QComboBox* deviceButton() const { return deviceButton_; }

public Q_SLOTS:
    void startLogForDevice();  // ends with 1
    void cancelDevicePicker();  // ends with 0

private:
    QComboBox* deviceButton_;
};

}  // namespace vf::ui
