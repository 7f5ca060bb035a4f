#include "ui/files/filecontroller.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QMessageBox>
#include <QFileInfo>
#include <QKeyEvent>
#include <QPointer>
#include <QTimer>

#include "core/log/bugreport.h"
#include "core/log/logdatasource.h"
#include "core/log/logexport.h"
#include "core/log/logparser.h"
#include "core/log/mappedfile.h"
#include "core/log/utf8.h"
#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "core/support/threads.h"
#include "ui/table/logtablemodel.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {
// How often the file shown is compared with what its path names now.
constexpr int kDiskCheckMs = 1000;

QString openingText(const QString& path) {
    return u"Opening %1 (Escape stops)"_s.arg(QFileInfo(path).fileName());
}

// Dialogs start where the user last opened or saved a log.
QString logFolder() {
    const QString folder = Preferences::string(QLatin1StringView(prefs::kLogFolder));
    return !folder.isEmpty() && QDir(folder).exists() ? folder : QDir::homePath();
}

void rememberLogFolder(const QString& path) {
    Preferences::setValue(QLatin1StringView(prefs::kLogFolder), QFileInfo(path).absolutePath());
}

}  // namespace

FileController::FileController(MainWindow& window, StatusLine& status, LogDatasource& store, LogTableModel& model,
                               QObject* parent)
    : QObject(parent), window_(window), status_(status), store_(store), model_(model) {
    diskCheck_ = new QTimer(this);
    diskCheck_->setInterval(kDiskCheckMs);
    connect(diskCheck_, &QTimer::timeout, this, &FileController::checkOnDisk);
}

FileController::~FileController() { endLoader(); }

void FileController::openLogcatFile() {
    askForLog(&window_, [self = QPointer<FileController>(this)](const QString& path) {
        if (self != nullptr) self->openFile(path);
    });
}

void FileController::askForLog(QWidget* parent, std::function<void(const QString&)> chosen) {
    auto* dialog = new QFileDialog(parent, u"Open Log"_s, logFolder());
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, dialog, [chosen = std::move(chosen)](const QString& path) {
        rememberLogFolder(path);
        chosen(path);
    });
    dialog->open();
}

void FileController::openFile(const QString& path) {
    VF_LOG("file:{}", path);
    const QString lower = path.toLower();
    if (lower.endsWith(u"filters"_s)) {
        Q_EMIT filtersFileOpened(path);
        return;
    }
    endLoader();
    diskCheck_->stop();
    Q_EMIT logFileOpening(path);
    Q_EMIT showingFile();
    status_.showProgress(openingText(path), 0, 0);
    qApp->installEventFilter(this);  // Escape stops it
    // Off the GUI thread, and off the pool that parses the file's chunks.
    stop_ = std::make_shared<std::atomic<bool>>(false);
    finished_ = false;
    QPointer<FileController> self(this);
    loader_ = std::thread([self, store = &store_, path, lower, stop = stop_] {
        TextFileReading how;
        how.cancelled = stop.get();
        how.progress = [self, path](uint64_t done, uint64_t total) {
            runOnMainThread([self, path, done, total] {
                if (self != nullptr && !self->finished_) self->status_.showProgress(openingText(path), done, total);
            });
        };
        // A bugreport (or an archive that is none) is told by its content.
        const BugreportRead report = store->openReport(path, how);
        QString refusal = report.refusal;
        TextFileRead read;
        bool cancelled = report.cancelled;
        if (report.outcome == BugreportRead::Outcome::NotReport) {
            DocumentRead document;
            if (lower.endsWith(u"vellumfox"_s)) document = store->openDocument(path, how);
            cancelled = document.cancelled;
            if (!document.read) {
                read = store->openTextFile(path, how);
                cancelled = read.cancelled;
                if (!read.read && utf8::fileLooksBinary(path)) refusal = QString::fromLatin1(utf8::kBinaryFileReason);
            }
        }
        runOnMainThread([self, path, refusal, cancelled, facts = report.facts, read = std::move(read)] {
            if (self != nullptr) self->finishOpening(path, facts, read, refusal, cancelled);
        });
    });
}

void FileController::finishOpening(const QString& path, const ReportFacts& facts, const TextFileRead& read,
                                   const QString& refusal, bool cancelled) {
    finished_ = true;
    qApp->removeEventFilter(this);
    status_.hideProgress();
    if (facts.layout.kind != ReportLayout::Kind::None) {
        Q_EMIT reportOpened(path, facts);
    }
    if (!refusal.isEmpty()) refuse(path, refusal);
    if (cancelled) {
        status_.showNote(u"Stopped opening %1: showing the %2 rows read so far"_s.arg(
            QFileInfo(path).fileName(), QString::number(store_.logEventCount())));
    }
    watch(read, path);
    Q_EMIT fileOpened(path);
}

