#pragma once

#include "os/AudioCapture.h"
#include "os/AudioSystem.h"
#include "os/CapturePermission.h"
#include "os/FrameStream.h"
#include "os/HotKeySource.h"
#include "os/IdleSource.h"
#include "os/Notifications.h"
#include "os/PressMonitor.h"
#include "os/ScreenSource.h"
#include "os/SecretStore.h"
#include "os/SpeechEngine.h"
#include "os/TextRecognizer.h"
#include "os/WindowSystem.h"
#include "os/linux/AppIdentities.h"

#include <memory>

// The one place that picks the Linux implementation of each system service.
namespace os::linux_backends {

// The Secret Service when the session bus offers one, else a private file at fallbackPath (logged once).
std::unique_ptr<SecretStore> makeSecretStore(const QString& fallbackPath);
std::unique_ptr<ScreenSource> makeScreenSource();
// The frames of a recording, every two seconds, without our own windows.
std::unique_ptr<FrameStream> makeFrameStream();
// The primary screen now, at full size, with our own windows painted out as in the recording's frames. Throws
// ScreenError when the screen cannot be read.
ScreenFrame grabPrimaryWithoutOwnWindows();
std::unique_ptr<IdleSource> makeIdleSource();
// Who records from the microphone, from the sound server; the windows, from the window manager. Both name
// programs through `identities`, which must outlive them.
std::unique_ptr<AudioSystem> makeAudioSystem(AppIdentities& identities);
std::unique_ptr<WindowSystem> makeWindowSystem(AppIdentities& identities);
// A recogniser for the calling thread; its model loads on its first use.
std::unique_ptr<TextRecognizer> makeTextRecognizer();
// The desktop's notification centre on the session bus; without one, posts are logged and dropped.
std::unique_ptr<Notifications> makeNotifications();
std::unique_ptr<AudioCapture> makeAudioCapture();
// Speech on this computer; the model loads with the first decoder, on the thread that asks for it.
std::unique_ptr<SpeechEngine> makeSpeechEngine();
// Whether the screen and the microphone can be recorded, and the settings page for each. `currentDesktop`
// is XDG_CURRENT_DESKTOP, which picks the sound settings to open.
std::unique_ptr<CapturePermission> makeCapturePermission(const QString& currentDesktop);
// Global keys: grabs on the X server in an X11 session; under Wayland the desktop's GlobalShortcuts portal,
// else commands on `commandBus` (the running copy's name on the session bus) that the user binds to the
// desktop's shortcuts; elsewhere a source that has none.
std::unique_ptr<HotKeySource> makeHotKeySource(bool x11Session, bool waylandSession,
                                               const QString& commandBus);
// Clicks anywhere, for closing the tray panel.
std::unique_ptr<PressMonitor> makePressMonitor(bool x11Session);

} // namespace os::linux_backends
