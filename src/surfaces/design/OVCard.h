#pragma once

#include "surfaces/design/ValueWidget.h"

struct OVCardValue {
    double radius = 14;
    bool glow = false; // a faint accent light at the top
    int padding = 14;
};

// A card in the card colour with a hairline and a soft shadow, holding one content widget. The shadow is
// drawn inside the widget's bounds, in a margin of `shadowMargin` on each side.
class OVCard : public ValueWidget<OVCardValue> {
public:
    static constexpr int shadowMargin = 12;

    explicit OVCard(OVCardValue value, QWidget* content = nullptr, QWidget* parent = nullptr);
    void setContent(QWidget* content);

protected:
    void paintEvent(QPaintEvent* event) override;
};
