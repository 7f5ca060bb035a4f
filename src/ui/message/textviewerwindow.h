#pragma once
// TextViewerWindow: the message viewer. Where the message comes from, above
// an editable text view in the fixed-pitch font with clickable links; a find
// bar (Escape closes it), printing, and the toolbar's Format JSON / Format
// XML (each turning into "Restore Text") and Decoded Base64. Every
// transformation works on the selection when there is one, else on the
// whole text (Decoded Base64: on the Base64 run under the cursor, else the
// longest), and is one undo step; restoring brings back the text as given.
// The transformations are TextUtils's.
//
// Main thread only.

#include <QMainWindow>
#include <QPointer>
#include <QTextEdit>

class QLabel;
class QLineEdit;
class QMessageBox;
class QToolBar;

namespace vf::ui {

// The text view: links open on a click, its context menu carries the
// "Pretty Print" submenu, and Copy with nothing selected copies the whole
// text.
class MessageTextView final : public QTextEdit {
    Q_OBJECT
public:
    explicit MessageTextView(QWidget* parent = nullptr);

    // The submenu's actions, owned by the window.
    QAction* prettyJsonAction = nullptr;
    QAction* base64Action = nullptr;

    // Selects all, copies and puts the selection back.
    void copyAll();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QString pressedAnchor_;
};

class TextViewerWindow final : public QMainWindow {
    Q_OBJECT
public:
    explicit TextViewerWindow(QWidget* parent = nullptr);

    void setString(const QString& text);
    QString text() const;
    // The line above the text that says where the message comes from
    // (time, app, pid, tid, level, tag); empty hides it.
    void setDetails(const QString& details);
    QString details() const;
    void resetWindow();
    void restoreContent();

    void onFormatJson();
    void onFormatXml();
    void onBase64Decode();
    void printDocument();
    void printPreview();
    void find();
    void findNext();
    void findPrevious();

    MessageTextView* textView() const { return textView_; }
    bool isFormattedJSON() const { return isFormattedJSON_; }
    QAction* formatJsonButton() const { return formatJsonButton_; }
    QMessageBox* currentAlert() const;

protected:
    // Escape ends a search, else closes the window, as Ctrl+W does.
    void keyPressEvent(QKeyEvent* event) override;

private:
    void createActions();
    void createFindBar();
    void endSearch();
    void showText(const QString& text);
    QString target() const;
    void replaceTarget(const QString& text);
    void format(bool json);
    void showAlert(const QString& text);
    void findText(bool backward);

    QLabel* details_ = nullptr;
    bool cursorPlaced_ = false;  // the user moved the cursor since the text was set
    MessageTextView* textView_ = nullptr;
    QToolBar* findBar_ = nullptr;
    QLineEdit* findField_ = nullptr;
    QAction* formatJsonButton_ = nullptr;
    QAction* formatXmlButton_ = nullptr;
    QPointer<QMessageBox> alert_;
    QString originalString_;
    bool isFormattedJSON_ = false;
    bool isFormattedXML_ = false;
};

}  // namespace vf::ui
