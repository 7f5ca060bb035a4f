#pragma once
// The viewer's main window (placeholder until the controller lands).

#include <QMainWindow>

namespace vf::ui {

class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
};

}  // namespace vf::ui
