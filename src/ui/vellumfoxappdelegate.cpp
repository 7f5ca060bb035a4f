#include "ui/vellumfoxappdelegate.h"

#include <QAction>
#include <QApplication>
#include <QCoreApplication>
#include <QLineEdit>
#include <QProcess>
#include <QSignalBlocker>
#include <QStyle>
#include <QTabWidget>

#include "core/log/rowmemory.h"
#include "core/session/sessionpreferences.h"
#include "core/support/analytics.h"
#include "core/support/crashreporter.h"
#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/connection/devicepickersheet.h"
#include "ui/connection/wirelessactions.h"
#include "ui/files/filecontroller.h"
#include "ui/filters/filterinforce.h"
#include "ui/filters/filterlistcontroller.h"
#include "ui/preferences/preferenceswindow.h"
#include "ui/screen/remotescreenmonitorsheet.h"
#include "ui/table/levelstyles.h"
#include "ui/table/logtablemodel.h"
#include "ui/table/searchcontroller.h"
#include "ui/table/tablecolumns.h"
#include "ui/table/tablefollower.h"
#include "ui/tabs/mergedfeed.h"
#include "ui/window/mainwindow.h"
#include "ui/window/placement.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"
#include "ui/window/theme.h"
#include "ui/window/windowstate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

VellumfoxAppDelegate::VellumfoxAppDelegate(Options options) : options_(std::move(options)) {
    // The real server: devices' clocks are read there too.
    if (!options_.makeAdb && !options_.clockEndpoint) options_.clockEndpoint = endpointFromPreferences;
    if (!options_.makeAdb) options_.makeAdb = [] { return makeAdbSessionAdb(endpointFromPreferences); };
    if (!options_.connector) options_.connector = makeAdbConnector(endpointFromPreferences, logcatOptionsFromPreferences);
    if (!options_.recordEvent) options_.recordEvent = [](const QString& name) { AnalyticsHelper::recordEvent(name); };
}

VellumfoxAppDelegate::~VellumfoxAppDelegate() {
    shown_ = nullptr;
    // Newest first; each tab stops its session and waits for its threads.
    while (!tabs_.empty()) {
        std::unique_ptr<SourceTab> gone = std::move(tabs_.back());
        tabs_.pop_back();
    }
}

void VellumfoxAppDelegate::applicationDidFinishLaunching() {
    if (options_.installHooks) {
        CrashReporter::install(Logger::logDirectory());
        Logger::getInstance().registerLogger();
        AnalyticsHelper::registerApp();
        AnalyticsHelper::recordStart();
    }
    VF_LOG("{}", QCoreApplication::arguments().join(u' '));

    Parts& p = parts_;
    p.window = std::make_unique<MainWindow>();
    p.status = std::make_unique<StatusLine>(*p.window);
    p.filterList = std::make_unique<FilterListController>(*p.window);
    p.filterList->setRowSource([this] { return tab().store->getDataAll(); });
    registerDefaults();

    const QStringList remembered = Preferences::value(QLatin1String(kDeviceTabsKey)).toStringList();
    SourceTab& first = makeTab(remembered.value(0), true);
    shown_ = &first;
    p.filterList->showFor(*first.parts().filter, first.choice);
    // The Device menu's wireless entries act on the current tab's session.
    p.wireless = std::make_unique<WirelessActions>(
        *p.window, WirelessActions::Hooks{endpointFromPreferences, [this] { return tab().session->devices(); },
                                          [this](const QString& text) { tab().connection->showAlert(text); },
                                          [this](const QString& text) { parts_.status->showNote(text, 8000); }});
    readSettings();
    p.filterList->showAllMessages();
    connectMenus();

    if (options_.connectAtStart) first.parts().connection->startLogging();
    for (qsizetype i = 1; i < remembered.size(); ++i) addDeviceTab(remembered.at(i));
    p.window->showSource(first.parts().table);
    updateStatus();
    MainWindow* window = p.window.get();
    window->show();
    window->raise();
    window->activateWindow();
    if (options_.installHooks) {
        const QString report = CrashReporter::pendingReport();
        if (!report.isEmpty()) {
            p.status->showNote(u"The last run ended in a crash; its report is in "_s + report, 15000);
            CrashReporter::acknowledge();
        }
    }
}

SourceTab& VellumfoxAppDelegate::currentTab() const {
    SourceTab* current = tabOf(parts_.window->logTable());
    return current != nullptr ? *current : *tabs_.front();
}

SourceTab* VellumfoxAppDelegate::tabOf(const QWidget* table) const {
    for (const std::unique_ptr<SourceTab>& tab : tabs_)
        if (tab->parts().table == table) return tab.get();
    return nullptr;
}

