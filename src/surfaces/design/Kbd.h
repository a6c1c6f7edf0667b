#pragma once

#include "surfaces/design/ValueWidget.h"

#include <QString>

struct KbdValue {
    QString text;
};

// A key hint in a small monospaced box.
class Kbd : public ValueWidget<KbdValue> {
public:
    explicit Kbd(KbdValue value, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};
