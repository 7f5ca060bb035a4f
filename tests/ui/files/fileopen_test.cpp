// Opening a log: the bar while it reads, Escape, and the file changing on disk.
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTest>

#include "core/log/logdatasource.h"
#include "ui/tabs/sourcetab.h"
#include "ui/uitestsupport.h"

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class FileOpenTest : public UiTest {
protected:
    QString writeLog(const QString& name, int lines) {
        std::string text;
        text.reserve(size_t(lines) * 64);
        for (int i = 0; i < lines; ++i)
            text += "03-17 16:13:38.811  1702  2395 I Tag: line " + std::to_string(i) + " of the log\n";
        const QString path = dir.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text.data(), qint64(text.size()));
        return path;
    }
    StatusLine& status() const { return *app->parts().status; }
};

// Escape while a large log opens stops it, also from the search field (which
// has an Escape of its own): the rows read so far are shown, the bar goes
// and the status line says what happened.
TEST_F(FileOpenTest, EscapeStopsOpeningAndKeepsTheRowsRead) {
    start();
    app->parts().window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(app->parts().window.get()));
    const QString path = writeLog(u"big.log"_s, 600000);
    QSignalSpy opened(app->tab().files.get(), &FileController::fileOpened);
    app->tab().files->openFile(path);
    EXPECT_TRUE(status().progressText().startsWith(u"Opening big.log"_s));
    EXPECT_TRUE(app->tab().files->isOpening());
    app->parts().window->searchField()->setFocus();
    QTest::keyClick(app->parts().window->searchField(), Qt::Key_Escape);
    ASSERT_TRUE(vf::test::waitUntil([&] { return opened.count() == 1; }, 20000));
    EXPECT_TRUE(status().note().startsWith(u"Stopped opening big.log"_s)) << status().note().toStdString();
    EXPECT_EQ(status().progressPermille(), -1);
    const qsizetype kept = app->tab().store->logEventCount();
    EXPECT_LT(kept, 600000);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == kept; }));
}

// A log cut short on disk while it is shown: an alert says so and that
// opening it again shows the new content; the rows stay, nothing crashes.
TEST_F(FileOpenTest, ALogCutShortOnDiskIsSaidOnce) {
    start();
    const QString path = writeLog(u"shown.log"_s, 20000);
    QSignalSpy opened(app->tab().files.get(), &FileController::fileOpened);
    app->tab().files->openFile(path);
    ASSERT_TRUE(vf::test::waitUntil([&] { return opened.count() == 1; }));
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 20000; }));
    EXPECT_EQ(status().progressPermille(), -1);
    ASSERT_TRUE(QFile::resize(path, 100));
    QMessageBox* alert = nullptr;
    ASSERT_TRUE(vf::test::waitUntil(
        [&] { return (alert = app->parts().window->findChild<QMessageBox*>(u"fileChangedAlert"_s)) != nullptr; }));
    EXPECT_EQ(alert->informativeText(),
              u"shown.log was cut short on disk after it was opened: the rows past its new end lost their text. "
              "Open it again to see its new content."_s);
    for (int i = 0; i < model()->rowCount(); i += 997) (void)model()->index(i, 6).data();  // reads zeros, not SIGBUS
    EXPECT_EQ(model()->rowCount(), 20000);
}

// Files opened one after another (as from the command line) each get a tab,
// even while the first is still opening; the merged tab names their rows.
TEST_F(FileOpenTest, FilesOpenedTogetherGetATabEachAndNameTheirRows) {
    start();
    app->openInNewTab(writeLog(u"first.log"_s, 20000));
    app->openInNewTab(writeLog(u"second.log"_s, 300));
    ASSERT_EQ(app->tabs().size(), 2u);
    const auto count = [&](size_t i) { return app->tabs()[i]->parts().store->logEventCount(); };
    ASSERT_TRUE(vf::test::waitUntil([&] { return count(0) == 20000 && count(1) == 300; }, 20000));
    const ui::SourceTab& merged = app->addMergedTab();
    LogTableModel* mergedModel = merged.parts().model;
    ASSERT_TRUE(vf::test::waitUntil([&] { return mergedModel->rowCount() == 20300; }, 20000));
    QSet<QString> sources;
    for (int i = 0; i < mergedModel->rowCount(); ++i) sources.insert(mergedModel->index(i, kSourceColumn).data().toString());
    EXPECT_EQ(sources, (QSet<QString>{u"first.log"_s, u"second.log"_s}));
    // The merged tab's rows are the others' own: counted once.
    ASSERT_TRUE(vf::test::waitUntil([&] { return status().totalsText().startsWith(u"3 tabs: 20,300 rows, "_s); }))
        << status().totalsText().toStdString();
}

// Rows that come later join the merged tab's end without a reset (the view
// keeps its selection); a row earlier than the last shown merges anew.
TEST_F(FileOpenTest, MergedTabAppendsLaterRowsAndMergesEarlierOnesAnew) {
    start();
    show({row(100, "I", "a"), row(300, "I", "c")});
    const ui::SourceTab& merged = app->addMergedTab();
    LogTableModel* mergedModel = merged.parts().model;
    ASSERT_TRUE(vf::test::waitUntil([&] { return mergedModel->rowCount() == 2; }));
    QSignalSpy reset(mergedModel, &QAbstractItemModel::modelReset);
    LogDatasource& source = *app->tabs().front()->parts().store;
    source.appendRows({row(500, "I", "e")});
    ASSERT_TRUE(vf::test::waitUntil([&] { return mergedModel->rowCount() == 3; }));
    EXPECT_EQ(reset.count(), 0);
    source.appendRows({row(200, "I", "b")});
    ASSERT_TRUE(vf::test::waitUntil([&] { return mergedModel->rowCount() == 4; }));
    EXPECT_EQ(reset.count(), 1);
    QString texts;
    for (int i = 0; i < 4; ++i) texts += mergedModel->index(i, kTextColumn).data().toString();
    EXPECT_EQ(texts, u"aceb"_s);  // a source keeps its own order
}

}  // namespace
}  // namespace vf::ui::test
