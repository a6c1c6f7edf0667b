#pragma once

#include "surfaces/FloatingPanel.h"
#include "voice/VoicePill.h"

#include <functional>

// The pill on the screen: a panel centred at the top of the primary screen that never takes the focus and
// lets every click through to the window beneath.
class ScreenPillDisplay : public PillDisplay {
public:
    ScreenPillDisplay(std::function<Motion()> motion, PanelDesktop desktop);
    ~ScreenPillDisplay() override;

    void present(const Model& model) override;
    void withdraw() override;
    // The panel, while one shows; for pictures and checks.
    QWidget* panel() const;

private:
    std::function<Motion()> m_motion;
    PanelDesktop m_desktop;
    QPointer<FloatingPanel> m_panel;
};

// The pill alone, for pictures of it; `pulse` animates the red dot while listening.
OVCard* makePillCard(const PillDisplay::Model& model, bool pulse);
// The panel, not yet shown or placed; `pulse` animates the red dot while listening.
FloatingPanel* makePillPanel(const PillDisplay::Model& model, bool composited, bool pulse);
