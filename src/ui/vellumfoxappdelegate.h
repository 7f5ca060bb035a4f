#pragma once
// VellumfoxAppDelegate: the controller of the main window, the spine that
// composes the rest. It owns the log store, the logging session (device
// choice, runs, reconnecting) and the window with its models, and wires the
// parts that each keep their own state: ConnectionController (title, Run
// button, picker, alerts), TableFollower (follow mode, selection),
// SearchController, FilterListController, FileController, MessageActions and
// the crash panel. Their public names are kept here as forwarders for the
// menus and tests.
//
// Threads: everything runs on the main thread; the store and the session
// deliver their reports there.

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

#include "core/adb/delegates.h"
#include "core/filter/predicate.h"
#include "core/log/logdatasource.h"
#include "core/session/logsession.h"
#include "ui/filecontroller.h"
#include "ui/filterlistcontroller.h"
#include "ui/levelstyles.h"
#include "ui/selectabletableview.h"

class QMessageBox;
class QStringListModel;
class QTimer;
class QItemSelection;

namespace vf::ui {

class ConnectionController;
class CrashesPanel;
class DevicePickerSheet;
class HighlightDelegate;
class LogTableModel;
class MainWindow;
class MessageActions;
class PreferencesWindow;
class RemoteScreenMonitorSheet;
class SearchController;
class TableFollower;

class VellumfoxAppDelegate final : public QObject,
                                   public LogDatasourceDelegate,
                                   public TableViewMenuDelegate,
                                   public FilterListHost,
                                   public FileHost {
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
        bool connectAtStart = true;       // startLogging at the end of start-up
        int reconnectIntervalMs = 5000;   // the retry timer while waiting for a lost device
        bool installHooks = true;         // diagnostics outputs, crash reports, usage counters
    };

    explicit VellumfoxAppDelegate(Options options);
    VellumfoxAppDelegate() : VellumfoxAppDelegate(Options{}) {}
    ~VellumfoxAppDelegate() override;

    // Start-up in its fixed order; shows the window. Call once.
    void applicationDidFinishLaunching();

    MainWindow* window() const { return window_.get(); }
    LogDatasource* logDatasource() const { return logDatasource_.get(); }
    LogTableModel* tableModel() const { return tableModel_; }
    HighlightDelegate* highlightDelegate() const { return highlight_; }
    CrashesPanel* crashesPanel() const { return crashes_; }
    const LevelStyles& styles() const { return styles_; }
    const RowList& logData() const;
    bool scrollToBottom() const;
    LogSession* session() const { return session_.get(); }
    ConnectionController* connection() const { return connection_; }
    bool autoReconnect() const;
    bool isDatasourceDevice() const;
    std::optional<QString> lastDeviceConnectedId() const;
    std::optional<uint64_t> selectedLogMessage() const;
    QTimer* reconnectTimer() const;
    DevicePickerSheet* devicePicker() const;
    QMessageBox* currentAlert() const;
    PreferencesWindow* preferencesWindow() const;
    const QStringList& sortedFilterKeys() const;
    FilterListController* filterList() const { return filterList_; }
    MessageActions* messageActions() const { return messageActions_; }
    const PredicatePtr& predicate() const { return predicate_; }

    // LogDatasourceDelegate.
    void onLogUpdated(const LogUpdate& update) override;
    void onFilterCorrupt(const QString& reason) override;

    // TableViewMenuDelegate.
    QMenu* menuForTableView(SelectableTableView* view, int column, int row) override;
    bool onKeyEventForTableView(SelectableTableView* view, QKeyEvent* event) override;
    void onDoubleClick(SelectableTableView* view, int row) override;

    // Connection (ConnectionController).
    void onConnectButtonPressed();
    void startLogging();
    void stopLogging();
    static QString getDeviceTitle(const DeviceRecord& record);

    // Start-up, settings, windows (appdelegate_startup.cpp).
    void readSettings();
    void fontsChanged();
    void showPreferences();
    void newWindow();
    // Shows or closes the remote screen of the store's device (appdelegate_remotescreen.cpp).
    void remoteScreenMonitor();
    RemoteScreenMonitorSheet* remoteScreen() const;

    // Table (appdelegate_table.cpp; follow mode, selection and fonts are TableFollower).
    void clearLog();
    void changeScrollToBottom(bool follow);
    void toggleAutoFollow();
    void changeFontSize(bool bigger);
    void copy();
    void updateStatus();

    // Search (appdelegate_search.cpp forwards to SearchController).
    void search(const QString& text);
    void find();
    void findNext();
    void findPrevious();
    bool isLiveSearching() const;

    // Filters (appdelegate_filters.cpp; the list itself is FilterListController).
    void quickFilter();
    void applySelectedFilters();
    void importFilters(const QString& path) override;  // also FileHost
    // FilterListHost.
    void setPredicate(PredicatePtr predicate) override;
    void onFilterUpdating() override;
    void onFilterChosen() override { changeScrollToBottom(true); }
    void onImportStarting() override;
    QueryContext queryContext() const override;
    RowList allRows() const override;

    // Files (appdelegate_files.cpp forwards to FileController).
    void openFile(const QString& path);
    void openLogcatFile();
    void setFileContents(RowList rows, const QString& title);
    void saveDocument();
    void saveDocumentAsText();
    // FileHost.
    void onFileOpening() override;
    void onFileContents() override;

Q_SIGNALS:
    // A file finished loading into the store (tests, the command line).
    void fileOpened(const QString& path);

private:
    // Start-up.
    void buildWindow();
    void connectActions();
    void restoreTableLayout();
    void saveTableLayout();
    // Filters.
    void loadFilters();
    void rebindToCrashes();

    Options options_;
    std::unique_ptr<LogDatasource> logDatasource_;
    std::unique_ptr<LogSession> session_;
    std::unique_ptr<MainWindow> window_;
    LogTableModel* tableModel_ = nullptr;
    HighlightDelegate* highlight_ = nullptr;
    CrashesPanel* crashes_ = nullptr;  // owned by the window
    FilterListController* filterList_ = nullptr;
    MessageActions* messageActions_ = nullptr;
    ConnectionController* connection_ = nullptr;
    std::unique_ptr<TableFollower> follower_;
    std::unique_ptr<SearchController> search_;
    std::unique_ptr<FileController> files_;
    QPointer<PreferencesWindow> preferences_;
    QPointer<RemoteScreenMonitorSheet> remoteScreen_;
    QTimer* layoutSaveTimer_ = nullptr;

    LevelStyles styles_;
    PredicatePtr predicate_;
    uint64_t crashRevision_ = 0;  // the crash detector's revision the filter in force was bound to
};

}  // namespace vf::ui
