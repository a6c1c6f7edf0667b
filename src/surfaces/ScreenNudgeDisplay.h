#pragma once

#include "surfaces/FloatingPanel.h"
#include "surfaces/NudgeDisplay.h"

#include <QPoint>
#include <QPointer>
#include <functional>

class NudgePanel;

// Where a nudge panel of this size stands: at the top right of the available area, its clear margin reaching
// just past the edges, and moved down below `avoid` when it would cover it.
QPoint nudgeOrigin(const QRect& available, const QSize& panel, std::optional<QRect> avoid);

// Nudges as windows at the top right of the primary screen, one new panel for each.
class ScreenNudgeDisplay : public NudgeDisplay {
public:
    // `motion` and the desktop are asked again for each nudge, so a change of the desktop's setting or of its
    // compositing shows on the next one.
    explicit ScreenNudgeDisplay(std::function<Motion()> motion, PanelDesktop desktop = {});
    ~ScreenNudgeDisplay() override;

    void present(const NudgeView& view, std::optional<QRect> avoid) override;
    void keepClearOf(std::optional<QRect> avoid) override;
    void withdraw() override;

    // The panel on screen, if any.
    QWidget* panel() const;

private:
    std::function<Motion()> m_motion;
    PanelDesktop m_desktop;
    QPointer<NudgePanel> m_panel;
};
