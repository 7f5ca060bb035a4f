#include "ui/mainwindow.h"

namespace vf::ui {

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(QStringLiteral("Vellumfox"));
    resize(1100, 700);
}

}  // namespace vf::ui
