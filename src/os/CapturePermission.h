#pragma once

#include <functional>

namespace os {

// Whether the desktop lets Orvane record the screen and the microphone, and asking when it does not.
// X11 and PulseAudio ask nothing: the screen is allowed while a display answers, the microphone while the
// sound server has a source that is not a monitor. Main thread.
class CapturePermission {
public:
    enum class Mic { notDetermined, allowed, denied, none };
    // The desktop settings a permission alert can open.
    enum class Pane { screen, microphone };

    virtual ~CapturePermission() = default;

    // Whether recording the screen works now, without asking anyone.
    virtual bool screenPreflight() = 0;
    // Asks the desktop to allow recording the screen (nothing to ask on X11).
    virtual void requestScreen() = 0;
    virtual Mic micStatus() = 0;
    // Asks for the microphone; `granted` runs later on the main thread, never inside the call.
    virtual void requestMic(std::function<void(bool granted)> granted) = 0;
    // Whether this desktop has a settings page for the pane that `openSettings` can open.
    virtual bool canOpenSettings(Pane pane) const = 0;
    virtual void openSettings(Pane pane) = 0;
};

} // namespace os
