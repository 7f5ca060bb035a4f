#include "ui/filters/quickfilterassist.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QCoreApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QRegularExpression>
#include <QStringListModel>
#include <QTextCharFormat>
#include <algorithm>

#include "core/filter/query.h"
#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {
constexpr int kMaxCandidates = 200;
}  // namespace

// ---------------------------------------------------------------------------

QueryHistory::QueryHistory(QStringList entries) : entries_(std::move(entries)) {
    if (entries_.size() > kSize) entries_ = entries_.mid(entries_.size() - kSize);
}

void QueryHistory::add(const QString& query) {
    shown_ = -1;
    if (query.isEmpty()) return;
    entries_.removeAll(query);
    entries_.append(query);
    if (entries_.size() > kSize) entries_.removeFirst();
}

std::optional<QString> QueryHistory::older(const QString& editing) {
    if (shown_ == 0 || entries_.isEmpty()) return std::nullopt;
    if (shown_ < 0) {
        editing_ = editing;
        shown_ = entries_.size();
    }
    return entries_.at(--shown_);
}

std::optional<QString> QueryHistory::newer() {
    if (shown_ < 0) return std::nullopt;
    if (++shown_ < entries_.size()) return entries_.at(shown_);
    shown_ = -1;
    return editing_;
}

// ---------------------------------------------------------------------------

QuickFilterAssist::QuickFilterAssist(QLineEdit& field, std::function<RowList()> rows, std::function<bool()> canSave,
                                     QObject* parent)
    : QObject(parent),
      field_(field),
      rows_(std::move(rows)),
      canSave_(std::move(canSave)),
      history_(Preferences::value(QLatin1String(prefs::kQueryHistory)).toStringList()) {
    candidates_ = new QStringListModel(this);
    completer_ = new QCompleter(candidates_, this);
    // The candidates are chosen here; the completer only shows them. It is
    // not the field's own completer, which would replace the whole text.
    completer_->setWidget(&field_);
    completer_->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    completer_->setCaseSensitivity(Qt::CaseInsensitive);
    connect(completer_, qOverload<const QString&>(&QCompleter::activated), this, &QuickFilterAssist::insertCompletion);
    connect(&field_, &QLineEdit::textEdited, this, &QuickFilterAssist::updateCompletion);
    connect(&field_, &QLineEdit::returnPressed, this, &QuickFilterAssist::remember);
    field_.installEventFilter(this);
    field_.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&field_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QMenu* menu = contextMenu();
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(field_.mapToGlobal(at));
    });
}

QMenu* QuickFilterAssist::contextMenu() {
    QMenu* menu = field_.createStandardContextMenu();
    menu->addSeparator();
    QAction* save = menu->addAction(u"Save as Filter…"_s, this, &QuickFilterAssist::saveAsFilterRequested);
    save->setEnabled(canSave_ && canSave_());
    return menu;
}

// A line edit has no marks of its own; the input method's text formats
// underline a range without touching the text.
void QuickFilterAssist::showError(const std::optional<ParseError>& error) {
    QList<QInputMethodEvent::Attribute> marks;
    if (error) {
        const int length = int(field_.text().size());
        int at = int(std::clamp<qsizetype>(error->position, 0, length));
        if (at == length && length > 0) --at;  // at the end: the last character
        QTextCharFormat format;
        format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
        format.setUnderlineColor(QColor(0xc0, 0x1c, 0x28));
        format.setBackground(QColor(0xc0, 0x1c, 0x28, 60));
        marks << QInputMethodEvent::Attribute(QInputMethodEvent::TextFormat, at - field_.cursorPosition(), 1, format);
    }
    QInputMethodEvent event(QString(), marks);
    QCoreApplication::sendEvent(&field_, &event);
    field_.setToolTip(error ? u"%1 (at character %2)"_s.arg(error->message).arg(error->position + 1) : QString());
}

void QuickFilterAssist::updateCompletion() {
    const QString text = field_.text();
    QAbstractItemView* popup = completer_->popup();
    if (quickFilterMode(text) == QuickFilterMode::Predicate) {
        popup->hide();
        return;
    }
    const qsizetype cursor = field_.cursorPosition();
    QueryCompletion completion = completeQueryWord(text, cursor, {}, {});
    const bool value = completion.prefix.contains(u':');
    if (value && (completion.prefix.startsWith(u"tag"_s, Qt::CaseInsensitive) ||
                  completion.prefix.startsWith(u"package"_s, Qt::CaseInsensitive))) {
        feedSeenValues();
        const QStringList mine = myAppsFromPreferences();
        completion = completeQueryWord(text, cursor, seen_.tags(), mine + seen_.packages());
        completion.candidates = withMyAppsFirst(completion.candidates, mine);
    }
    // A key is offered from its second letter on, so that plain words stay quiet.
    if (completion.candidates.isEmpty() || (!value && completion.prefix.size() < 2)) {
        candidates_->setStringList({});
        popup->hide();
        return;
    }
    completionStart_ = completion.start;
    candidates_->setStringList(completion.candidates.mid(0, kMaxCandidates));
    completer_->setCompletionPrefix(QString());
    completer_->complete();
}

void QuickFilterAssist::insertCompletion(const QString& candidate) {
    const QString text = field_.text();
    const qsizetype cursor = field_.cursorPosition();
    const qsizetype start = std::min(completionStart_, cursor);
    completer_->popup()->hide();
    field_.setText(text.left(start) + candidate + text.mid(cursor));
    field_.setCursorPosition(int(start + candidate.size()));
}

QStringList myAppsFromPreferences() {
    static const QRegularExpression kSeparators(u"[\\s,]+"_s);
    return Preferences::string(QLatin1String(prefs::kMyApps)).split(kSeparators, Qt::SkipEmptyParts);
}

QStringList withMyAppsFirst(const QStringList& candidates, const QStringList& myApps) {
    const auto mine = [&myApps](const QString& candidate) {
        QString value = candidate.section(u':', 1);
        if (value.startsWith(u'\'') || value.startsWith(u'"')) value = value.mid(1).chopped(1);
        return myApps.contains(value);
    };
    QStringList ordered = candidates;
    std::stable_partition(ordered.begin(), ordered.end(), mine);
    return ordered;
}

void QuickFilterAssist::feedSeenValues() {
    const RowList rows = rows_ ? rows_() : RowList();
    const auto first =
        std::partition_point(rows.begin(), rows.end(), [this](const RowPtr& row) { return row->idx() < nextIdx_; });
    for (auto it = first; it != rows.end(); ++it) seen_.feed(**it);
    if (!rows.isEmpty()) nextIdx_ = std::max(nextIdx_, rows.last()->idx().next());
}

void QuickFilterAssist::remember() {
    const QString text = field_.text().trimmed();
    if (quickFilterMode(text) != QuickFilterMode::Query || !compileQuery(text).predicate) return;
    history_.add(text);
    Preferences::setValue(QLatin1String(prefs::kQueryHistory), history_.entries());
}

bool QuickFilterAssist::eventFilter(QObject* watched, QEvent* event) {
    if (watched != &field_) return false;
    if (event->type() == QEvent::FocusOut) remember();
    if (event->type() != QEvent::KeyPress || completer_->popup()->isVisible()) return false;
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key != Qt::Key_Up && key != Qt::Key_Down) return false;
    const std::optional<QString> recalled = key == Qt::Key_Up ? history_.older(field_.text()) : history_.newer();
    if (recalled) field_.setText(*recalled);
    return true;
}

}  // namespace vf::ui
