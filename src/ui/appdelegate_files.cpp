// The controller's side of files: what a file shown in place of the device's
// log changes here. Opening and saving are FileController's.
#include <QLineEdit>
#include <QSignalBlocker>

#include "ui/crashespanel.h"
#include "ui/filecontroller.h"
#include "ui/mainwindow.h"
#include "ui/connectioncontroller.h"
#include "ui/vellumfoxappdelegate.h"

namespace vf::ui {

void VellumfoxAppDelegate::openLogcatFile() { files_->openLogcatFile(); }

void VellumfoxAppDelegate::openFile(const QString& path) { files_->openFile(path); }

void VellumfoxAppDelegate::setFileContents(RowList rows, const QString& title) {
    files_->setFileContents(std::move(rows), title);
}

void VellumfoxAppDelegate::saveDocument() { files_->saveDocument(); }

void VellumfoxAppDelegate::saveDocumentAsText() { files_->saveDocumentAsText(); }

void VellumfoxAppDelegate::onFileOpening() { connection_->showingFile(); }

void VellumfoxAppDelegate::onFileContents() {
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
    changeScrollToBottom(true);
}

}  // namespace vf::ui
