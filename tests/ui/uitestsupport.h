#pragma once
// Shared set-up for the viewer's tests: the controller with its real window,
// store and session, but a fake ADB side, and preferences in a temporary file.
// Tests reach each part directly through parts().

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <QTimer>
#include <memory>

#include "core/log/logrow.h"
#include "core/support/preferences.h"
#include "support/fixtures/fakesession.h"
#include "support/fixtures/wait.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/files/filecontroller.h"
#include "ui/filters/filterinforce.h"
#include "ui/filters/filterlistcontroller.h"
#include "ui/message/messageactions.h"
#include "ui/table/logtablemodel.h"
#include "ui/table/searchcontroller.h"
#include "ui/table/tablefollower.h"
#include "ui/vellumfoxappdelegate.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"

namespace vf::ui::test {

class UiTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        Preferences::setStorageFile(dir.filePath(QStringLiteral("prefs.ini")));
        Preferences::clearRegisteredDefaults();
    }

    void TearDown() override {
        app.reset();
        Preferences::setStorageFile(QString());
        Preferences::clearRegisteredDefaults();
    }

    void start(int reconnectIntervalMs = 5000) {
        VellumfoxAppDelegate::Options options;
        options.installHooks = false;
        options.reconnectIntervalMs = reconnectIntervalMs;
        options.makeAdb = [this] {
            auto fake = std::make_unique<vf::test::FakeSessionAdb>();
            adb = fake.get();
            return std::unique_ptr<SessionAdb>(std::move(fake));
        };
        options.connector = conversations;
        options.recordEvent = [this](const QString& name) { events << name; };
        app = std::make_unique<VellumfoxAppDelegate>(options);
        app->applicationDidFinishLaunching();
        app->parts().window->resize(1000, 600);
    }

    // A row; `n` goes into idx, time and text so rows are told apart.
    RowPtr row(uint64_t n, const std::string& type, const std::string& text) {
        return arena.make(RowValues{n, "01-01 00:00:00." + std::to_string(n), "", "100", "101", type, "Tag", text});
    }

    // Rows 0..count-1 cycling through the levels V D I W E F.
    RowList levelRows(int count) {
        static const char* kTypes[] = {"V", "D", "I", "W", "E", "F"};
        RowList rows;
        for (int i = 0; i < count; ++i) rows << row(uint64_t(i), kTypes[i % 6], "message " + std::to_string(i));
        return rows;
    }

    // Puts `rows` into the store as a loaded file and waits for the table.
    void show(const RowList& rows) {
        app->tab().store->setLogDataFromFile(rows);
        ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == rows.size(); }));
    }

    LogTableModel* model() const { return app->tab().model; }
    SelectableTableView* table() const { return app->parts().window->logTable(); }
    QString title() const { return app->parts().window->windowTitle(); }
    QString button() const { return app->parts().window->connectAction->text(); }

    QTemporaryDir dir;
    RowArena arena;
    vf::test::FakeSessionAdb* adb = nullptr;
    std::shared_ptr<vf::test::FakeConversations> conversations = std::make_shared<vf::test::FakeConversations>();
    QStringList events;
    std::unique_ptr<VellumfoxAppDelegate> app;
};

using vf::test::device;

}  // namespace vf::ui::test
