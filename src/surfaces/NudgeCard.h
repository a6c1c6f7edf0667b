#pragma once

#include "surfaces/NudgeView.h"
#include "surfaces/design/OVCard.h"

// A nudge drawn from its view: the tag chip and a close button, the icon, the title, the message and the
// buttons.
class NudgeCard : public OVCard {
public:
    static constexpr int width = 340; // the card itself; the widget adds the shadow margin

    explicit NudgeCard(const NudgeView& view, QWidget* parent = nullptr);
};
