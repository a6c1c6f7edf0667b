#pragma once

#include "core/Clock.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/TrayAnchor.h"

#include <QPointer>
#include <optional>

class MenuModel;
class PopoverPanel;
namespace os {
class PressMonitor;
}

// The tray panel on the screen: opened at the tray icon, closed by Escape, by an action, by a click anywhere
// else or when another window takes the focus. It grabs nothing, so a click elsewhere still reaches its
// target and the global keys keep working. The panel is made once and reused. Main thread.
class PopoverController : public QObject {
    Q_OBJECT
public:
    struct Needs {
        MenuModel& model;
        PanelDesktop desktop;
        std::function<Motion()> motion;
        os::PressMonitor& presses;
        // Gives the shown panel the keyboard focus.
        std::function<void(WId)> focus;
        // Runs first at each opening: the owner rebuilds the menu.
        std::function<void()> onOpen;
        Clock now;
    };

    // A click on the icon that closed the panel arrives as an activation right after: within this it is
    // the same click, and the panel stays closed.
    static constexpr std::chrono::milliseconds reopenGuard{300};

    explicit PopoverController(Needs needs, QObject* parent = nullptr);
    ~PopoverController() override;

    void toggle(const TrayAnchor& from);
    void open(const TrayAnchor& from);
    void close();
    bool isOpen() const { return m_shown; }
    // The panel's window once made.
    PopoverPanel* panel() const;

signals:
    void openChanged(bool open);

private:
    void makePanel();
    void layout();
    // A click elsewhere or the focus gone: closed, and an activation that follows at once is that click.
    void closeFromOutside();
    void pressed(QPoint global);

    Needs m_n;
    QPointer<PopoverPanel> m_panel;
    std::optional<TrayAnchor> m_anchor;
    bool m_shown = false;
    std::optional<QDateTime> m_closedFromOutside;
};
