#pragma once
// FileController: the viewer's files. It opens a file by its lower-cased
// suffix ("…filters": imported into the filter library; "…vellumfox": the
// saved log; a bugreport or its zip, told by content; anything else: logcat
// text), reads logs off the GUI thread and
// puts their rows into the store, and saves the log (all rows, or only the
// visible ones) as a saved log or as text through the save panel.
//
// A log (text, bugreport or saved log) shows its rows as they are read, with
// a bar on the status line; Escape stops the reading and keeps the rows read
// so far. Once open, a
// text log whose file changes on disk (cut short, replaced, written) makes
// an alert say what changed and that opening it again shows the new
// content; the rows keep what was read (or read zeros where the file went).
//
// What opening a file changes elsewhere (the device's log stops, the title,
// the filter) it announces by its signals.
//
// Main thread only; the reading runs on a thread of its own (it shares its
// work with the global pool) and comes back to the main thread by queued
// calls. A new file, or the controller's end, stops the reading before and
// waits for its thread. The window, status line, store and model are not
// owned and outlive the controller.

#include <QObject>
#include <QStringList>
#include <QWidget>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "core/log/filestamp.h"
#include "core/log/logrow.h"

class QTimer;

namespace vf {
class LogDatasource;
class MappedFile;
struct ReportFacts;
struct TextFileRead;
}

namespace vf::ui {

class LogTableModel;
class MainWindow;
class StatusLine;

class FileController final : public QObject {
    Q_OBJECT
public:
    FileController(MainWindow& window, StatusLine& status, LogDatasource& store, LogTableModel& model,
                   QObject* parent = nullptr);
    ~FileController() override;

    // The open panel; the chosen file goes to openFile().
    void openLogcatFile();
    // The open panel over `parent`; the chosen file goes to `chosen`.
    static void askForLog(QWidget* parent, std::function<void(const QString&)> chosen);
    // Opens `path` by its suffix; a log is read off the GUI thread.
    void openFile(const QString& path);
    // The save panel: saved log first, or text first.
    void saveDocument();
    void saveDocumentAsText();
    // Stops the reading of a file (Escape): the rows read so far stay.
    void stopOpening();
    bool isOpening() const { return loader_.joinable() && !finished_; }

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

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void saveFile(const QStringList& extensions);
    // A binary file or an archive is no log: an alert says why (window-modal,
    // not waited for).
    void refuse(const QString& path, const QString& reason);
    // Back on the main thread once the reading ended: `facts` of a report
    // (its layout's kind None for other files), `read` says how a text log's
    // reading went, `cancelled` whether any reading was stopped.
    void finishOpening(const QString& path, const ReportFacts& facts, const TextFileRead& read,
                       const QString& refusal, bool cancelled);
    // Ends the reading before (stopped) and waits for its thread.
    void endLoader();
    // The file shown is watched until the store's rows are replaced.
    void watch(const TextFileRead& read, const QString& path);
    void checkOnDisk();

    MainWindow& window_;
    StatusLine& status_;
    LogDatasource& store_;
    LogTableModel& model_;

    std::thread loader_;
    std::shared_ptr<std::atomic<bool>> stop_;
    bool finished_ = true;

    // The file shown, as it was opened.
    QTimer* diskCheck_ = nullptr;
    QString watchedPath_;
    std::optional<FileStamp> watchedStamp_;
    std::weak_ptr<const MappedFile> watchedMapping_;  // the rows keep it, not the watch
    uint64_t watchedEpoch_ = 0;
};

}  // namespace vf::ui
