#pragma once
// A label for one line of status text that never widens its window: text
// longer than the room it gets ends in "…", and the whole text is its tool
// tip.
//
// Main thread only.

#include <QLabel>

namespace vf::ui {

class ElidedLabel final : public QLabel {
    Q_OBJECT
public:
    explicit ElidedLabel(const QString& text, QWidget* parent = nullptr);

    QSize minimumSizeHint() const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace vf::ui
