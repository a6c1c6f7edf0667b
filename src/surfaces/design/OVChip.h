#pragma once

#include "surfaces/design/Tone.h"
#include "surfaces/design/ValueWidget.h"

#include <QString>

struct OVChipValue {
    QString text;
    Tone tone = Tone::plain;
};

// A small rounded tag in its tone's colour.
class OVChip : public ValueWidget<OVChipValue> {
public:
    explicit OVChip(OVChipValue value, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};
