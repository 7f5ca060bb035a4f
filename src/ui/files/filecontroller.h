#pragma once
// FileController: the viewer's files. It opens a file by its lower-cased
// suffix ("…filters": imported into the filter library; "…vellumfox": the
// saved log; a bugreport or its zip, told by content; anything else: logcat
// text), reads logs off the GUI thread and
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
struct ReportFacts;
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
    // A bugreport's rows were put into the store: its device and build.
    void reportOpened(const QString& path, const vf::ReportFacts& facts);
    // A log file finished loading into the store.
    void fileOpened(const QString& path);

private:
    void saveFile(const QStringList& extensions);
    void showBufferColumn();
    // A binary file or an archive is no log: an alert says why (window-modal,
    // not waited for).
    void refuse(const QString& path, const QString& reason);

    MainWindow& window_;
    LogDatasource& store_;
    LogTableModel& model_;
};

}  // namespace vf::ui
