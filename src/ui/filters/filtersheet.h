#pragma once
// FilterSheet: the filter editor. A text editor for the filter language that
// checks the text as it is typed (the error's position is marked in the text
// and its message shown under it), the canonical text of a valid filter, the
// name field, a pop-up of columns that inserts a comparison for the chosen
// column, and Apply (preview), Cancel and Save. The sheet only edits; what
// Apply, Save and Cancel do is the filter list's business (its signals).
//
// Main thread only.

#include <QDialog>
#include <optional>

#include "core/filter/predicate.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace vf::ui {

class FilterSheet final : public QDialog {
    Q_OBJECT
public:
    explicit FilterSheet(QWidget* parent = nullptr);

    QLineEdit* filterName() const { return filterName_; }
    QPlainTextEdit* filterCriteria() const { return filterCriteria_; }
    QLabel* errorLabel() const { return errorLabel_; }

    void setCriteria(const QString& text);
    QString criteria() const;
    // The parsed criteria; null while the text does not parse.
    PredicatePtr predicate() const { return predicate_; }
    const std::optional<ParseError>& error() const { return error_; }

    // Selects the pop-up entry for a row key ("app" -> "APP", "name" -> "Tag",
    // ...); "time", other keys, or no pop-up: nothing changes. The name is
    // the program's own and is kept as spelled.
    void selectItemWithTitie(const QString& key);

Q_SIGNALS:
    void applyRequested();
    void saveRequested();
    void cancelRequested();

protected:
    void reject() override;  // Escape and the window's close button cancel

private:
    void validate();
    void insertComparison(int index);

    QComboBox* filterType_ = nullptr;
    QLineEdit* filterName_ = nullptr;
    QPlainTextEdit* filterCriteria_ = nullptr;
    QLabel* predicateText_ = nullptr;
    QLabel* errorLabel_ = nullptr;
    QPushButton* applyButton_ = nullptr;
    QPushButton* saveButton_ = nullptr;
    PredicatePtr predicate_;
    std::optional<ParseError> error_;
};

}  // namespace vf::ui
