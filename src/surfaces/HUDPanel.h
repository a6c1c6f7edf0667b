#pragma once

#include "core/Clock.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/HUDModel.h"

#include <QTimer>
#include <optional>

class HUDView;
class HUDPill;
class HUDCard;
class HUDDot;
class LiveMeter;

// The recording panel's window: the model's mode as a pill, the card or a dot. Its background drags it; a
// click on the pill or the dot asks for the card.
class HUDPanel : public FloatingPanel {
    Q_OBJECT
public:
    HUDPanel(HUDModel& model, const LiveMeter* meter, Motion motion, const Clock& now, bool composited);

    // Shows the view of the model's mode, redrawn, and sizes the window to it.
    void refresh();
    HUDView& view() const;

signals:
    // The user dragged the panel somewhere else and let go.
    void dragged();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void updateTicking();

    HUDModel& m_model;
    HUDPill* m_pill;
    HUDCard* m_card;
    HUDDot* m_dot;
    // The elapsed time changes once a second; the dot shows none.
    QTimer m_tick;
    std::optional<QPoint> m_pressedAt; // a press that may still become a click, on the screen
    QPoint m_grip;                     // where the press was in the window
    bool m_dragging = false;
};
