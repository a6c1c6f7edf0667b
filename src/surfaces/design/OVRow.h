#pragma once

#include "surfaces/design/ValueWidget.h"

#include <QAbstractButton>
#include <optional>

struct OVRowValue {
    enum class Trailing { text, key, symbol };
    std::optional<QString> symbol; // the name of a Symbol in the leading column
    QString title;
    std::optional<QString> detail;
    bool selected = false;
    bool dim = false; // tertiary text
    std::optional<QString> trailing;
    Trailing trailingAs = Trailing::text; // plain text, a key hint's box, or the name of a Symbol
    bool operator==(const OVRowValue&) const = default;
};

// A list row that lights up under the pointer; its action is the clicked signal.
class OVRow : public ValueWidget<OVRowValue, QAbstractButton> {
public:
    explicit OVRow(OVRowValue value, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};