SourceTab& VellumfoxAppDelegate::makeTab(const QString& serial, bool tracksDevices) {
    MainWindow& window = *parts_.window;
    SelectableTableView* table = tabs_.empty() ? window.logTable() : window.addLogTable(serial);
    TabServices services{window, *parts_.status, *parts_.filterList};
    services.makeAdb = options_.makeAdb;
    services.connector = options_.connector;
    services.recordEvent = options_.recordEvent;
    services.reconnectIntervalMs = options_.reconnectIntervalMs;
    services.clockEndpoint = options_.clockEndpoint;
    services.changed = [this, table] { onTabChanged(tabOf(table)); };
    // The tab's parts bind to the window's current table as they are made:
    // it is current for that while, without telling anyone.
    QTabWidget* tabs = window.sourceTabs();
    const int before = tabs->currentIndex();
    {
        const QSignalBlocker quiet(tabs);
        window.showSource(table);
        tabs_.push_back(std::make_unique<SourceTab>(services, table, serial, tracksDevices));
        tabs->setCurrentIndex(before);
    }
    SourceTab& tab = *tabs_.back();
    applyStyles(tab);
    onTabChanged(&tab);
    return tab;
}

SourceTab& VellumfoxAppDelegate::addDeviceTab(const QString& serial) {
    SourceTab& tab = makeTab(serial, true);
    parts_.window->showSource(tab.parts().table);
    if (options_.connectAtStart || !serial.isEmpty()) tab.parts().connection->startLogging();
    rememberDeviceTabs();
    return tab;
}

void VellumfoxAppDelegate::openInNewTab(const QString& path) {
    if (path.toLower().endsWith(u"filters"_s)) {
        parts_.filterList->importFilters(path);
        return;
    }
    // A tab with nothing in it (no device yet, no rows) takes the file itself.
    SourceTab* target = &currentTab();
    const SourceTab::Parts& current = target->parts();
    const bool empty = current.store->logEventCount() == 0 && !current.files->isOpening() &&
                       !current.session->isLogging() && !current.session->isWaiting() && !target->isMerged();
    if (!empty) {
        target = &makeTab(QString(), false);
        parts_.window->showSource(target->parts().table);
    }
    target->parts().files->openFile(path);
    rememberDeviceTabs();
}

SourceTab& VellumfoxAppDelegate::addMergedTab() {
    SourceTab& tab = makeTab(QString(), false);
    new MergedFeed(tab, [this] {
        std::vector<const SourceTab*> sources;
        for (const std::unique_ptr<SourceTab>& each : tabs_)
            if (!each->isMerged()) sources.push_back(each.get());
        return sources;
    });
    parts_.window->showSource(tab.parts().table);
    return tab;
}

void VellumfoxAppDelegate::closeTab(SourceTab& tab) {
    if (tabs_.size() < 2) return;
    const auto it = std::find_if(tabs_.begin(), tabs_.end(), [&tab](const auto& each) { return each.get() == &tab; });
    if (it == tabs_.end()) return;
    if (&tab == shown_) {
        const auto next = it + 1 != tabs_.end() ? it + 1 : it - 1;
        parts_.window->showSource((*next)->parts().table);
    }
    VF_LOG("closing tab: {}", tab.tabText());
    std::unique_ptr<SourceTab> gone = std::move(*it);
    tabs_.erase(it);
    gone.reset();  // stops its session and waits for its threads
    rememberDeviceTabs();
    updateStatus();
}

void VellumfoxAppDelegate::newTab() {
    QList<DeviceRecord> devices;
    for (const std::unique_ptr<SourceTab>& tab : tabs_)
        if (devices.isEmpty()) devices = tab->parts().session->devices();
    QStringList titles;
    for (const DeviceRecord& record : devices) titles << deviceTitle(record);
    titles << u"Log File…"_s;
    auto* picker = new DevicePickerSheet(parts_.window.get());
    picker->setObjectName(u"newTabPicker"_s);
    picker->setWindowTitle(u"New Tab"_s);
    picker->setAttribute(Qt::WA_DeleteOnClose);
    picker->setDeviceTitles(titles);
    connect(picker, &QDialog::finished, this, [this, picker, devices](int code) {
        const int index = picker->selectedIndex();
        if (code == 0 || index < 0) return;
        if (index < devices.size()) {
            addDeviceTab(devices.at(index).id);
            return;
        }
        FileController::askForLog(parts_.window.get(), [self = QPointer(this)](const QString& path) {
            if (self != nullptr) self->openInNewTab(path);
        });
    });
    picker->open();
}

