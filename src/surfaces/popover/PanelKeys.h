#pragma once

#include <QObject>
#include <functional>

class MenuModel;

// The tray panel's keys, wherever the panel stands (under the icon, or in a window of its own without a
// tray): ↑ and ↓ walk the rows, Return runs the selected one, Escape closes, Ctrl+, opens the settings and
// Ctrl+O the board. Installed on the panel's window, it sees a key before any row could take it.
class PanelKeys : public QObject {
public:
    PanelKeys(MenuModel& model, std::function<void()> close, QObject* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    MenuModel& m_model;
    std::function<void()> m_close;
};
