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
#include <optional>

// The one place that picks the Linux implementation of each system service.
namespace os::linux_backends {

// The Secret Service when the session bus offers one, else a private file at fallbackPath (logged once).
std::unique_ptr<SecretStore> makeSecretStore(const QString& fallbackPath);
std::unique_ptr<ScreenSource> makeScreenSource(bool wayland);
// The frames of a recording, every two seconds, without our own windows: from the X server, or on Wayland
// from the desktop's ScreenCast portal, whose restore token is kept in the file `portalToken`.
std::unique_ptr<FrameStream> makeFrameStream(bool wayland, const QString& portalToken = {});
// The primary screen now, at full size, with our own windows painted out as in the recording's frames. Throws
// ScreenError when the screen cannot be read.
ScreenFrame grabPrimaryWithoutOwnWindows(bool wayland);
// A part of the screen the user picks in the desktop's own screenshot tool (Wayland, where a program of its
// own cannot freeze the screen); nothing when cancelled. Throws ScreenError.
std::optional<QImage> pickRegionWithDesktopTool();
// Under Wayland, GNOME's idle monitor on the session bus when `currentDesktop` (XDG_CURRENT_DESKTOP) names
// GNOME, else the compositor's idle protocols; the X server's screen-saver extension otherwise.
std::unique_ptr<IdleSource> makeIdleSource(bool wayland, const QString& currentDesktop);
// Who records from the microphone, from the sound server; the windows, from the window manager. Both name
// programs through `identities`, which must outlive them.
std::unique_ptr<AudioSystem> makeAudioSystem(AppIdentities& identities);
// Under Wayland: sway's IPC when `swaySocket` (SWAYSOCK) is set, a KWin script when `currentDesktop` names
// KDE, else a desktop that tells no program which window is in front.
std::unique_ptr<WindowSystem> makeWindowSystem(AppIdentities& identities, bool wayland,
                                               const QString& currentDesktop, const QString& swaySocket);
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
