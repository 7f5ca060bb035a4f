#include "ui/tabs/sourcetab.h"

#include <QFileInfo>
#include <QMessageBox>
#include <QThreadPool>

#include "core/log/querycontext.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/files/filecontroller.h"
#include "ui/filters/filterinforce.h"
#include "ui/filters/filterpassview.h"
#include "ui/message/messageactions.h"
#include "ui/table/highlightdelegate.h"
#include "ui/table/logtablemodel.h"
#include "ui/table/searchcontroller.h"
#include "ui/table/tablecolumns.h"
#include "ui/table/tablefollower.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

SourceTab::SourceTab(const TabServices& services, SelectableTableView* table, const QString& serial,
                     bool tracksDevices)
    : services_(services) {
    parts_.table = table;
    buildParts(serial, tracksDevices);
}

SourceTab::~SourceTab() {
    Parts& p = parts_;
    p.store->setDelegate(nullptr);
    // The session's conversations report to the connection: drop them first.
    p.session->setDelegate(nullptr);
    p.session.reset();
    // A file still loading holds the store.
    QThreadPool::globalInstance()->waitForDone();
    delete p.crashes;
    p.messages.reset();
    p.connection.reset();
    p.files.reset();
    p.search.reset();
    p.follower.reset();
    p.filterPass.reset();
    p.filter.reset();
    p.columns.reset();
    delete p.table;  // with its model and highlight
    p.store.reset();
}

void SourceTab::buildParts(const QString& serial, bool tracksDevices) {
    Parts& p = parts_;
    MainWindow& window = services_.window;
    p.store = std::make_unique<LogDatasource>();
    p.store->setDelegate(this);
    LogSession::Settings settings;
    settings.serial = serial;
    settings.reconnectIntervalMs = services_.reconnectIntervalMs;
    settings.trackDevices = tracksDevices;
    p.session = std::make_unique<LogSession>(*p.store, services_.makeAdb(), services_.connector, settings);

    p.model = new LogTableModel(p.table);
    p.highlight = new HighlightDelegate(p.table);
    p.table->setModel(p.model);
    p.table->setItemDelegate(p.highlight);
    p.columns = std::make_unique<ColumnLayoutSaver>(p.table->horizontalHeader());
    p.filter = std::make_unique<FilterInForce>(*p.store, services_.status);
    p.filterPass = std::make_unique<FilterPassView>(window, services_.status, *p.store, *p.model);
    p.follower = std::make_unique<TableFollower>(window, *p.model);
    p.search = std::make_unique<SearchController>(window, *p.model, *p.highlight, services_.status);
    p.files = std::make_unique<FileController>(window, services_.status, *p.store, *p.model);

    ConnectionController::Hooks hooks;
    hooks.stateChanged = services_.changed;
    hooks.recordEvent = services_.recordEvent;
    if (services_.clockEndpoint) {
        hooks.started = [this](const QString& deviceId) {
            clock_.measure(services_.clockEndpoint(), deviceId,
                           [this](std::optional<int64_t> offsetMs) { clockOffsetMs_ = offsetMs.value_or(0); });
        };
    }
    p.connection = std::make_unique<ConnectionController>(window, services_.status, *p.session, std::move(hooks));
    p.session->setDelegate(p.connection.get());
    connect(p.connection.get(), &ConnectionController::titleChanged, this, [this] { services_.changed(); });
    connect(p.connection.get(), &ConnectionController::stateChanged, this, [this] { services_.changed(); });
    p.messages = std::make_unique<MessageActions>(window, *p.model, *p.store, services_.filterList, *p.search);
    p.messages->setDeviceSerialSource([this] { return parts_.session->lastDeviceId().value_or(QString()); });
    p.crashes = new CrashesPanel(window, *p.store, *this);

    // A file: age counts back from its newest row; a device: from now.
    // is:crash takes the rows of the crashes the panel lists.
    p.filter->setQueryContext([this] {
        QueryContext context;
        if (!parts_.connection->isDatasourceDevice()) context = fileQueryContext(parts_.store->getDataAll(), 0);
        context.crashRows = crashRowsOf(parts_.crashes->detector());
        return context;
    });

    FileController* files = p.files.get();
    ConnectionController* connection = p.connection.get();
    TableFollower* follower = p.follower.get();
    connect(files, &FileController::logFileOpening, this, [this, connection](const QString& path) {
        filePath_ = path;
        reportFacts_.clear();
        report_ = false;
        connection->showingFile(path);
    });
    connect(files, &FileController::showingFile, this, [this, follower] {
        if (isCurrent()) services_.filterList.showAllMessages();
        else parts_.filter->set(nullptr);
        follower->changeScrollToBottom(true);
    });
    connect(files, &FileController::reportOpened, this, [this, connection](const QString& path, const ReportFacts& facts) {
        reportFacts_ = facts.description();
        report_ = true;
        connection->showingReport(path, facts);
        services_.changed();
    });
    connect(files, &FileController::filtersFileOpened, &services_.filterList,
            qOverload<const QString&>(&FilterListController::importFilters));
    connect(files, &FileController::fileOpened, this, &SourceTab::fileOpened);
    follower->changeScrollToBottom(true);
}

