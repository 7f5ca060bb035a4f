#include "ui/files/filecontroller.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QHeaderView>
#include <QMessageBox>
#include <QPointer>
#include <QThreadPool>

#include "core/log/bugreport.h"
#include "core/log/logdatasource.h"
#include "core/log/logexport.h"
#include "core/log/utf8.h"
#include "core/support/logger.h"
#include "core/support/threads.h"
#include "ui/table/logtablemodel.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

FileController::FileController(MainWindow& window, LogDatasource& store, LogTableModel& model, QObject* parent)
    : QObject(parent), window_(window), store_(store), model_(model) {}

void FileController::openLogcatFile() {
    askForLog(&window_, [self = QPointer<FileController>(this)](const QString& path) {
        if (self != nullptr) self->openFile(path);
    });
}

void FileController::askForLog(QWidget* parent, std::function<void(const QString&)> chosen) {
    auto* dialog = new QFileDialog(parent, u"Open Log"_s, QDir::homePath());
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, dialog, std::move(chosen));
    dialog->open();
}

void FileController::openFile(const QString& path) {
    VF_LOG("file:{}", path);
    const QString lower = path.toLower();
    if (lower.endsWith(u"filters"_s)) {
        Q_EMIT filtersFileOpened(path);
        return;
    }
    Q_EMIT logFileOpening(path);
    // Reading a large file takes a while: off the GUI thread, then back.
    QPointer<FileController> self(this);
    LogDatasource* store = &store_;
    QThreadPool::globalInstance()->start([self, store, path, lower] {
        const RowIndexSource nextIndex = [store] { return store->getIndex(); };
        // A bugreport (or an archive that is none) is told by its content.
        BugreportRead report = readBugreport(path, nextIndex);
        std::optional<RowList> rows;
        QString refusal = report.refusal;
        if (report.outcome == BugreportRead::Outcome::Read) {
            store->clearLog();  // as for a text file: the device's process names go too
            rows = std::move(report.rows);
        }
        if (report.outcome == BugreportRead::Outcome::NotReport) {
            if (lower.endsWith(u"vellumfox"_s)) rows = readVellumfoxFile(path, nextIndex);
            if (!rows) rows = store->readTextFile(path);
            if (!rows && utf8::fileLooksBinary(path)) refusal = QString::fromLatin1(utf8::kBinaryFileReason);
        }
        runOnMainThread([self, path, refusal, facts = report.facts, rows = std::move(rows)]() mutable {
            if (self == nullptr) return;
            Q_EMIT self->showingFile();
            self->store_.setLogDataFromFile(rows.value_or(RowList()), facts);
            if (!facts.isEmpty()) {
                self->showBufferColumn();
                Q_EMIT self->reportOpened(path, facts);
            }
            if (!refusal.isEmpty()) self->refuse(path, refusal);
            Q_EMIT self->fileOpened(path);
        });
    });
}

void FileController::showBufferColumn() {
    // A report mixes buffers: say which each row came from, before the
    // text, which runs off the window's edge.
    QHeaderView* header = window_.logTable()->horizontalHeader();
    header->setSectionHidden(kBufferColumn, false);
    const int text = header->visualIndex(kTextColumn);
    if (header->visualIndex(kBufferColumn) > text) header->moveSection(header->visualIndex(kBufferColumn), text);
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
    auto* dialog = new QFileDialog(&window_, u"Save Log"_s, QDir::homePath());
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
        const bool visible = onlyVisible->isChecked();
        const RowList rows = visible ? model_.rows() : store_.getDataAll();
        vf::saveFile(path, rows, visible, extensions);
    });
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vf::ui
