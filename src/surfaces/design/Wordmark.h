#pragma once

#include "surfaces/design/ValueWidget.h"

struct WordmarkValue {
    double size = 9.5; // points; the header's size
};

// The product's name: "[ OR/VANE ]" in monospaced capitals, the slash in the accent.
class Wordmark : public ValueWidget<WordmarkValue> {
public:
    explicit Wordmark(WordmarkValue value = {}, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};
