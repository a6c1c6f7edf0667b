#pragma once

#include "surfaces/FloatingPanel.h"
#include "surfaces/NudgeView.h"

// The window of one nudge: a floating panel holding the nudge's card.
class NudgePanel : public FloatingPanel {
public:
    NudgePanel(const NudgeView& view, bool composited);
};
