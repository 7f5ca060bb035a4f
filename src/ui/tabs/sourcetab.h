#pragma once
// SourceTab: one source of the main window, a device or a file, and the parts
// that show it in its tab: its own store and logging session, its log table
// with the table's model, follow mode and search, its filter in force (and
// the filter list's choice while another tab is current), the crashes found
// in its rows, its title and its Run button. What the window shares (the
// filter list, the status line, the menus) belongs to the controller, which
// points it at the current tab.
//
// Main thread only; the store and the session deliver their reports there.
// The window, the status line and the filter list outlive every tab.

#include <QObject>
#include <functional>
#include <memory>

#include "core/log/logdatasource.h"
#include "core/session/deviceclock.h"
#include "core/session/logsession.h"
#include "ui/crashes/crashespanel.h"
#include "ui/filters/filterlistcontroller.h"

namespace vf::ui {

class ColumnLayoutSaver;
class ConnectionController;
class FileController;
class FilterInForce;
class FilterPassView;
class HighlightDelegate;
class LogTableModel;
class MainWindow;
class MessageActions;
class SearchController;
class SelectableTableView;
class StatusLine;
class TableFollower;

// What every tab is made with: the window's shared parts and how to reach
// the ADB server.
struct TabServices {
    MainWindow& window;
    StatusLine& status;
    FilterListController& filterList;
    std::function<std::unique_ptr<SessionAdb>()> makeAdb;
    std::shared_ptr<StoreConnector> connector;
    std::function<void(const QString&)> recordEvent;
    int reconnectIntervalMs = 5000;
    // The tab's rows, title or state changed (the status line, the tab's text).
    std::function<void()> changed;
    // Where a device's clock is read when its run starts; empty: not read.
    std::function<AdbEndpoint()> clockEndpoint;
};

class SourceTab final : public QObject, private LogDatasourceDelegate, private CrashesHost {
    Q_OBJECT
public:
    // Members are destroyed bottom up by the destructor: every part before
    // the table it shows, the session before the store.
    struct Parts {
        std::unique_ptr<LogDatasource> store;
        std::unique_ptr<LogSession> session;
        SelectableTableView* table = nullptr;    // a page of the window's tabs, deleted with the tab
        LogTableModel* model = nullptr;          // owned by the table
        HighlightDelegate* highlight = nullptr;  // owned by the table
        std::unique_ptr<ColumnLayoutSaver> columns;
        std::unique_ptr<FilterInForce> filter;
        std::unique_ptr<FilterPassView> filterPass;
        std::unique_ptr<TableFollower> follower;
        std::unique_ptr<SearchController> search;
        std::unique_ptr<FileController> files;
        std::unique_ptr<ConnectionController> connection;
        std::unique_ptr<MessageActions> messages;
        CrashesPanel* crashes = nullptr;  // a page of the side tabs, deleted with the tab
    };

    // Builds the parts around `table`, which must be the window's current
    // log table while they are made. `serial`: the device this tab streams
    // (empty: the device rule chooses); `tracksDevices`: the session
    // follows devices as they come and go (a device tab).
    SourceTab(const TabServices& services, SelectableTableView* table, const QString& serial, bool tracksDevices);
    ~SourceTab() override;

    const Parts& parts() const { return parts_; }
    // The filter list's choice while another tab is current.
    FilterListController::Choice choice;

    // The tab's text: the device's title (with its state) or the file's name.
    QString tabText() const;
    // The file's path and, for a bugreport, its device and build; else the text.
    QString toolTip() const;
    bool showsDevice() const;
    // The device this tab streams or waits for; empty for a file.
    QString deviceSerial() const;
    // How far its device's clock runs ahead of the host's, as read when its
    // last run started; 0 for a file or a clock not read.
    int64_t clockOffsetMs() const { return clockOffsetMs_; }
    // Names its rows' source after the tab (the `source` key), when that changed.
    void nameRows();
    // Its table takes the column layout of its kind (a device, a plain file,
    // a bugreport), once that is known, and shows the columns its rows have
    // values for.
    void useColumnLayout();
    // The tab shows the merged timeline of the other tabs (see MergedFeed),
    // with their Source column.
    bool isMerged() const { return merged_; }
    void setMerged();

Q_SIGNALS:
    // A log file opened in this tab finished loading.
    void fileOpened(const QString& path);

private:
    void buildParts(const QString& serial, bool tracksDevices);
    bool isCurrent() const;

    // LogDatasourceDelegate.
    void onLogUpdated(const LogUpdate& update) override;
    void onFilterCorrupt(const QString& reason) override;
    void onFilterProgress(const FilterProgress& progress) override;

    // CrashesHost.
    void showOnly(PredicatePtr filter, const QString& description) override;
    PredicatePtr filterInForce() const override;
    bool filterShown() const override;
    bool selectRowAtTop(RowIdx idx, std::string_view source) override;
    bool mixesSources() const override { return merged_; }

    TabServices services_;
    Parts parts_;
    QString filePath_;  // the file shown, for a file tab
    QString reportFacts_;  // a bugreport's device and build
    DeviceClockProbe clock_;
    int64_t clockOffsetMs_ = 0;
    bool merged_ = false;
    bool report_ = false;  // the file shown is a bugreport
    QString rowsNamed_;  // what its rows' source is named
};

}  // namespace vf::ui
