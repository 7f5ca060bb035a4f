#pragma once
// ConnectDialog (Device > Connect...): connects the ADB server to a device
// on the network by its address. What is typed is checked before anything
// is sent; the server's answer is shown in words in the dialog, which stays
// open until it is closed.
//
// Main thread only.

#include <QDialog>
#include <functional>

#include "core/adb/endpoint.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace vf::ui {

class ConnectDialog final : public QDialog {
    Q_OBJECT
public:
    // `endpoint` gives the server to ask, each time it is asked.
    ConnectDialog(std::function<AdbEndpoint()> endpoint, QWidget* parent = nullptr);

    QLineEdit* addressField() const { return address_; }
    QLabel* messageLabel() const { return message_; }
    // Connects to the address typed.
    void connectToAddress();

private:
    void showMessage(const QString& text);

    const std::function<AdbEndpoint()> endpoint_;
    QLineEdit* address_;
    QLabel* message_;
    QPushButton* connectButton_ = nullptr;
};

}  // namespace vf::ui
