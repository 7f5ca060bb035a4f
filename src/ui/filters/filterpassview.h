#pragma once
// FilterPassView: a tab's long filter pass on the status line. While the
// store reports a pass going on, the bar shows how far it got and Escape
// stops it; once stopped, a note says what the table shows (the rows
// matched so far, or what it showed before).
//
// Main thread only. The window, the status line, the store and the model
// outlive it.

#include <QObject>
#include <QString>
#include <optional>

class QAbstractItemModel;

namespace vf {
class LogDatasource;
struct FilterProgress;
}  // namespace vf

namespace vf::ui {

class MainWindow;
class StatusLine;

// The status line's words for a pass: going on, and stopped with `shown`
// rows matched so far in view (none: the view shows what it showed before).
QString filterRunningText();
QString filterStoppedText(std::optional<qsizetype> shown);

class FilterPassView final : public QObject {
    Q_OBJECT
public:
    // `model`: the tab's table model (the tab is current while the window's
    // table shows it).
    FilterPassView(MainWindow& window, StatusLine& status, LogDatasource& store, const QAbstractItemModel& model,
                   QObject* parent = nullptr);
    ~FilterPassView() override;

    void onProgress(const FilterProgress& progress);
    bool running() const { return running_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isCurrent() const;
    void setRunning(bool running);

    MainWindow& window_;
    StatusLine& status_;
    LogDatasource& store_;
    const QAbstractItemModel& model_;
    bool running_ = false;
};

}  // namespace vf::ui
