#include "ui/message/textviewerwindow.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QDesktopServices>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QTextBlock>
#include <QToolBar>
#include <QVBoxLayout>

#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "core/text/links.h"
#include "core/text/textutils.h"
#include "ui/window/mainwindow.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

constexpr double kDefaultFontSize = 11.0;

// Selections use paragraph separators for line breaks.
QString plainSelection(const QTextCursor& cursor) {
    QString text = cursor.selectedText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    text.replace(QChar::LineSeparator, u'\n');
    return text;
}

}  // namespace

MessageTextView::MessageTextView(QWidget* parent) : QTextEdit(parent) {
    setAcceptRichText(false);
    setLineWrapMode(QTextEdit::WidgetWidth);
    viewport()->setMouseTracking(true);
}

void MessageTextView::copyAll() {
    // The selection (none) comes back afterwards, as the user left it.
    const QTextCursor kept = textCursor();
    selectAll();
    copy();
    setTextCursor(kept);
}

void MessageTextView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy) && !textCursor().hasSelection()) {
        copyAll();
        event->accept();
        return;
    }
    QTextEdit::keyPressEvent(event);
}

void MessageTextView::contextMenuEvent(QContextMenuEvent* event) {
    QMenu* menu = createStandardContextMenu(event->pos());
    menu->addSeparator();
    QMenu* pretty = menu->addMenu(u"Pretty Print"_s);
    pretty->setToolTipsVisible(true);
    if (prettyJsonAction != nullptr) pretty->addAction(prettyJsonAction);
    if (base64Action != nullptr) pretty->addAction(base64Action);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

void MessageTextView::mousePressEvent(QMouseEvent* event) {
    pressedAnchor_ = event->button() == Qt::LeftButton ? anchorAt(event->pos()) : QString();
    QTextEdit::mousePressEvent(event);
}

void MessageTextView::mouseReleaseEvent(QMouseEvent* event) {
    QTextEdit::mouseReleaseEvent(event);
    const QString anchor = anchorAt(event->pos());
    // Only a click, not a drag that selects text over a link.
    if (!anchor.isEmpty() && anchor == pressedAnchor_ && !textCursor().hasSelection())
        QDesktopServices::openUrl(QUrl(anchor));
    pressedAnchor_.clear();
}

void MessageTextView::mouseMoveEvent(QMouseEvent* event) {
    QTextEdit::mouseMoveEvent(event);
    viewport()->setCursor(anchorAt(event->pos()).isEmpty() ? Qt::IBeamCursor : Qt::PointingHandCursor);
}

TextViewerWindow::TextViewerWindow(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle(u"Message"_s);
    setAttribute(Qt::WA_DeleteOnClose, false);
    // A viewer left open does not keep the program running once the main window closed.
    setAttribute(Qt::WA_QuitOnClose, false);
    auto* central = new QWidget(this);
    details_ = new QLabel(central);
    details_->setObjectName(u"messageDetails"_s);
    details_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    details_->setWordWrap(true);
    details_->setContentsMargins(6, 4, 6, 2);
    details_->hide();
    textView_ = new MessageTextView(central);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(details_);
    layout->addWidget(textView_, 1);
    setCentralWidget(central);
    createActions();
    createFindBar();
    connect(textView_, &QTextEdit::cursorPositionChanged, this, [this] { cursorPlaced_ = true; });
    resize(760, 520);
    resetWindow();
}

void TextViewerWindow::createActions() {
    QToolBar* bar = addToolBar(u"Message"_s);
    bar->setObjectName(u"messageToolBar"_s);
    bar->setMovable(false);
    formatJsonButton_ = bar->addAction(u"Format JSON"_s, this, &TextViewerWindow::onFormatJson);
    formatXmlButton_ = bar->addAction(u"Format XML"_s, this, &TextViewerWindow::onFormatXml);
    bar->addAction(u"Decoded Base64"_s, this, &TextViewerWindow::onBase64Decode);
    bar->addSeparator();
    QAction* findAction = bar->addAction(u"Find"_s, this, &TextViewerWindow::find);
    findAction->setShortcut(QKeySequence::Find);
    QAction* next = new QAction(u"Find Next"_s, this);
    next->setShortcuts(findNextKeys());
    connect(next, &QAction::triggered, this, &TextViewerWindow::findNext);
    QAction* previous = new QAction(u"Find Previous"_s, this);
    previous->setShortcuts(findPreviousKeys());
    connect(previous, &QAction::triggered, this, &TextViewerWindow::findPrevious);
    addActions({next, previous});
    QAction* print = bar->addAction(u"Print…"_s, this, &TextViewerWindow::printDocument);
    print->setShortcut(QKeySequence::Print);
    bar->addAction(u"Print Preview…"_s, this, &TextViewerWindow::printPreview);
    QAction* closeWindow = new QAction(u"Close"_s, this);
    closeWindow->setShortcut(QKeySequence::Close);
    connect(closeWindow, &QAction::triggered, this, &QWidget::close);
    addAction(closeWindow);

    textView_->prettyJsonAction = new QAction(u"as JSON"_s, this);
    textView_->prettyJsonAction->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_J));
    textView_->prettyJsonAction->setToolTip(u"Selected text must be valid JSON"_s);
    connect(textView_->prettyJsonAction, &QAction::triggered, this, &TextViewerWindow::onFormatJson);
    textView_->base64Action = new QAction(u"Decoded Base64"_s, this);
    textView_->base64Action->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_D));
    textView_->base64Action->setToolTip(u"Decodes the selection, or the Base64 under the cursor"_s);
    connect(textView_->base64Action, &QAction::triggered, this, &TextViewerWindow::onBase64Decode);
    addActions({textView_->prettyJsonAction, textView_->base64Action});
}

void TextViewerWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        if (findBar_->isVisible()) {
            endSearch();
        } else {
            close();
        }
        return;
    }
    QMainWindow::keyPressEvent(event);
}

void TextViewerWindow::endSearch() {
    findField_->clear();
    findBar_->hide();
    textView_->setFocus();
}

void TextViewerWindow::createFindBar() {
    findBar_ = new QToolBar(u"Find"_s, this);
    findBar_->setObjectName(u"findBar"_s);
    findBar_->setMovable(false);
    addToolBar(Qt::BottomToolBarArea, findBar_);
    findField_ = new QLineEdit(findBar_);
    findField_->setPlaceholderText(u"Find"_s);
    findField_->setClearButtonEnabled(true);
    findBar_->addWidget(findField_);
    findBar_->addAction(u"Previous"_s, this, &TextViewerWindow::findPrevious);
    findBar_->addAction(u"Next"_s, this, &TextViewerWindow::findNext);
    findBar_->addAction(u"Done"_s, findBar_, &QWidget::hide);
    connect(findField_, &QLineEdit::returnPressed, this, &TextViewerWindow::findNext);
    // Escape in the field: the search is over, back to the text.
    auto* done = new QAction(findField_);
    done->setShortcut(QKeySequence(Qt::Key_Escape));
    done->setShortcutContext(Qt::WidgetShortcut);
    connect(done, &QAction::triggered, this, &TextViewerWindow::endSearch);
    findField_->addAction(done);
    findBar_->hide();
}

void TextViewerWindow::resetWindow() {
    originalString_.clear();
    restoreContent();
    double size = Preferences::number(QLatin1String(prefs::kDefaultFontSize));
    if (size <= 0) size = kDefaultFontSize;
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(size);
    textView_->setFont(font);
}

void TextViewerWindow::setString(const QString& text) {
    resetWindow();
    originalString_ = text;
    showText(text);
}

void TextViewerWindow::setDetails(const QString& details) {
    details_->setText(details);
    details_->setVisible(!details.isEmpty());
}

QString TextViewerWindow::details() const { return details_->text(); }

QMessageBox* TextViewerWindow::currentAlert() const { return alert_; }

QString TextViewerWindow::text() const { return textView_->toPlainText(); }

void TextViewerWindow::restoreContent() {
    isFormattedJSON_ = false;
    isFormattedXML_ = false;
    formatJsonButton_->setText(u"Format JSON"_s);
    formatXmlButton_->setText(u"Format XML"_s);
    showText(originalString_);
}

// Shows the text with its web and mail addresses as links.
void TextViewerWindow::showText(const QString& text) {
    textView_->setPlainText(text);
    cursorPlaced_ = false;  // the cursor sits at the start: the user has not placed it
    QTextDocument* document = textView_->document();
    const bool undo = document->isUndoRedoEnabled();
    document->setUndoRedoEnabled(false);
    for (const TextLink& link : findLinks(text)) {
        QTextCursor cursor(document);
        cursor.setPosition(int(link.start));
        cursor.setPosition(int(link.start + link.length), QTextCursor::KeepAnchor);
        QTextCharFormat format;
        format.setAnchor(true);
        format.setAnchorHref(link.url.toString());
        format.setFontUnderline(true);
        format.setForeground(palette().link());
        cursor.mergeCharFormat(format);
    }
    document->setUndoRedoEnabled(undo);
}

