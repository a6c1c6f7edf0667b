#include "os/linux/Backends.h"

#include "os/linux/CommandKeys.h"
#include "os/linux/FreedesktopNotifications.h"
#include "os/linux/LibsecretStore.h"
#include "os/linux/PocketSphinxEngine.h"
#include "os/linux/PortalHotKeySource.h"
#include "os/linux/PulseAudioCapture.h"
#include "os/linux/PulseAudioSystem.h"
#include "os/linux/TesseractRecognizer.h"
#include "os/linux/X11FrameCamera.h"
#include "os/linux/X11FrameStream.h"
#include "os/linux/X11HotKeySource.h"
#include "os/linux/X11IdleSource.h"
#include "os/linux/X11PressMonitor.h"
#include "os/linux/X11PulseCapturePermission.h"
#include "os/linux/X11ScreenSource.h"
#include "os/linux/X11WindowSystem.h"

#include <limits>

namespace os::linux_backends {

namespace {

// A desktop that gives no program global keys: every key is refused.
class NoHotKeys final : public HotKeySource {
public:
    bool available() const override { return false; }
    std::optional<QString> registerKey(quint32, KeyCombination, const KeyAction&) override {
        return QStringLiteral("no global keys on this desktop");
    }
};

// A desktop that shows a program no clicks but its own: the tray panel closes when it loses the focus.
class NoPressMonitor final : public PressMonitor {
public:
    void start() override {}
    void stop() override {}
};

} // namespace

std::unique_ptr<SecretStore> makeSecretStore(const QString& fallbackPath) {
    // A server without a desktop has no keyring: keys stay usable, in a file only this user can read. Which
    // of the two answers is found out off the main thread, where a dead daemon cannot hold up the start.
    return std::make_unique<LibsecretStore>(fallbackPath);
}

std::unique_ptr<ScreenSource> makeScreenSource() {
    // X11 is the only capture built so far; a Wayland backend (ScreenCast portal) would be chosen here.
    return std::make_unique<X11ScreenSource>();
}

std::unique_ptr<FrameStream> makeFrameStream() {
    // Under Wayland the ScreenCast portal would stream instead.
    return std::make_unique<X11FrameStream>();
}

ScreenFrame grabPrimaryWithoutOwnWindows() {
    X11FrameCamera camera(QString(), std::numeric_limits<int>::max());
    return camera.take();
}

std::unique_ptr<IdleSource> makeIdleSource() {
    return std::make_unique<X11IdleSource>();
}

std::unique_ptr<AudioSystem> makeAudioSystem(AppIdentities& identities) {
    // PipeWire desktops serve the same protocol through pipewire-pulse.
    return std::make_unique<PulseAudioSystem>(identities);
}

std::unique_ptr<WindowSystem> makeWindowSystem(AppIdentities& identities) {
    // X11 only so far; under Wayland no client may list other programs' windows.
    return std::make_unique<X11WindowSystem>(identities);
}
std::unique_ptr<TextRecognizer> makeTextRecognizer() {
    return std::make_unique<TesseractRecognizer>();
}

std::unique_ptr<Notifications> makeNotifications() {
    // Every Linux desktop (GNOME, Plasma, XFCE, dunst, mako) speaks the freedesktop protocol, Wayland or not.
    return std::make_unique<FreedesktopNotifications>();
}

std::unique_ptr<AudioCapture> makeAudioCapture() {
    // libpulse speaks to PulseAudio and to PipeWire's pulse server alike, and it can record a sink's monitor.
    return std::make_unique<PulseAudioCapture>();
}

std::unique_ptr<SpeechEngine> makeSpeechEngine() {
    // PocketSphinx works offline with Debian's own models; nothing leaves the computer.
    return std::make_unique<PocketSphinxEngine>();
}

std::unique_ptr<CapturePermission> makeCapturePermission(const QString& currentDesktop) {
    // Neither X11 nor PulseAudio asks the user; under Wayland the ScreenCast portal would.
    return std::make_unique<X11PulseCapturePermission>(QString(), currentDesktop);
}

std::unique_ptr<HotKeySource> makeHotKeySource(bool x11Session, bool waylandSession,
                                               const QString& commandBus) {
    if (x11Session) return std::make_unique<X11HotKeySource>();
    if (!waylandSession) return std::make_unique<NoHotKeys>();
    // Under Wayland an X grab reaches only the X programs' windows: the desktop's portal gives the keys where
    // it has one, else the user binds our commands to its shortcuts.
    auto portal = std::make_unique<PortalHotKeySource>();
    if (portal->available()) return portal;
    return std::make_unique<CommandKeys>(QDBusConnection::sessionBus(), commandBus);
}

std::unique_ptr<PressMonitor> makePressMonitor(bool x11Session) {
    if (!x11Session) return std::make_unique<NoPressMonitor>();
    return std::make_unique<X11PressMonitor>();
}

} // namespace os::linux_backends