// While a file opens, Escape anywhere in the window stops it, before any
// shortcut (the search field has its own Escape) and only in the tab that
// shows the file.
bool FileController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::ShortcutOverride && event->type() != QEvent::KeyPress) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() != Qt::Key_Escape || key->modifiers() != Qt::NoModifier) return false;
    const auto* widget = qobject_cast<QWidget*>(watched);
    if (widget == nullptr || widget->window() != &window_ || window_.logTable()->model() != &model_) return false;
    event->accept();  // an accepted override keeps shortcuts out
    if (event->type() == QEvent::KeyPress) stopOpening();
    return true;
}

void FileController::stopOpening() {
    if (stop_) stop_->store(true);
}

void FileController::endLoader() {
    if (!loader_.joinable()) return;
    stopOpening();
    loader_.join();
    finished_ = true;
    qApp->removeEventFilter(this);
    status_.hideProgress();
}

void FileController::watch(const TextFileRead& read, const QString& path) {
    watchedPath_ = path;
    watchedStamp_ = read.stamp;
    watchedMapping_ = read.mapping;
    watchedEpoch_ = store_.allRows().mark.epoch;
    if (read.read && read.stamp) {
        diskCheck_->start();
        checkOnDisk();  // it may have changed while it was read
    }
}

void FileController::checkOnDisk() {
    // Another file, a device's log or a cleared log: nothing left to say.
    if (!watchedStamp_ || store_.allRows().mark.epoch != watchedEpoch_) {
        diskCheck_->stop();
        return;
    }
    FileChange change = fileChange(*watchedStamp_, FileStamp::ofPath(QFile::encodeName(watchedPath_).toStdString()));
    // Pages past the file's new end read as zeros already, whatever the path names now.
    if (const auto mapping = watchedMapping_.lock(); mapping && mapping->shrankUnderReaders())
        change = FileChange::Shrank;
    if (change == FileChange::None) return;
    diskCheck_->stop();  // said once
    const QString name = QFileInfo(watchedPath_).fileName();
    QString what;
    switch (change) {
    case FileChange::Removed: what = u"%1 was removed from disk after it was opened."_s; break;
    case FileChange::Replaced: what = u"%1 was replaced on disk by another file after it was opened."_s; break;
    case FileChange::Shrank:
        what = u"%1 was cut short on disk after it was opened: the rows past its new end lost their text."_s;
        break;
    case FileChange::Grew: what = u"%1 has grown on disk since it was opened."_s; break;
    case FileChange::Written: what = u"%1 was written on disk after it was opened."_s; break;
    case FileChange::None: break;
    }
    auto* box = new QMessageBox(QMessageBox::Warning, u"Alert"_s, u"The file changed on disk"_s, QMessageBox::Ok,
                                &window_);
    box->setInformativeText(what.arg(name) + u" Open it again to see its new content."_s);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setObjectName(u"fileChangedAlert"_s);
    box->open();
    status_.showNote(u"%1 changed on disk: open it again to see its new content"_s.arg(name));
}

void FileController::refuse(const QString& path, const QString& reason) {
    auto* box = new QMessageBox(QMessageBox::Warning, u"Alert"_s, u"Alert"_s, QMessageBox::Ok, &window_);
    box->setInformativeText(u"Cannot open %1: %2"_s.arg(path, reason));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setObjectName(u"binaryFileAlert"_s);
    box->open();
}

void FileController::saveDocument() { saveFile({u"vellumfox"_s, u"log"_s, u"txt"_s}); }

void FileController::saveDocumentAsText() { saveFile({u"log"_s, u"txt"_s, u"vellumfox"_s}); }

void FileController::saveFile(const QStringList& extensions) {
    auto* dialog = new QFileDialog(&window_, u"Save Log"_s, logFolder());
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    QStringList filters;
    for (const QString& ext : extensions) filters << u"%1 (*.%2)"_s.arg(ext.toUpper(), ext);
    dialog->setNameFilters(filters);
    dialog->setDefaultSuffix(extensions.first());
    auto* onlyVisible = new QCheckBox(u"Save only visible rows"_s, dialog);
    onlyVisible->setObjectName(u"saveOnlyVisible"_s);
    if (auto* grid = qobject_cast<QGridLayout*>(dialog->layout()))
        grid->addWidget(onlyVisible, grid->rowCount(), 0, 1, -1);
    connect(dialog, &QFileDialog::filterSelected, dialog, [dialog, extensions, filters](const QString& filter) {
        dialog->setDefaultSuffix(extensions.value(int(filters.indexOf(filter)), extensions.first()));
    });
    connect(dialog, &QFileDialog::fileSelected, this, [this, onlyVisible, extensions](const QString& path) {
        rememberLogFolder(path);
        const bool visible = onlyVisible->isChecked();
        const RowList rows = visible ? model_.rows() : store_.getDataAll();
        vf::saveFile(path, rows, visible, extensions);
    });
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vf::ui
