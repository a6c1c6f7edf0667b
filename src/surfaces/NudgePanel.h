#pragma once

#include "surfaces/NudgeView.h"
#include "surfaces/design/Motion.h"

#include <QWidget>

// The window of one nudge: frameless, above other windows, without a taskbar entry, and never taking the
// keyboard focus from the user's window; it still takes the first click. Its background is clear round the
// card.
class NudgePanel : public QWidget {
public:
    explicit NudgePanel(const NudgeView& view);

    // Shows the panel where it stands, fading in unless motion is reduced.
    void appear(const Motion& motion);
};
