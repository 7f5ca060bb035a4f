#pragma once
// What the quick-filter field offers for queries, beside the filtering its
// text drives (FilterListController): completion of keys, levels, and the
// tags and packages of the rows seen so far; the last 20 queries on Up and
// Down (kept in the preferences); the spot of an error marked in the text;
// and "Save as Filter…" in the field's context menu.
//
// Main thread only. The field is not owned and outlives the assist.

#include <QObject>
#include <QStringList>
#include <functional>
#include <optional>

#include "core/filter/predicate.h"
#include "core/log/logrow.h"
#include "core/log/querycontext.h"

class QCompleter;
class QLineEdit;
class QMenu;
class QStringListModel;

namespace vf::ui {

// The queries typed last, newest last, and the walk Up and Down through
// them. A plain value: no widgets.
class QueryHistory final {
public:
    static constexpr qsizetype kSize = 20;

    explicit QueryHistory(QStringList entries = {});

    // Makes `query` the newest entry (moving it when it is there already);
    // the oldest beyond kSize go. Ends any walk.
    void add(const QString& query);
    // Up: the entry before the one shown, starting from the newest (the
    // text being edited is kept for Down); nullopt when there is none.
    std::optional<QString> older(const QString& editing);
    // Down: the entry after the one shown, and past the newest the text that
    // was being edited; nullopt when no walk is under way.
    std::optional<QString> newer();
    const QStringList& entries() const { return entries_; }

private:
    QStringList entries_;
    qsizetype shown_ = -1;  // the entry shown; -1: the edited text
    QString editing_;
};

// The user's own apps ("My apps" in the preferences), as written. Main thread.
QStringList myAppsFromPreferences();
// Completions with those of "My apps" first ("package:NAME", NAME perhaps
// quoted), each group in its order. Pure.
QStringList withMyAppsFirst(const QStringList& candidates, const QStringList& myApps);

class QuickFilterAssist final : public QObject {
    Q_OBJECT
public:
    // `rows` gives the store's rows, read when completion needs the values
    // seen so far; `canSave` says whether the field's text makes a filter.
    QuickFilterAssist(QLineEdit& field, std::function<RowList()> rows, std::function<bool()> canSave,
                      QObject* parent = nullptr);

    // Marks the error's spot in the field and puts its message in the tool
    // tip; none clears both.
    void showError(const std::optional<ParseError>& error);
    // The field's context menu: the standard one and "Save as Filter…".
    // The caller shows it and deletes it.
    QMenu* contextMenu();

    const QueryHistory& history() const { return history_; }
    QCompleter* completer() const { return completer_; }
    // Completes the word before the cursor (what typing does).
    void updateCompletion();

Q_SIGNALS:
    void saveAsFilterRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void remember();
    void insertCompletion(const QString& candidate);
    void feedSeenValues();

    QLineEdit& field_;
    std::function<RowList()> rows_;
    std::function<bool()> canSave_;
    QCompleter* completer_ = nullptr;
    QStringListModel* candidates_ = nullptr;
    qsizetype completionStart_ = 0;
    QueryHistory history_;
    SeenValues seen_;
    RowIdx nextIdx_;  // rows below this idx were seen (values of every log since the start stay)
};

}  // namespace vf::ui
