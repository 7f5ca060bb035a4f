#include "ui/filters/filtersheet.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextBlock>
#include <QVBoxLayout>

#include "core/filter/filterlibrary.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

struct ColumnEntry {
    const char16_t* title;
    const char16_t* key;
};
constexpr ColumnEntry kColumns[] = {{u"APP", u"app"}, {u"PID", u"pid"},   {u"TID", u"tid"},
                                    {u"Type", u"type"}, {u"Tag", u"name"}, {u"Text", u"text"},
                                    {u"Buffer", u"buffer"}};

}  // namespace

FilterSheet::FilterSheet(QWidget* parent) : QDialog(parent) {
    setWindowTitle(u"Edit Filter"_s);
    setWindowModality(Qt::WindowModal);
    filterName_ = new QLineEdit(this);
    filterType_ = new QComboBox(this);
    filterType_->setToolTip(u"Insert a comparison for a column at the cursor"_s);
    for (const ColumnEntry& column : kColumns)
        filterType_->addItem(QString::fromUtf16(column.title), QString::fromUtf16(column.key));
    auto* insert = new QPushButton(u"Insert"_s, this);
    insert->setAutoDefault(false);
    connect(insert, &QPushButton::clicked, this, [this] { insertComparison(filterType_->currentIndex()); });

    filterCriteria_ = new QPlainTextEdit(this);
    filterCriteria_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    filterCriteria_->setTabChangesFocus(true);
    filterCriteria_->setMinimumSize(520, 110);
    errorLabel_ = new QLabel(this);
    errorLabel_->setWordWrap(true);
    errorLabel_->setStyleSheet(u"color: #c01c28;"_s);
    predicateText_ = new QLabel(this);
    predicateText_->setWordWrap(true);
    predicateText_->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* buttons = new QDialogButtonBox(this);
    applyButton_ = buttons->addButton(u"Apply"_s, QDialogButtonBox::ApplyRole);
    buttons->addButton(QDialogButtonBox::Cancel);
    saveButton_ = buttons->addButton(u"Save"_s, QDialogButtonBox::AcceptRole);
    saveButton_->setDefault(true);
    connect(applyButton_, &QPushButton::clicked, this, &FilterSheet::applyRequested);
    connect(saveButton_, &QPushButton::clicked, this, &FilterSheet::saveRequested);
    connect(buttons, &QDialogButtonBox::rejected, this, &FilterSheet::reject);

    auto* columnRow = new QHBoxLayout;
    columnRow->addWidget(filterType_, 1);
    columnRow->addWidget(insert);
    auto* form = new QFormLayout;
    form->addRow(u"Name:"_s, filterName_);
    form->addRow(u"Column:"_s, columnRow);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(new QLabel(u"Filter:"_s, this));
    layout->addWidget(filterCriteria_, 1);
    layout->addWidget(errorLabel_);
    layout->addWidget(predicateText_);
    layout->addWidget(buttons);

    connect(filterCriteria_, &QPlainTextEdit::textChanged, this, &FilterSheet::validate);
    connect(filterName_, &QLineEdit::textChanged, this, &FilterSheet::validate);
    validate();
}

void FilterSheet::setCriteria(const QString& text) { filterCriteria_->setPlainText(text); }

QString FilterSheet::criteria() const { return filterCriteria_->toPlainText(); }

void FilterSheet::selectItemWithTitie(const QString& key) {
    if (filterType_ == nullptr) return;
    for (int i = 0; i < filterType_->count(); ++i) {
        if (filterType_->itemData(i).toString() == key) {
            filterType_->setCurrentIndex(i);
            return;
        }
    }
}

void FilterSheet::reject() {
    Q_EMIT cancelRequested();
}

void FilterSheet::validate() {
    const ParseResult parsed = Predicate::parse(criteria());
    predicate_ = parsed.predicate;
    error_ = parsed.error;
    QList<QTextEdit::ExtraSelection> marks;
    if (error_) {
        // Mark the character where parsing stopped (or the last one at the end).
        QTextEdit::ExtraSelection mark;
        mark.cursor = QTextCursor(filterCriteria_->document());
        const int length = int(criteria().size());
        const int at = int(std::clamp<qsizetype>(error_->position, 0, length));
        mark.cursor.setPosition(at == length && length > 0 ? at - 1 : at);
        // The whole word when the error sits on one (an unknown key), else one character.
        const QString text = criteria();
        int end = mark.cursor.position() + 1;
        while (end < length && text[end].isLetterOrNumber() && text[end - 1].isLetterOrNumber()) ++end;
        mark.cursor.setPosition(end, QTextCursor::KeepAnchor);
        mark.format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
        mark.format.setUnderlineColor(QColor(0xc0, 0x1c, 0x28));
        mark.format.setBackground(QColor(0xc0, 0x1c, 0x28, 60));
        marks << mark;
        errorLabel_->setText(u"%1 (at character %2)"_s.arg(error_->message).arg(error_->position + 1));
        predicateText_->clear();
    } else {
        errorLabel_->clear();
        predicateText_->setText(predicate_->format());
    }
    // A name with control characters (pasted in) is never saved.
    const QString nameProblem = filterNameProblem(filterName_->text());
    if (!nameProblem.isEmpty() && !error_) errorLabel_->setText(u"Name: %1"_s.arg(nameProblem));
    filterCriteria_->setExtraSelections(marks);
    applyButton_->setEnabled(predicate_ != nullptr);
    saveButton_->setEnabled(predicate_ != nullptr && nameProblem.isEmpty());
}

void FilterSheet::insertComparison(int index) {
    if (index < 0) return;
    const QString key = filterType_->itemData(index).toString();
    QTextCursor cursor = filterCriteria_->textCursor();
    const bool joins = !criteria().trimmed().isEmpty();
    cursor.insertText((joins ? u" AND "_s : QString()) + key + u" ==[cd] ''"_s);
    cursor.movePosition(QTextCursor::Left);  // between the quotes
    filterCriteria_->setTextCursor(cursor);
    filterCriteria_->setFocus();
}

}  // namespace vf::ui
