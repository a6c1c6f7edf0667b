#pragma once

#include "surfaces/FloatingPanel.h"

class MenuModel;
class PopoverView;

// The tray panel's window: override-redirect like a menu, so no window manager places it, stacks it or
// refuses it the focus; it takes the keyboard focus itself each time it is shown, which is how its keys work
// at once. It holds the panel's view and answers the panel's keys.
class PopoverPanel : public FloatingPanel {
    Q_OBJECT
public:
    PopoverPanel(MenuModel& model, bool composited, std::function<void(WId)> focus);

    PopoverView& view() const { return *m_view; }

signals:
    // The keyboard focus went to another window.
    void focusLost();
    // Escape or Ctrl+W: the panel is to close, through its owner.
    void closeWanted();

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    PopoverView* m_view;
    std::function<void(WId)> m_focus;
    bool m_focusWanted = false;
    bool m_hadFocus = false;
};
