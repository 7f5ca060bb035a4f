// Files: opening saved logs and filter files, and saving the log as text.
#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QThreadPool>

#include "core/log/logexport.h"
#include "core/support/logger.h"
#include "core/support/threads.h"
#include "ui/crashespanel.h"
#include "ui/logtablemodel.h"
#include "ui/mainwindow.h"
#include "ui/connectioncontroller.h"
#include "ui/vellumfoxappdelegate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

void VellumfoxAppDelegate::openLogcatFile() {
    auto* dialog = new QFileDialog(window_.get(), u"Open Log"_s, QDir::homePath());
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, &VellumfoxAppDelegate::openFile);
    dialog->open();
}

void VellumfoxAppDelegate::openFile(const QString& path) {
    VF_LOG("file:{}", path);
    const QString lower = path.toLower();
    if (lower.endsWith(u"filters"_s)) {
        importFilters(path);
        return;
    }
    connection_->showingFile();
    // Reading a large file takes a while: off the GUI thread, then back.
    QPointer<VellumfoxAppDelegate> self(this);
    LogDatasource* store = logDatasource_.get();
    QThreadPool::globalInstance()->start([self, store, path, lower] {
        std::optional<RowList> rows;
        if (lower.endsWith(u"vellumfox"_s)) rows = readVellumfoxFile(path, [store] { return store->getIndex(); });
        if (!rows) rows = store->readTextFile(path);
        runOnMainThread([self, path, rows = std::move(rows)]() mutable {
            if (self == nullptr) return;
            self->setFileContents(rows.value_or(RowList()), path);
            Q_EMIT self->fileOpened(path);
        });
    });
}

void VellumfoxAppDelegate::setFileContents(RowList rows, const QString& title) {
    connection_->showingFile();
    session_->forgetLastDevice();
    {
        // The file is shown unfiltered: the quick filter field says so too.
        const QSignalBlocker quiet(window_->quickFilterField());
        window_->quickFilterField()->clear();
    }
    setPredicate(nullptr);
    window_->filterListTable()->selectRowAlone(0);
    if (crashes_ != nullptr) crashes_->clear();
    logDatasource_->setLogDataFromFile(std::move(rows));
    window_->setWindowTitle(title);
    changeScrollToBottom(true);
}

void VellumfoxAppDelegate::saveDocument() { saveFile({u"vellumfox"_s, u"log"_s, u"txt"_s}); }

void VellumfoxAppDelegate::saveDocumentAsText() { saveFile({u"log"_s, u"txt"_s, u"vellumfox"_s}); }

void VellumfoxAppDelegate::saveFile(const QStringList& extensions) {
    auto* dialog = new QFileDialog(window_.get(), u"Save Log"_s, QDir::homePath());
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
        const RowList rows = visible ? tableModel_->rows() : logDatasource_->getDataAll();
        vf::saveFile(path, rows, visible, extensions);
    });
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

}  // namespace vf::ui
