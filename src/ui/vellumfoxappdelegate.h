#pragma once
// VellumfoxAppDelegate: the viewer's controller. It builds the main window
// and its shared parts, makes a tab for every source (SourceTab: a device or
// a file, each with its own store, session, table and filter), points the
// shared parts at the current tab, and connects them; it holds no log state
// of its own. Each part keeps its own state and is reached directly (the
// menus, main(), the tests).
//
//   window, status         the main window's widgets and its status bar
//   filterList             the saved filters and the quick filter, for the current tab
//   tabs                   one SourceTab per source, in the window's tabs
//
// The window remembers its device tabs by serial (preference
// "deviceTabs") and opens them again at start-up.
//
// Threads: everything runs on the main thread; the stores and the sessions
// deliver their reports there.

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <vector>

#include "core/session/logsession.h"
#include "ui/tabs/sourcetab.h"

namespace vf::ui {

class FilterListController;
class MainWindow;
class PreferencesWindow;
class RemoteScreenMonitorSheet;
class SelectableTableView;
class StatusLine;
class WirelessActions;

inline constexpr char kDeviceTabsKey[] = "deviceTabs";

class VellumfoxAppDelegate final : public QObject {
    Q_OBJECT
public:
    struct Options {
        // The device listing and server start (one per tab); empty: the real
        // ones, with the server of the preferences at each listing.
        std::function<std::unique_ptr<SessionAdb>()> makeAdb;
        // Opens a run's conversations; empty: the real ones, with the
        // server and stream options of the preferences at each start.
        std::shared_ptr<StoreConnector> connector;
        // Usage events; empty: the analytics helper.
        std::function<void(const QString&)> recordEvent;
        // Where devices' clocks are read (for the merged timeline); empty:
        // the server of the preferences with the real ADB side, else none.
        std::function<AdbEndpoint()> clockEndpoint;
        bool connectAtStart = true;       // start logging at the end of start-up
        int reconnectIntervalMs = 5000;   // the retry timer while waiting for a lost device
        bool installHooks = true;         // diagnostics outputs, crash reports, usage counters
    };

    // The window-wide parts. Members are destroyed bottom up, after the tabs.
    struct Parts {
        std::unique_ptr<MainWindow> window;
        std::unique_ptr<StatusLine> status;
        std::unique_ptr<FilterListController> filterList;
        std::unique_ptr<WirelessActions> wireless;  // Device menu: Connect, Disconnect, Pair
        QPointer<PreferencesWindow> preferences;          // made on first use, owned by the window
        QPointer<RemoteScreenMonitorSheet> remoteScreen;  // likewise
    };

    explicit VellumfoxAppDelegate(Options options);
    ~VellumfoxAppDelegate() override;

    // Start-up in its fixed order; shows the window. Call once.
    void applicationDidFinishLaunching();

    const Parts& parts() const { return parts_; }
    // The current tab and its parts.
    SourceTab& currentTab() const;
    const SourceTab::Parts& tab() const { return currentTab().parts(); }
    const std::vector<std::unique_ptr<SourceTab>>& tabs() const { return tabs_; }

    // A new tab streaming `serial`, made current and started.
    SourceTab& addDeviceTab(const QString& serial);
    // A new tab showing the log file `path` (made current); a filters file
    // is imported instead, without a tab.
    void openInNewTab(const QString& path);
    // Stops the tab's session and removes it; the last tab stays.
    void closeTab(SourceTab& tab);
    // A new tab merging the rows of every other tab on one timeline, made current.
    SourceTab& addMergedTab();
    // "New Tab": the device picker with the attached devices and a file entry.
    void newTab();

private:
    SourceTab& makeTab(const QString& serial, bool tracksDevices);
    void connectMenus();
    void onCurrentTabChanged();
    // Styles from the preferences into every table, and the saved filters.
    void readSettings();
    void applyStyles(SourceTab& tab);
    void onTabChanged(SourceTab* tab);
    void updateStatus();
    void rememberDeviceTabs();
    void showPreferences();
    // Shows the remote screen of the device being logged, or closes it.
    void toggleRemoteScreen();
    SourceTab* tabOf(const QWidget* table) const;

    Options options_;
    Parts parts_;
    std::vector<std::unique_ptr<SourceTab>> tabs_;
    SourceTab* shown_ = nullptr;  // the tab the shared parts point at
    QStringList rememberedTabs_;
};

}  // namespace vf::ui
