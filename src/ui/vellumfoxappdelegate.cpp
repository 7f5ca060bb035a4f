#include "ui/vellumfoxappdelegate.h"

#include <QAction>
#include <QApplication>
#include <QCoreApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPalette>
#include <QProcess>
#include <QThreadPool>

#include "core/session/sessionpreferences.h"
#include "core/support/preferences.h"
#include "core/support/analytics.h"
#include "core/log/querycontext.h"
#include "core/support/crashreporter.h"
#include "core/support/logger.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/connection/wirelessactions.h"
#include "ui/files/filecontroller.h"
#include "ui/filters/filterinforce.h"
#include "ui/filters/filterlistcontroller.h"
#include "ui/message/messageactions.h"
#include "ui/preferences/preferenceswindow.h"
#include "ui/screen/remotescreenmonitorsheet.h"
#include "ui/table/highlightdelegate.h"
#include "ui/table/levelstyles.h"
#include "ui/table/logtablemodel.h"
#include "ui/table/searchcontroller.h"
#include "ui/table/tablecolumns.h"
#include "ui/table/tablefollower.h"
#include "ui/window/mainwindow.h"
#include "ui/window/placement.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"
#include "ui/window/theme.h"
#include "ui/window/windowstate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

VellumfoxAppDelegate::VellumfoxAppDelegate(Options options) : options_(std::move(options)) {}

VellumfoxAppDelegate::~VellumfoxAppDelegate() {
    if (parts_.store) parts_.store->setDelegate(nullptr);
    // The session's conversations report to the connection: drop them first.
    if (parts_.session) parts_.session->setDelegate(nullptr);
    parts_.session.reset();
    // A file still loading holds the store.
    QThreadPool::globalInstance()->waitForDone();
    parts_.store.reset();
}

void VellumfoxAppDelegate::applicationDidFinishLaunching() {
    if (options_.installHooks) {
        CrashReporter::install(Logger::logDirectory());
        Logger::getInstance().registerLogger();
        AnalyticsHelper::registerApp();
        AnalyticsHelper::recordStart();
    }
    VF_LOG("{}", QCoreApplication::arguments().join(u' '));

    buildParts();
    registerDefaults();
    readSettings();
    parts_.follower->changeScrollToBottom(true);
    parts_.filterList->showAllMessages();
    connectParts();
    connectMenus();

    if (options_.connectAtStart) parts_.connection->startLogging();
    updateStatus();
    MainWindow* window = parts_.window.get();
    window->show();
    window->raise();
    window->activateWindow();
    if (options_.installHooks) {
        const QString report = CrashReporter::pendingReport();
        if (!report.isEmpty()) {
            parts_.status->showNote(u"The last run ended in a crash; its report is in "_s + report, 15000);
            CrashReporter::acknowledge();
        }
    }
}

void VellumfoxAppDelegate::buildParts() {
    Parts& p = parts_;
    p.store = std::make_unique<LogDatasource>();
    p.store->setDelegate(this);
    LogSession::Settings settings;
    settings.reconnectIntervalMs = options_.reconnectIntervalMs;
    settings.trackDevices = true;
    p.session = std::make_unique<LogSession>(
        *p.store, options_.makeAdb ? options_.makeAdb() : makeAdbSessionAdb(endpointFromPreferences),
        options_.connector ? options_.connector : makeAdbConnector(endpointFromPreferences, logcatOptionsFromPreferences),
        settings);

    p.window = std::make_unique<MainWindow>();
    SelectableTableView* table = p.window->logTable();
    p.model = new LogTableModel(p.window.get());
    p.highlight = new HighlightDelegate(table);
    table->setModel(p.model);
    table->setItemDelegate(p.highlight);
    p.columns = std::make_unique<ColumnLayoutSaver>(table->horizontalHeader());
    p.status = std::make_unique<StatusLine>(*p.window);
    p.filter = std::make_unique<FilterInForce>(*p.store, *p.status);
    p.follower = std::make_unique<TableFollower>(*p.window, *p.model);
    p.search = std::make_unique<SearchController>(*p.window, *p.model, *p.highlight, *p.status);
    p.filterList = std::make_unique<FilterListController>(*p.window, *p.filter);
    p.files = std::make_unique<FileController>(*p.window, *p.status, *p.store, *p.model);

    ConnectionController::Hooks hooks;
    hooks.stateChanged = [this] { updateStatus(); };
    hooks.recordEvent = options_.recordEvent ? options_.recordEvent
                                             : [](const QString& name) { AnalyticsHelper::recordEvent(name); };
    p.connection = std::make_unique<ConnectionController>(*p.window, *p.status, *p.session, std::move(hooks));
    p.session->setDelegate(p.connection.get());
    p.messages = std::make_unique<MessageActions>(*p.window, *p.model, *p.store, *p.filterList, *p.search);
    p.messages->setDeviceSerialSource([this] { return parts_.session->lastDeviceId().value_or(QString()); });
    p.crashes = new CrashesPanel(*p.window, *p.store, *this);
    p.wireless = std::make_unique<WirelessActions>(
        *p.window, WirelessActions::Hooks{endpointFromPreferences, [this] { return parts_.session->devices(); },
                                          [this](const QString& text) { parts_.connection->showAlert(text); },
                                          [this](const QString& text) { parts_.status->showNote(text, 8000); }});

    // A file: age counts back from its newest row; a device: from now.
    // is:crash takes the rows of the crashes the panel lists.
    p.filter->setQueryContext([this] {
        const Parts& parts = parts_;
        QueryContext context;
        if (!parts.connection->isDatasourceDevice()) context = fileQueryContext(parts.store->getDataAll(), 0);
        context.crashRows = crashRowsOf(parts.crashes->detector());
        return context;
    });
    p.filterList->setRowSource([store = p.store.get()] { return store->getDataAll(); });
}

