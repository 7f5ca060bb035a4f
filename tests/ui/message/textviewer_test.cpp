// The message viewer's own rules: the selection or the whole text, one undo
// step per formatting, restoring the text as given, the Base64 alert. The
// printers themselves are tested in the core.
#include <gtest/gtest.h>

#include <QAction>
#include <QMessageBox>
#include <QLineEdit>
#include <QTest>
#include <QTextBlock>

#include "ui/message/textviewerwindow.h"

using namespace Qt::StringLiterals;

namespace vf::ui {
namespace {

void select(QTextEdit* view, int from, int to) {
    QTextCursor cursor = view->textCursor();
    cursor.setPosition(from);
    cursor.setPosition(to, QTextCursor::KeepAnchor);
    view->setTextCursor(cursor);
}

TEST(TextViewer, FormatsTheSelectionInOneUndoStepAndRestores) {
    TextViewerWindow viewer;
    const QString message = u"D/net: {\"a\":[1]}\nsecond line aGk="_s;
    viewer.setString(message);
    viewer.onFormatJson();  // no selection: the whole text
    EXPECT_EQ(viewer.text(), u"D/net: \n{\n    \"a\" : \n    [\n        1\n    ]\n}\nsecond line aGk="_s);
    EXPECT_EQ(viewer.formatJsonButton()->text(), u"Restore Text"_s);
    viewer.textView()->undo();
    EXPECT_EQ(viewer.text(), message);
    viewer.textView()->redo();

    // Base64 of the selected token only; the flags stay.
    const int at = int(viewer.text().indexOf(u"aGk="_s));
    select(viewer.textView(), at, at + 4);
    viewer.onBase64Decode();
    EXPECT_TRUE(viewer.text().endsWith(u"second line hi"_s));
    EXPECT_TRUE(viewer.isFormattedJSON());

    // Pressing the lit button brings back the text as given, whole.
    viewer.onFormatJson();
    EXPECT_EQ(viewer.text(), message);
    EXPECT_FALSE(viewer.isFormattedJSON());
    EXPECT_EQ(viewer.formatJsonButton()->text(), u"Format JSON"_s);

    // A selection over a line break reaches the printer as a line feed.
    viewer.setString(u"<a>\n<b/></a>"_s);
    select(viewer.textView(), 0, 8);
    viewer.onFormatXml();
    EXPECT_EQ(viewer.text(), u"\n    <a>\n\n        <b/></a>"_s);
}

TEST(TextViewer, WithoutASelectionBase64TakesTheRunAndNamesIt) {
    TextViewerWindow viewer;
    // The cursor where setString left it is no choice: the longest run.
    viewer.setString(u"I/Sync: token aGVsbG8= user ab"_s);
    viewer.onBase64Decode();
    EXPECT_EQ(viewer.text(), u"I/Sync: token hello user ab"_s);
    EXPECT_FALSE(viewer.currentAlert());

    viewer.setString(u"E/Blob: //79//79 x"_s);
    viewer.onBase64Decode();
    ASSERT_TRUE(viewer.currentAlert());
    EXPECT_EQ(viewer.currentAlert()->informativeText(),
              u"Nothing selected: tried the longest Base64 in the message, \u201C//79//79\u201D.\n\n"
              u"Result is not a string.\nBIN[<fffefdff fefd>]"_s);
    EXPECT_EQ(viewer.text(), u"E/Blob: //79//79 x"_s);
    viewer.currentAlert()->close();

    // A cursor the user put on a run takes that run, however short.
    viewer.setString(u"aGk= //79//79"_s);
    QTextCursor cursor = viewer.textView()->textCursor();
    cursor.setPosition(2);
    viewer.textView()->setTextCursor(cursor);
    viewer.onBase64Decode();
    EXPECT_EQ(viewer.text(), u"hi //79//79"_s);
}

// Escape ends the search first, and closes the window only from the text.
TEST(TextViewer, EscapeEndsTheSearchThenClosesTheWindow) {
    TextViewerWindow viewer;
    viewer.setString(u"text"_s);
    viewer.show();
    viewer.find();
    auto* field = viewer.findChild<QLineEdit*>();
    ASSERT_NE(field, nullptr);
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_TRUE(viewer.isVisible());
    QTest::keyClick(viewer.textView(), Qt::Key_Escape);
    EXPECT_FALSE(viewer.isVisible());
}

}  // namespace
}  // namespace vf::ui
