#include "ui/files/filecontroller.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QMessageBox>
#include <QPointer>
#include <QThreadPool>

#include "core/log/logdatasource.h"
#include "core/log/logexport.h"
#include "core/log/utf8.h"
#include "core/support/logger.h"
#include "core/support/threads.h"
#include "ui/table/logtablemodel.h"
#include "ui/window/mainwindow.h"

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
        std::optional<RowList> rows;
        if (lower.endsWith(u"vellumfox"_s)) rows = readVellumfoxFile(path, [store] { return store->getIndex(); });
        if (!rows) rows = store->readTextFile(path);
        const bool binary = !rows && utf8::fileLooksBinary(path);
        runOnMainThread([self, path, binary, rows = std::move(rows)]() mutable {
            if (self == nullptr) return;
            Q_EMIT self->showingFile();
            self->store_.setLogDataFromFile(rows.value_or(RowList()));
            if (binary) self->refuseBinary(path);
            Q_EMIT self->fileOpened(path);
        });
    });
}

void FileController::refuseBinary(const QString& path) {
    auto* box = new QMessageBox(QMessageBox::Warning, u"Alert"_s, u"Alert"_s, QMessageBox::Ok, &window_);
    box->setInformativeText(u"Cannot open %1: %2"_s.arg(path, QString::fromLatin1(utf8::kBinaryFileReason)));
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
