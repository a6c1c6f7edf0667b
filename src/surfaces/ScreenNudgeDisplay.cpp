#include "surfaces/ScreenNudgeDisplay.h"

#include "surfaces/NudgePanel.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

QPoint nudgeOrigin(const QRect& available, const QSize& panel, std::optional<QRect> avoid) {
    constexpr int beyondRight = 4, aboveTop = 8;
    QRect frame(QPoint(available.right() + 1 + beyondRight - panel.width(), available.top() - aboveTop),
                panel);
    if (avoid && avoid->intersects(frame)) frame.moveTop(avoid->bottom() + 1 - aboveTop);
    return frame.topLeft();
}

ScreenNudgeDisplay::ScreenNudgeDisplay(std::function<Motion()> motion, PanelDesktop desktop)
    : m_motion(std::move(motion)), m_desktop(std::move(desktop)) {}

ScreenNudgeDisplay::~ScreenNudgeDisplay() {
    delete m_panel.data();
}

void ScreenNudgeDisplay::present(const NudgeView& view, std::optional<QRect> avoid) {
    auto* panel = new NudgePanel(view, m_desktop.composited());
    // Without a screen the panel stays where the window system puts it.
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        panel->place(nudgeOrigin(screen->availableGeometry(), panel->size(), avoid));
    m_panel = panel;
    panel->winId();
    m_desktop.onAllDesktops(*panel->windowHandle());
    panel->appear(m_motion());
}

void ScreenNudgeDisplay::keepClearOf(std::optional<QRect> avoid) {
    if (const QScreen* screen = QGuiApplication::primaryScreen(); m_panel && screen)
        m_panel->place(nudgeOrigin(screen->availableGeometry(), m_panel->size(), avoid));
}

void ScreenNudgeDisplay::withdraw() {
    if (!m_panel) return;
    m_panel->hide();
    // Later: the call may come from one of the panel's own buttons.
    m_panel->deleteLater();
    m_panel = nullptr;
}

QWidget* ScreenNudgeDisplay::panel() const {
    return m_panel;
}
