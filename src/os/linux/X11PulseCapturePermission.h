#pragma once

#include "os/CapturePermission.h"
#include "os/linux/PulseQuery.h"
#include "os/linux/SettingsCommand.h"

#include <QObject>
#include <QString>

struct xcb_connection_t;

namespace os {

// X11 and PulseAudio ask the user nothing: the screen can be recorded while the X display answers, the
// microphone while the sound server's default source is a real source, not the monitor of an output (the
// source the recording takes, which it refuses when it is a monitor). Each check is one round trip, cheap
// enough for every tune-in; a dead sound server costs at most PulseQuery's deadline. Why there is no
// microphone is logged when it changes, not at every check. Main thread.
class X11PulseCapturePermission final : public CapturePermission {
public:
    // `display` names the X display (":1"); empty means $DISPLAY. `currentDesktop` is XDG_CURRENT_DESKTOP.
    X11PulseCapturePermission(QString display, QString currentDesktop);
    ~X11PulseCapturePermission() override;
    X11PulseCapturePermission(const X11PulseCapturePermission&) = delete;
    X11PulseCapturePermission& operator=(const X11PulseCapturePermission&) = delete;

    bool screenPreflight() override;
    void requestScreen() override {}
    Mic micStatus() override;
    // Nobody to ask: answers whether the microphone is there now, on the next turn of the event loop.
    void requestMic(std::function<void(bool granted)> granted) override;
    // X11 has no setting that keeps a program from the screen, so there is no page for it.
    bool canOpenSettings(Pane pane) const override;
    void openSettings(Pane pane) override;

private:
    std::optional<SettingsCommand> settingsFor(Pane pane) const;
    // Why there is no microphone, or nothing when there is one.
    std::optional<QString> noMicrophone();
    void note(const std::optional<QString>& why);

    QString m_display;
    QString m_currentDesktop;
    xcb_connection_t* m_x = nullptr;
    bool m_screenWas = true; // so that a display going or coming back is logged once
    PulseQuery m_sound;
    std::optional<QString> m_micWhy;
    QObject m_alive; // answers still queued when this goes are dropped with it
};

} // namespace os
