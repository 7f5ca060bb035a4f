#pragma once
// FileController: the viewer's files. It opens a file by its lower-cased
// suffix ("…filters": imported into the filter library; "…vellumfox": the
// saved log; anything else: logcat text), reads logs off the GUI thread and
// puts their rows into the store, and saves the log (all rows, or only the
// visible ones) as a saved log or as text through the save panel.
//
// What opening a file changes elsewhere (the device's log stops, the title,
// the filter) it announces by its signals.
//
// Main thread only; the reading runs on the global thread pool and comes back
// to the main thread. The window, store and model are not owned and outlive
// the controller; whoever destroys the store first waits for the thread pool.

#include <QObject>
#include <QStringList>
#include <QWidget>
#include <functional>

#include "core/log/logrow.h"

namespace vf {
class LogDatasource;
}

namespace vf::ui {

class LogTableModel;
class MainWindow;

class FileController final : public QObject {
    Q_OBJECT
public:
    FileController(MainWindow& window, LogDatasource& store, LogTableModel& model, QObject* parent = nullptr);

    // The open panel; the chosen file goes to openFile().
    void openLogcatFile();
    // The open panel over `parent`; the chosen file goes to `chosen`.
    static void askForLog(QWidget* parent, std::function<void(const QString&)> chosen);
    // Opens `path` by its suffix; a log is read off the GUI thread.
    void openFile(const QString& path);
    // The save panel: saved log first, or text first.
    void saveDocument();
    void saveDocumentAsText();

Q_SIGNALS:
    // A "...filters" file was opened: for the filter library.
    void filtersFileOpened(const QString& path);
    // A log file is about to be read: the device's log stops, the window
    // is named after the file.
    void logFileOpening(const QString& path);
    // The file's rows are about to replace the store's: shown unfiltered,
    // following the end.
    void showingFile();
    // A log file finished loading into the store.
    void fileOpened(const QString& path);

private:
    void saveFile(const QStringList& extensions);
    // A binary file is no log: an alert says so (window-modal, not waited for).
    void refuseBinary(const QString& path);

    MainWindow& window_;
    LogDatasource& store_;
    LogTableModel& model_;
};

}  // namespace vf::ui
