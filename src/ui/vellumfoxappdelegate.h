#pragma once
// VellumfoxAppDelegate: the controller of the main window. It owns the log
// store, the connection backend (device list and logger), the window and its
// models, decides which device is streamed, runs the connect / pause /
// reconnect cycle, keeps the title and status line, and wires the parts it
// is composed of: TableFollower (follow mode, selection), SearchController,
// FilterListController, FileController, MessageActions. Their public names
// are kept here as forwarders for the menus. Its own methods are spread over
// appdelegate_*.cpp by concern.
//
// Threads: everything runs on the main thread. The entry points that the ADB
// side calls from the I/O thread (adbNotRunningError, adbDeviceNotFound,
// onDeviceListFailed) hop to the main thread before touching any state.

#include <QMap>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

#include "core/adb/delegates.h"
#include "core/filter/predicate.h"
#include "core/log/logdatasource.h"
#include "ui/filecontroller.h"
#include "ui/filterlistcontroller.h"
#include "ui/levelstyles.h"
#include "ui/selectabletableview.h"

class QMessageBox;
class QStringListModel;
class QTimer;
class QItemSelection;

namespace vf::ui {

class ConnectionBackend;
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
                                   public DeviceListDelegate,
                                   public TableViewMenuDelegate,
                                   public FilterListHost,
                                   public FileHost {
    Q_OBJECT
public:
    struct Options {
        // Builds the ADB side; empty: the real conversations.
        std::function<std::unique_ptr<ConnectionBackend>(LogDatasource&, DeviceListDelegate&)> makeBackend;
        // Opens the store's conversations; empty: the real ones, with the
        // server and stream options of the preferences at each start.
        std::shared_ptr<StoreConnector> connector;
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
    bool autoReconnect() const { return autoReconnect_; }
    bool isDatasourceDevice() const { return isDatasourceDevice_; }
    std::optional<QString> lastDeviceConnectedId() const { return lastDeviceConnectedId_; }
    std::optional<uint64_t> selectedLogMessage() const;
    QTimer* reconnectTimer() const { return reconnectTimer_; }
    DevicePickerSheet* devicePicker() const;
    QMessageBox* currentAlert() const;
    PreferencesWindow* preferencesWindow() const;
    const QStringList& sortedFilterKeys() const;
    FilterListController* filterList() const { return filterList_; }
    MessageActions* messageActions() const { return messageActions_; }
    const PredicatePtr& predicate() const { return predicate_; }

    // LogDatasourceDelegate.
    void onLoggerStarted() override;
    void onLoggerStopped() override;
    void onLogUpdated(const LogUpdate& update) override;
    void onMultipleDevicesConnected() override;
    void onDeviceNotFound() override;
    void onFilterCorrupt(const QString& reason) override;
    void adbNotRunningError(const Error& error) override;  // any thread
    void adbDeviceNotFound(const Error& error) override;   // any thread

    // DeviceListDelegate.
    void onDevicesConnected(const DeviceList& devices) override;
    void onDeviceModel(const QString& deviceId, const QString& model) override;
    void onDeviceListFailed(int code) override;  // any thread

    // TableViewMenuDelegate.
    QMenu* menuForTableView(SelectableTableView* view, int column, int row) override;
    bool onKeyEventForTableView(SelectableTableView* view, QKeyEvent* event) override;
    void onDoubleClick(SelectableTableView* view, int row) override;

    // Connection (appdelegate_connection.cpp).
    void onConnectButtonPressed();
    void startLogging();
    void stopLogging();
    void onNoDeviceSelected();
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
    // Connection.
    void chooseDevice();
    void showDevicePicker();
    void onDevicePickerClosed(int code);
    void resetConnectButton();
    void setOfflineTitle();
    void startReconnectTimer();
    void stopReconnectTimer();
    void adbDeviceNotAuthorized(const QString& deviceId);
    void showAdbNotRunningError();
    void stopForAlert();
    void showAlert(const QString& text);
    // Filters.
    void loadFilters();

    Options options_;
    std::unique_ptr<LogDatasource> logDatasource_;
    std::unique_ptr<ConnectionBackend> backend_;
    std::unique_ptr<MainWindow> window_;
    LogTableModel* tableModel_ = nullptr;
    HighlightDelegate* highlight_ = nullptr;
    CrashesPanel* crashes_ = nullptr;  // owned by the window
    FilterListController* filterList_ = nullptr;
    MessageActions* messageActions_ = nullptr;
    std::unique_ptr<TableFollower> follower_;
    std::unique_ptr<SearchController> search_;
    std::unique_ptr<FileController> files_;
    QPointer<DevicePickerSheet> sheetDevicePicker_;
    QPointer<QMessageBox> currentAlert_;
    QPointer<PreferencesWindow> preferences_;
    QPointer<RemoteScreenMonitorSheet> remoteScreen_;
    QTimer* reconnectTimer_ = nullptr;
    QTimer* layoutSaveTimer_ = nullptr;

    LevelStyles styles_;
    QMap<QString, DeviceRecord> deviceList_;
    bool autoReconnect_ = false;
    bool isDatasourceDevice_ = true;
    std::optional<QString> lastDeviceConnectedId_;
    std::optional<QString> lastDeviceConnectedTitle_;
    PredicatePtr predicate_;
};

}  // namespace vf::ui
