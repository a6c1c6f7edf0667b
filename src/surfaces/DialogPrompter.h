#pragma once

#include "surfaces/Prompter.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QWidget>

class QDialog;

// Asks in a small dialog in the app's own look, window-modal and without a nested event loop. Orvane has no
// window in front when a call nudge or a hot key asks, so a shown alert is made the active window through
// `activate`. Closing the dialog (its close button, Escape) answers nothing. Without a display (no widget
// application, or the offscreen platform) the alert is logged and answered with nothing. Main thread.
class DialogPrompter final : public Prompter {
public:
    // `activate` makes the window with this id the active one; may be empty where the desktop places it.
    explicit DialogPrompter(std::function<void(WId window)> activate = {});
    ~DialogPrompter() override;
    DialogPrompter(const DialogPrompter&) = delete;
    DialogPrompter& operator=(const DialogPrompter&) = delete;

    void ask(Alert alert, std::function<void(std::optional<QString> button)> answered) override;

private:
    std::function<void(WId)> m_activate;
    QList<QPointer<QDialog>> m_open;
    QObject m_alive; // answers still queued when this goes are dropped with it
};