// What one part does that another follows.
void VellumfoxAppDelegate::connectParts() {
    const Parts& p = parts_;
    TableFollower* follower = p.follower.get();
    FilterListController* filterList = p.filterList.get();
    ConnectionController* connection = p.connection.get();
    LogSession* session = p.session.get();

    connect(filterList, &FilterListController::filterChanging, follower, &TableFollower::onFilterUpdating);
    connect(filterList, &FilterListController::filterChosen, follower, [follower] { follower->changeScrollToBottom(true); });
    // Only the stream stops: the reconnect brings it back.
    connect(filterList, &FilterListController::importStarting, connection, [connection, session] {
        if (session->isLogging()) connection->interruptRun();
    });

    FileController* files = p.files.get();
    connect(files, &FileController::filtersFileOpened, filterList,
            qOverload<const QString&>(&FilterListController::importFilters));
    connect(files, &FileController::logFileOpening, connection, &ConnectionController::showingFile);
    connect(files, &FileController::reportOpened, connection, &ConnectionController::showingReport);
    connect(files, &FileController::showingFile, filterList, &FilterListController::showAllMessages);
    connect(files, &FileController::showingFile, follower, [follower] { follower->changeScrollToBottom(true); });

    // The desktop switching between light and dark, or the preferences, change the styles.
    onPaletteChange(p.window.get(), [this] { readSettings(); });
}

void VellumfoxAppDelegate::connectMenus() {
    const Parts& p = parts_;
    MainWindow* w = p.window.get();
    connect(w->connectAction, &QAction::triggered, p.connection.get(), &ConnectionController::onConnectButtonPressed);
    connect(w->clearAction, &QAction::triggered, p.store.get(), &LogDatasource::clearLog);
    connect(w->followAction, &QAction::triggered, p.follower.get(), &TableFollower::toggleAutoFollow);
    connect(w->copyAction, &QAction::triggered, p.follower.get(), &TableFollower::copySelection);
    connect(w->openAction, &QAction::triggered, p.files.get(), &FileController::openLogcatFile);
    connect(w->saveAction, &QAction::triggered, p.files.get(), &FileController::saveDocument);
    connect(w->saveTextAction, &QAction::triggered, p.files.get(), &FileController::saveDocumentAsText);
    connect(w, &MainWindow::fileDropped, p.files.get(), &FileController::openFile);
    connect(w->findAction, &QAction::triggered, p.search.get(), &SearchController::find);
    connect(w->findNextAction, &QAction::triggered, p.search.get(), &SearchController::findNext);
    connect(w->findPreviousAction, &QAction::triggered, p.search.get(), &SearchController::findPrevious);
    connect(w->searchField(), &QLineEdit::textEdited, p.search.get(), &SearchController::search);
    connect(w->searchField(), &QLineEdit::returnPressed, p.search.get(), &SearchController::findNext);
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
    setWrapLongMessages(w->logTable(), w->wrapAction->isChecked());
    connect(w->wrapAction, &QAction::toggled, this, [w](bool on) {
        Preferences::setValue(QLatin1String(kWrapLongMessagesKey), on);
        setWrapLongMessages(w->logTable(), on);
    });
    connect(w->newWindowAction, &QAction::triggered, this,
            [] { QProcess::startDetached(QCoreApplication::applicationFilePath(), {}); });
    // Quit ends the program, whichever of its windows are open.
    connect(w->quitAction, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
}

void VellumfoxAppDelegate::readSettings() {
    applyTheme();
    parts_.model->setStyles(readLevelStyles(QApplication::font(), isDarkPalette()));
    followStyles(parts_.window->logTable(), parts_.model->styles());
    parts_.filterList->loadFilters();
}

void VellumfoxAppDelegate::updateStatus() {
    const Parts& p = parts_;
    TableState state;
    state.total = p.store->logEventCount();
    state.filtered = p.filter->predicate() != nullptr;
    state.fromDevice = p.connection->isDatasourceDevice();
    state.logging = p.session->isLogging();
    state.seeking = p.session->isSeeking();
    p.status->showCounts(p.model->rowCount(), state);
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
    VF_LOG("opening mirror window: {}", parts_.session->deviceId());
    screen->setDeviceId(parts_.session->deviceId());
    placeOnScreenOf(screen, parts_.window.get());
    screen->showWindow();
}

void VellumfoxAppDelegate::onLogUpdated(const LogUpdate& update) {
    const Parts& p = parts_;
    p.follower->showRows(update, p.filter->hasLanded());
    updateStatus();
    p.crashes->onLogUpdated(p.connection->isDatasourceDevice() && p.follower->scrollToBottom());
    p.filter->crashesChanged(p.crashes->detector().revision());
}

void VellumfoxAppDelegate::onFilterCorrupt(const QString& reason) {
    auto* box = new QMessageBox(QMessageBox::Critical, u"Filter is corrupt"_s, u"Filter is corrupt"_s,
                                QMessageBox::Ok, parts_.window.get());
    box->setInformativeText(reason);
    box->setWindowModality(Qt::ApplicationModal);
    parts_.connection->showBox(box);
}

void VellumfoxAppDelegate::showOnly(PredicatePtr filter, const QString& description) {
    parts_.filterList->clearChoice();
    parts_.filter->set(std::move(filter), description);
}

PredicatePtr VellumfoxAppDelegate::filterInForce() const { return parts_.filter->predicate(); }

bool VellumfoxAppDelegate::filterShown() const { return parts_.filter->hasLanded(); }

bool VellumfoxAppDelegate::selectRowAtTop(RowIdx idx) { return parts_.follower->selectRowAtTop(idx); }

}  // namespace vf::ui
