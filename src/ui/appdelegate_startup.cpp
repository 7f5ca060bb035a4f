// Start-up, settings and the secondary windows of the controller.
#include <QAction>
#include <QApplication>
#include <QCoreApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPalette>
#include <QProcess>
#include <QStatusBar>
#include <QStringListModel>
#include <QThreadPool>
#include <QTimer>

#include "core/session/sessionpreferences.h"
#include "core/support/analytics.h"
#include "core/support/crashreporter.h"
#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "ui/connectioncontroller.h"
#include "ui/crashespanel.h"
#include "ui/devicepickersheet.h"
#include "ui/highlightdelegate.h"
#include "ui/logtablemodel.h"
#include "ui/mainwindow.h"
#include "ui/messageactions.h"
#include "ui/preferenceswindow.h"
#include "ui/searchcontroller.h"
#include "ui/tablecolumns.h"
#include "ui/tablefollower.h"
#include "ui/vellumfoxappdelegate.h"
#include "ui/windowstate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {
constexpr char kTableLayoutKey[] = "logDataTable";
}  // namespace

VellumfoxAppDelegate::VellumfoxAppDelegate(Options options) : options_(std::move(options)) {}

VellumfoxAppDelegate::~VellumfoxAppDelegate() {
    if (window_) saveTableLayout();
    if (logDatasource_) logDatasource_->setDelegate(nullptr);
    // The session's conversations report to us: drop them before we go.
    if (session_) session_->setDelegate(nullptr);
    session_.reset();
    // A file still loading holds the store.
    QThreadPool::globalInstance()->waitForDone();
    logDatasource_.reset();
}

DevicePickerSheet* VellumfoxAppDelegate::devicePicker() const { return connection_->devicePicker(); }
QMessageBox* VellumfoxAppDelegate::currentAlert() const { return connection_->currentAlert(); }
bool VellumfoxAppDelegate::autoReconnect() const { return session_->autoReconnect(); }
bool VellumfoxAppDelegate::isDatasourceDevice() const { return connection_->isDatasourceDevice(); }
std::optional<QString> VellumfoxAppDelegate::lastDeviceConnectedId() const { return session_->lastDeviceId(); }
QTimer* VellumfoxAppDelegate::reconnectTimer() const { return session_->reconnectTimer(); }
void VellumfoxAppDelegate::onConnectButtonPressed() { connection_->onConnectButtonPressed(); }
void VellumfoxAppDelegate::startLogging() { connection_->startLogging(); }
void VellumfoxAppDelegate::stopLogging() { connection_->stopLogging(); }
PreferencesWindow* VellumfoxAppDelegate::preferencesWindow() const { return preferences_; }

void VellumfoxAppDelegate::applicationDidFinishLaunching() {
    if (options_.installHooks) {
        CrashReporter::install(Logger::logDirectory());
        Logger::getInstance().registerLogger();
        AnalyticsHelper::registerApp();
        AnalyticsHelper::recordStart();
    }
    VF_LOG("{}", QCoreApplication::arguments().join(u' '));

    logDatasource_ = std::make_unique<LogDatasource>();
    logDatasource_->setDelegate(this);
    LogSession::Settings settings;
    settings.reconnectIntervalMs = options_.reconnectIntervalMs;
    session_ = std::make_unique<LogSession>(
        *logDatasource_, options_.makeAdb ? options_.makeAdb() : makeAdbSessionAdb(endpointFromPreferences),
        options_.connector ? options_.connector : makeAdbConnector(endpointFromPreferences, logcatOptionsFromPreferences),
        settings);
    buildWindow();

    registerDefaults();
    readSettings();
    changeScrollToBottom(true);

    window_->filterListTable()->selectRowAlone(0);
    connectActions();

    if (options_.connectAtStart) startLogging();
    updateStatus();
    window_->show();
    window_->raise();
    window_->activateWindow();
    if (options_.installHooks) {
        const QString report = CrashReporter::pendingReport();
        if (!report.isEmpty()) {
            window_->statusBar()->showMessage(u"The last run ended in a crash; its report is in "_s + report, 15000);
            CrashReporter::acknowledge();
        }
    }
}

void VellumfoxAppDelegate::buildWindow() {
    window_ = std::make_unique<MainWindow>();
    tableModel_ = new LogTableModel(&styles_, this);
    highlight_ = new HighlightDelegate(this);
    SelectableTableView* table = window_->logTable();
    table->setModel(tableModel_);
    table->setItemDelegate(highlight_);
    table->setMenuDelegate(this);
    restoreTableLayout();

    filterList_ = new FilterListController(*window_, *this, this);
    messageActions_ = new MessageActions(*window_, *tableModel_, *logDatasource_, *filterList_, this);
    messageActions_->setDeviceSerialSource([this] { return session_->lastDeviceId().value_or(QString()); });
    crashes_ = new CrashesPanel(*this);
    follower_ = std::make_unique<TableFollower>(*window_, *tableModel_);
    search_ = std::make_unique<SearchController>(*window_, *tableModel_, *highlight_);
    files_ = std::make_unique<FileController>(*window_, *logDatasource_, *tableModel_, *this);
    connect(files_.get(), &FileController::fileOpened, this, &VellumfoxAppDelegate::fileOpened);

    ConnectionController::Hooks hooks;
    hooks.stateChanged = [this] { updateStatus(); };
    hooks.recordEvent = options_.recordEvent ? options_.recordEvent
                                             : [](const QString& name) { AnalyticsHelper::recordEvent(name); };
    connection_ = new ConnectionController(*window_, *session_, std::move(hooks), this);
    session_->setDelegate(connection_);
    layoutSaveTimer_ = new QTimer(this);
    layoutSaveTimer_->setSingleShot(true);
    layoutSaveTimer_->setInterval(500);
    connect(layoutSaveTimer_, &QTimer::timeout, this, &VellumfoxAppDelegate::saveTableLayout);
}

