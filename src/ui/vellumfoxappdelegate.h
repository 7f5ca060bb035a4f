#pragma once
// VellumfoxAppDelegate: the viewer's controller. It builds the parts of the
// main window and connects them, and holds no state of its own: each part
// keeps its own and is reached directly (the menus, main(), the tests).
//
//   store, session         the log and the connect / reconnect cycle (core)
//   window, status         the main window's widgets and its status bar
//   model, follower        the log table's rows and how the table moves
//   search, filter(List)   finding rows; the filter in force and the list
//   files, connection      opening and saving; title, Run button, alerts
//   messages, crashes      the row menu and viewer; the crashes panel
//
// Threads: everything runs on the main thread; the store and the session
// deliver their reports there.

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>

#include "core/log/logdatasource.h"
#include "core/session/logsession.h"
#include "ui/crashes/crashespanel.h"

namespace vf::ui {

class ColumnLayoutSaver;
class ConnectionController;
class FileController;
class FilterInForce;
class FilterListController;
class HighlightDelegate;
class LogTableModel;
class MainWindow;
class MessageActions;
class PreferencesWindow;
class RemoteScreenMonitorSheet;
class SearchController;
class StatusLine;
class TableFollower;
class WirelessActions;

class VellumfoxAppDelegate final : public QObject, private LogDatasourceDelegate, private CrashesHost {
    Q_OBJECT
public:
    struct Options {
        // The device listing and server start; empty: the real ones, with
        // the server of the preferences at each listing.
        std::function<std::unique_ptr<SessionAdb>()> makeAdb;
        // Opens a run's conversations; empty: the real ones, with the
        // server and stream options of the preferences at each start.
        std::shared_ptr<StoreConnector> connector;
        // Usage events; empty: the analytics helper.
        std::function<void(const QString&)> recordEvent;
        bool connectAtStart = true;       // start logging at the end of start-up
        int reconnectIntervalMs = 5000;   // the retry timer while waiting for a lost device
        bool installHooks = true;         // diagnostics outputs, crash reports, usage counters
    };

    // What the controller built. Members are destroyed bottom up: every part
    // goes before the window it writes, the window before the session and
    // the store.
    struct Parts {
        std::unique_ptr<LogDatasource> store;
        std::unique_ptr<LogSession> session;
        std::unique_ptr<MainWindow> window;
        LogTableModel* model = nullptr;          // owned by the window
        HighlightDelegate* highlight = nullptr;  // owned by the log table
        std::unique_ptr<ColumnLayoutSaver> columns;
        std::unique_ptr<StatusLine> status;
        std::unique_ptr<FilterInForce> filter;
        std::unique_ptr<TableFollower> follower;
        std::unique_ptr<SearchController> search;
        std::unique_ptr<FilterListController> filterList;
        std::unique_ptr<FileController> files;
        std::unique_ptr<ConnectionController> connection;
        std::unique_ptr<MessageActions> messages;
        std::unique_ptr<WirelessActions> wireless;  // Device menu: Connect, Disconnect, Pair
        CrashesPanel* crashes = nullptr;                  // owned by the window
        QPointer<PreferencesWindow> preferences;          // made on first use, owned by the window
        QPointer<RemoteScreenMonitorSheet> remoteScreen;  // likewise
    };

    explicit VellumfoxAppDelegate(Options options);
    ~VellumfoxAppDelegate() override;

    // Start-up in its fixed order; shows the window. Call once.
    void applicationDidFinishLaunching();

    const Parts& parts() const { return parts_; }

private:
    void buildParts();
    void connectParts();
    void connectMenus();
    // Styles from the preferences into the table, and the saved filters.
    void readSettings();
    void updateStatus();
    void showPreferences();
    // Shows the remote screen of the device being logged, or closes it.
    void toggleRemoteScreen();

    // LogDatasourceDelegate.
    void onLogUpdated(const LogUpdate& update) override;
    void onFilterCorrupt(const QString& reason) override;

    // CrashesHost.
    void showOnly(PredicatePtr filter, const QString& description) override;
    PredicatePtr filterInForce() const override;
    bool filterShown() const override;
    bool selectRowAtTop(RowIdx idx) override;

    Options options_;
    Parts parts_;
};

}  // namespace vf::ui