QString TextViewerWindow::target() const {
    const QTextCursor cursor = textView_->textCursor();
    return cursor.hasSelection() ? plainSelection(cursor) : textView_->toPlainText();
}

// One undo step, in place of the selection or of the whole text.
void TextViewerWindow::replaceTarget(const QString& text) {
    QTextCursor cursor = textView_->textCursor();
    cursor.beginEditBlock();
    if (!cursor.hasSelection()) cursor.select(QTextCursor::Document);
    cursor.insertText(text, QTextCharFormat());
    cursor.endEditBlock();
    textView_->setTextCursor(cursor);
}

void TextViewerWindow::format(bool json) {
    bool& formatted = json ? isFormattedJSON_ : isFormattedXML_;
    if (formatted) {
        restoreContent();
        return;
    }
    const QString source = target();
    replaceTarget(json ? TextUtils::lenientJsonPrettyPrinter(source) : TextUtils::lenientXMLPrettyPrinter(source));
    formatted = true;
    (json ? formatJsonButton_ : formatXmlButton_)->setText(u"Restore Text"_s);
}

void TextViewerWindow::onFormatJson() { format(true); }

void TextViewerWindow::onFormatXml() { format(false); }

// Without a selection the Base64 run under the cursor, or the longest in
// the message, is selected and decoded; the alert then says which it tried.
void TextViewerWindow::onBase64Decode() {
    QString tried;
    QTextCursor cursor = textView_->textCursor();
    if (!cursor.hasSelection()) {
        const qsizetype at = cursorPlaced_ ? cursor.position() : -1;
        const std::optional<TextSpan> run = TextUtils::base64RunAt(textView_->toPlainText(), at);
        if (!run) {
            showAlert(u"Nothing in the message looks like Base64.\n\nSelect the text to decode."_s);
            return;
        }
        const bool underCursor = at >= run->start && at <= run->start + run->length;
        cursor.setPosition(int(run->start));
        cursor.setPosition(int(run->start + run->length), QTextCursor::KeepAnchor);
        textView_->setTextCursor(cursor);
        tried = (underCursor ? u"Nothing selected: tried the Base64 under the cursor, \u201C%1\u201D."_s
                             : u"Nothing selected: tried the longest Base64 in the message, \u201C%1\u201D."_s)
                    .arg(TextUtils::truncate(cursor.selectedText(), TextUtils::kShownBytes));
    }
    const QString source = target();
    const Base64Decoding decoded = TextUtils::decodeBase64(source);
    if (decoded.text) {
        replaceTarget(*decoded.text);
        return;
    }
    VF_LOG("Base64 decoded string was empty so ignore result. Input: '{}'", source);
    showAlert(tried.isEmpty() ? decoded.alertText : tried + u"\n\n"_s + decoded.alertText);
}

void TextViewerWindow::showAlert(const QString& text) {
    auto* box = new QMessageBox(QMessageBox::Critical, u"Alert"_s, u"Alert"_s, QMessageBox::Ok, this);
    box->setInformativeText(text);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    alert_ = box;
    box->open();
}

void TextViewerWindow::printDocument() {
    QPrinter printer;
    QPrintDialog dialog(&printer, this);
    if (dialog.exec() == QDialog::Accepted) textView_->print(&printer);
}

void TextViewerWindow::printPreview() {
    QPrinter printer;
    QPrintPreviewDialog preview(&printer, this);
    connect(&preview, &QPrintPreviewDialog::paintRequested, textView_, &QTextEdit::print);
    preview.exec();
}

void TextViewerWindow::find() {
    findBar_->show();
    const QString selected = plainSelection(textView_->textCursor());
    if (!selected.isEmpty() && !selected.contains(u'\n')) findField_->setText(selected);
    findField_->setFocus();
    findField_->selectAll();
}

void TextViewerWindow::findNext() { findText(false); }

void TextViewerWindow::findPrevious() { findText(true); }

void TextViewerWindow::findText(bool backward) {
    const QString needle = findField_->text();
    if (needle.isEmpty()) {
        find();
        return;
    }
    const QTextDocument::FindFlags flags = backward ? QTextDocument::FindBackward : QTextDocument::FindFlags();
    if (textView_->find(needle, flags)) return;
    // Wrap around once.
    QTextCursor cursor = textView_->textCursor();
    cursor.movePosition(backward ? QTextCursor::End : QTextCursor::Start);
    textView_->setTextCursor(cursor);
    textView_->find(needle, flags);
}

}  // namespace vf::ui