void VellumfoxAppDelegate::connectActions() {
    MainWindow* w = window_.get();
    connect(w->connectAction, &QAction::triggered, this, &VellumfoxAppDelegate::onConnectButtonPressed);
    connect(w->clearAction, &QAction::triggered, this, &VellumfoxAppDelegate::clearLog);
    connect(w->followAction, &QAction::triggered, this, &VellumfoxAppDelegate::toggleAutoFollow);
    connect(w->openAction, &QAction::triggered, this, &VellumfoxAppDelegate::openLogcatFile);
    connect(w->saveAction, &QAction::triggered, this, &VellumfoxAppDelegate::saveDocument);
    connect(w->saveTextAction, &QAction::triggered, this, &VellumfoxAppDelegate::saveDocumentAsText);
    connect(w->newWindowAction, &QAction::triggered, this, &VellumfoxAppDelegate::newWindow);
    connect(w->copyAction, &QAction::triggered, this, &VellumfoxAppDelegate::copy);
    connect(w->findAction, &QAction::triggered, this, &VellumfoxAppDelegate::find);
    connect(w->findNextAction, &QAction::triggered, this, &VellumfoxAppDelegate::findNext);
    connect(w->findPreviousAction, &QAction::triggered, this, &VellumfoxAppDelegate::findPrevious);
    connect(w->biggerFontAction, &QAction::triggered, this, [this] { changeFontSize(true); });
    connect(w->smallerFontAction, &QAction::triggered, this, [this] { changeFontSize(false); });
    connect(w->preferencesAction, &QAction::triggered, this, &VellumfoxAppDelegate::showPreferences);
    connect(w->remoteScreenAction, &QAction::triggered, this, &VellumfoxAppDelegate::remoteScreenMonitor);
    connect(w->quitAction, &QAction::triggered, w, &QWidget::close);
    connect(w, &MainWindow::fileDropped, this, &VellumfoxAppDelegate::openFile);

    connect(w->searchField(), &QLineEdit::textEdited, this, &VellumfoxAppDelegate::search);
    connect(w->searchField(), &QLineEdit::returnPressed, this, &VellumfoxAppDelegate::findNext);

    SelectableTableView* table = w->logTable();
    connect(table->horizontalHeader(), &QHeaderView::sectionResized, layoutSaveTimer_,
            qOverload<>(&QTimer::start));
    connect(table->horizontalHeader(), &QHeaderView::sectionMoved, layoutSaveTimer_, qOverload<>(&QTimer::start));
    onPaletteChange(w, [this] { fontsChanged(); });
}

void VellumfoxAppDelegate::restoreTableLayout() {
    QHeaderView* header = window_->logTable()->horizontalHeader();
    QFont font = QApplication::font();
    font.setPointSizeF(readFontSize());
    for (int column = 0; column < header->count() - 1; ++column)
        header->resizeSection(column, defaultColumnWidth(column, QFontMetrics(font)));
    installColumnMenu(header);
    const QByteArray state = Preferences::value(QLatin1String(kTableLayoutKey)).toByteArray();
    if (!state.isEmpty()) header->restoreState(state);
}

void VellumfoxAppDelegate::saveTableLayout() {
    Preferences::setValue(QLatin1String(kTableLayoutKey), window_->logTable()->horizontalHeader()->saveState());
}

void VellumfoxAppDelegate::readSettings() {
    const QPalette palette = QApplication::palette();
    const bool dark = palette.color(QPalette::Base).lightness() < 128;
    styles_ = readLevelStyles(QApplication::font(), dark);
    follower_->applyStyles(styles_);
    loadFilters();
}

void VellumfoxAppDelegate::fontsChanged() {
    readSettings();
    tableModel_->stylesChanged();
}

void VellumfoxAppDelegate::showPreferences() {
    if (preferences_ == nullptr) {
        preferences_ = new PreferencesWindow(window_.get());
        connect(preferences_, &PreferencesWindow::fontChanged, this, &VellumfoxAppDelegate::fontsChanged);
    }
    preferences_->showWindow();
}

void VellumfoxAppDelegate::newWindow() {
    QProcess::startDetached(QCoreApplication::applicationFilePath(), {});
}

}  // namespace vf::ui