// A merged tab's rows are the other tabs' own, named by them.
void SourceTab::nameRows() {
    const QString text = tabText();
    if (merged_ || text == rowsNamed_) return;
    rowsNamed_ = text;
    parts_.store->setSourceName(text);
}

// Its table has a column more than the others: it keeps its own layout,
// where by default the rows' source is read first.
void SourceTab::setMerged() {
    merged_ = true;
    // Its rows stay named by their own tabs.
    parts_.store->setSourceName(QString());
    rowsNamed_.clear();
    parts_.model->showSourceColumn();
    parts_.columns->setKind(QLatin1String(kMergedLayout));
    useColumnLayout();
    parts_.connection->showingFile(u"Merged timeline"_s);
}

void SourceTab::useColumnLayout() {
    ColumnSet showable = columnsWithValues(parts_.store->getDataAll());
    showable.source = merged_;
    showable.buffer = showable.buffer || report_;
    parts_.columns->setShowable(showable);
    if (merged_) return;
    const QString serial = deviceSerial();
    if (showsDevice() && !serial.isEmpty()) parts_.columns->setKind(deviceLayoutKind(serial));
    else if (!showsDevice() && !filePath_.isEmpty())
        parts_.columns->setKind(QLatin1String(report_ ? kReportLayout : kFileLayout));
}

bool SourceTab::isCurrent() const { return services_.window.logTable() == parts_.table; }

bool SourceTab::showsDevice() const { return parts_.connection->isDatasourceDevice(); }

QString SourceTab::deviceSerial() const { return showsDevice() ? parts_.connection->titleSerial() : QString(); }

QString SourceTab::toolTip() const {
    if (showsDevice() || filePath_.isEmpty()) return tabText();
    return reportFacts_.isEmpty() ? filePath_ : filePath_ + u"\n"_s + reportFacts_;
}

QString SourceTab::tabText() const {
    if (!showsDevice() && !filePath_.isEmpty()) return QFileInfo(filePath_).fileName();
    return parts_.connection->title();
}

void SourceTab::onLogUpdated(const LogUpdate& update) {
    const Parts& p = parts_;
    p.follower->showRows(update, p.filter->hasLanded());
    p.crashes->onLogUpdated(p.connection->isDatasourceDevice() && p.follower->scrollToBottom());
    p.filter->crashesChanged(p.crashes->detector().revision());
    services_.changed();
}

void SourceTab::onFilterCorrupt(const QString& reason) {
    auto* box = new QMessageBox(QMessageBox::Critical, u"Filter is corrupt"_s, u"Filter is corrupt"_s,
                                QMessageBox::Ok, &services_.window);
    box->setInformativeText(reason);
    box->setWindowModality(Qt::ApplicationModal);
    parts_.connection->showBox(box);
}

void SourceTab::onFilterProgress(const FilterProgress& progress) { parts_.filterPass->onProgress(progress); }

void SourceTab::showOnly(PredicatePtr filter, const QString& description) {
    if (isCurrent()) services_.filterList.clearChoice();
    parts_.filter->set(std::move(filter), description);
}

PredicatePtr SourceTab::filterInForce() const { return parts_.filter->predicate(); }

bool SourceTab::filterShown() const { return parts_.filter->hasLanded(); }

bool SourceTab::selectRowAtTop(RowIdx idx, std::string_view source) {
    return parts_.follower->selectRowAtTop(idx, source);
}

}  // namespace vf::ui
