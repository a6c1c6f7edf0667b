#pragma once

#include "surfaces/design/ValueWidget.h"

#include <QAbstractButton>
#include <optional>

struct OVRowValue {
    std::optional<QString> symbol; // a short glyph in the leading column
    QString title;
    std::optional<QString> detail;
    bool selected = false;
    bool dim = false; // tertiary text
    std::optional<QString> trailing;
};

// A list row that lights up under the pointer; its action is the clicked signal.
class OVRow : public ValueWidget<OVRowValue, QAbstractButton> {
public:
    explicit OVRow(OVRowValue value, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};
