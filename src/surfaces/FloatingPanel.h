#pragma once

#include "surfaces/design/Motion.h"

#include <QPointer>
#include <QWidget>
#include <functional>
#include <optional>

class OVCard;
class QPropertyAnimation;
class QWindow;

// What the desktop offers a floating panel. The composition root answers for the window system in use.
struct PanelDesktop {
    // A compositing manager runs: only then do clear pixels show what lies beneath and opacity fade.
    std::function<bool()> composited = [] { return true; };
    // Asks the window manager to keep the window on every virtual desktop; called before each show.
    std::function<void(QWindow&)> onAllDesktops = [](QWindow&) {};
};

// A window that floats over the user's work: frameless, above other windows, without a taskbar entry. By
// default it never takes the keyboard focus from the user's window; it still takes the first click and shows
// tooltips. A menu-like panel is left alone by the window manager instead (override-redirect) and is given
// the focus by its owner. It holds one card. Under a compositing manager the card's shadow and rounded
// corners lie on a clear ground; without one, clear pixels would show black, so the window is cut to the
// card's rounded shape.
class FloatingPanel : public QWidget {
public:
    enum class Focus { never, menu };
    explicit FloatingPanel(bool composited, Focus focus = Focus::never);

    bool composited() const { return m_composited; }
    // Sizes the window to the card, or to `size`, and, without compositing, cuts it to the card's shape.
    void fitTo(OVCard& card, std::optional<QSize> size = std::nullopt);
    // Moves the window there and remembers the place: right after openbox maps a window, Qt's idea of its
    // position is sometimes (0, 0) while the window stands where it was put.
    void place(QPoint origin);
    // The card's own area in global coordinates, without the shadow's margin, where the panel was placed.
    QRect cardFrame() const;

    // Shows the panel where it stands, fading in unless motion is reduced or nothing composites.
    void appear(const Motion& motion);
    // Fades out the same way, then hides.
    void vanish(const Motion& motion);

private:
    void fade(double to, std::function<void()> done);

    bool m_composited;
    QPoint m_origin;
    QPointer<QPropertyAnimation> m_fade;
};