void VellumfoxAppDelegate::onCurrentTabChanged() {
    SourceTab* next = tabOf(parts_.window->logTable());
    if (next == nullptr || next == shown_) return;
    if (shown_ != nullptr) shown_->choice = parts_.filterList->choice();
    shown_ = next;
    const SourceTab::Parts& p = next->parts();
    parts_.filterList->showFor(*p.filter, next->choice);
    parts_.window->searchField()->setText(p.search->searchText());
    p.filter->show();
    updateStatus();
}

// What one part does that another follows, and the menus: every action
// acts on the current tab.
void VellumfoxAppDelegate::connectMenus() {
    MainWindow* w = parts_.window.get();
    FilterListController* filterList = parts_.filterList.get();
    const auto on = [this](auto act) { return [this, act] { act(tab()); }; };

    connect(filterList, &FilterListController::filterChanging, this,
            on([](const SourceTab::Parts& t) { t.follower->onFilterUpdating(); }));
    connect(filterList, &FilterListController::filterChosen, this,
            on([](const SourceTab::Parts& t) { t.follower->changeScrollToBottom(true); }));
    // Only the stream stops: the reconnect brings it back.
    connect(filterList, &FilterListController::importStarting, this, on([](const SourceTab::Parts& t) {
                if (t.session->isLogging()) t.connection->interruptRun();
            }));

    connect(w, &MainWindow::currentSourceChanged, this, &VellumfoxAppDelegate::onCurrentTabChanged);
    connect(w, &MainWindow::closeRequested, this, [this](SelectableTableView* table) {
        if (SourceTab* tab = tabOf(table)) closeTab(*tab);
    });
    connect(w->newTabAction, &QAction::triggered, this, &VellumfoxAppDelegate::newTab);
    connect(w->mergedTabAction, &QAction::triggered, this, [this] { addMergedTab(); });
    connect(w->connectAction, &QAction::triggered, this,
            on([](const SourceTab::Parts& t) { t.connection->onConnectButtonPressed(); }));
    connect(w->clearAction, &QAction::triggered, this, on([](const SourceTab::Parts& t) { t.store->clearLog(); }));
    connect(w->followAction, &QAction::triggered, this,
            on([](const SourceTab::Parts& t) { t.follower->toggleAutoFollow(); }));
    connect(w->copyAction, &QAction::triggered, this,
            on([](const SourceTab::Parts& t) { t.follower->copySelection(); }));
    connect(w->openAction, &QAction::triggered, this, [this] {
        FileController::askForLog(parts_.window.get(), [self = QPointer(this)](const QString& path) {
            if (self != nullptr) self->openInNewTab(path);
        });
    });
    connect(w->saveAction, &QAction::triggered, this, on([](const SourceTab::Parts& t) { t.files->saveDocument(); }));
    connect(w->saveTextAction, &QAction::triggered, this,
            on([](const SourceTab::Parts& t) { t.files->saveDocumentAsText(); }));
    connect(w, &MainWindow::fileDropped, this, &VellumfoxAppDelegate::openInNewTab);
    connect(w->findAction, &QAction::triggered, this, on([](const SourceTab::Parts& t) { t.search->find(); }));
    connect(w->findNextAction, &QAction::triggered, this, on([](const SourceTab::Parts& t) { t.search->findNext(); }));
    connect(w->findPreviousAction, &QAction::triggered, this,
            on([](const SourceTab::Parts& t) { t.search->findPrevious(); }));
    connect(w->searchField(), &QLineEdit::textEdited, this, [this](const QString& text) { tab().search->search(text); });
    connect(w->searchField(), &QLineEdit::returnPressed, this,
            on([](const SourceTab::Parts& t) { t.search->findNext(); }));
    connect(w->biggerFontAction, &QAction::triggered, this, [this] {
        stepFontSize(true);
        readSettings();
    });
    connect(w->smallerFontAction, &QAction::triggered, this, [this] {
        stepFontSize(false);
        readSettings();
    });
    connect(w->preferencesAction, &QAction::triggered, this, &VellumfoxAppDelegate::showPreferences);
    connect(w->remoteScreenAction, &QAction::triggered, this, &VellumfoxAppDelegate::toggleRemoteScreen);
    w->wrapAction->setChecked(Preferences::boolean(QLatin1String(kWrapLongMessagesKey)));
    connect(w->wrapAction, &QAction::toggled, this, [this](bool on) {
        Preferences::setValue(QLatin1String(kWrapLongMessagesKey), on);
        for (const std::unique_ptr<SourceTab>& each : tabs_) setWrapLongMessages(each->parts().table, on);
    });
    for (const std::unique_ptr<SourceTab>& each : tabs_) setWrapLongMessages(each->parts().table, w->wrapAction->isChecked());
    connect(w->newWindowAction, &QAction::triggered, this,
            [] { QProcess::startDetached(QCoreApplication::applicationFilePath(), {}); });
    // Quit ends the program, whichever of its windows are open.
    connect(w->quitAction, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    // The desktop switching between light and dark, or the preferences, change the styles.
    onPaletteChange(w, [this] { readSettings(); });
}

void VellumfoxAppDelegate::readSettings() {
    applyTheme();
    for (const std::unique_ptr<SourceTab>& each : tabs_) applyStyles(*each);
    parts_.filterList->loadFilters();
}

void VellumfoxAppDelegate::applyStyles(SourceTab& tab) {
    const SourceTab::Parts& p = tab.parts();
    p.model->setStyles(readLevelStyles(QApplication::font(), isDarkPalette()));
    followStyles(p.table, p.model->styles());
    if (parts_.window->wrapAction->isChecked()) setWrapLongMessages(p.table, true);
}

// A tab's rows, title or state changed: its text, the status line (the
// counts are the current tab's, the totals every tab's).
void VellumfoxAppDelegate::onTabChanged(SourceTab* tab) {
    if (tab == nullptr) return;
    const QString text = tab->tabText();
    tab->nameRows();
    tab->useColumnLayout();
    parts_.window->setSourceText(tab->parts().table, text, tab->toolTip());
    // A device in a state other than streaming or waiting (offline,
    // unauthorized ...) is marked.
    QTabWidget* tabs = parts_.window->sourceTabs();
    const int index = tabs->indexOf(tab->parts().table);
    const bool marked = text.endsWith(u']') && !text.endsWith(u"[PAUSED]"_s);
    tabs->setTabIcon(index, marked ? tabs->style()->standardIcon(QStyle::SP_MessageBoxWarning) : QIcon());
    updateStatus();
    rememberDeviceTabs();
}

void VellumfoxAppDelegate::updateStatus() {
    if (tabs_.empty()) return;
    const SourceTab::Parts& p = tab();
    TableState state;
    state.total = p.store->logEventCount();
    state.filtered = p.filter->predicate() != nullptr;
    state.fromDevice = p.connection->isDatasourceDevice();
    state.logging = p.session->isLogging();
    state.seeking = p.session->isSeeking();
    state.waiting = p.session->isWaiting();
    if (state.fromDevice && p.session->isAdbDown()) state.adbDown = endpointFromPreferences();
    parts_.status->showCounts(p.model->rowCount(), state);
    qsizetype rows = 0;
    size_t bytes = 0;
    if (tabs_.size() > 1) {
        for (const std::unique_ptr<SourceTab>& each : tabs_) {
            if (each->isMerged()) continue;  // its rows are the other tabs' own
            const RowList all = each->parts().store->getDataAll();
            rows += all.size();
            bytes += estimateRowBytes(all);
        }
    }
    parts_.status->showTotals(totalsText(qsizetype(tabs_.size()), rows, bytes));
}

// The device tabs by serial, in their order, for the next start.
void VellumfoxAppDelegate::rememberDeviceTabs() {
    if (shown_ == nullptr) return;  // still starting: nothing to remember yet
    QStringList serials;
    QTabWidget* tabs = parts_.window->sourceTabs();
    for (int i = 0; i < tabs->count(); ++i) {
        const SourceTab* tab = tabOf(tabs->widget(i));
        if (tab == nullptr) continue;
        const QString serial = tab->deviceSerial();
        if (!serial.isEmpty() && !serials.contains(serial)) serials << serial;
    }
    if (serials == rememberedTabs_) return;
    rememberedTabs_ = serials;
    Preferences::setValue(QLatin1String(kDeviceTabsKey), serials);
}

void VellumfoxAppDelegate::showPreferences() {
    if (parts_.preferences == nullptr) {
        parts_.preferences = new PreferencesWindow(parts_.window.get());
        connect(parts_.preferences, &PreferencesWindow::fontChanged, this, &VellumfoxAppDelegate::readSettings);
    }
    parts_.preferences->showWindow();
}

void VellumfoxAppDelegate::toggleRemoteScreen() {
    if (parts_.remoteScreen == nullptr) {
        // A child of the main window (still a window of its own), gone with
        // it; the server of the preferences, as the store's.
        parts_.remoteScreen = new RemoteScreenMonitorSheet(endpointFromPreferences(), parts_.window.get());
    }
    RemoteScreenMonitorSheet* screen = parts_.remoteScreen;
    if (screen->isVisible()) {
        VF_LOG("closing mirror window: {}", screen->deviceId());
        screen->close();
        return;
    }
    const QString deviceId = tab().session->deviceId();
    VF_LOG("opening mirror window: {}", deviceId);
    screen->setDeviceId(deviceId);
    placeOnScreenOf(screen, parts_.window.get());
    screen->showWindow();
}

}  // namespace vf::ui
