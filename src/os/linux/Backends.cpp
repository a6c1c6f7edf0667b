#include "os/linux/Backends.h"

#include "os/linux/CommandKeys.h"
#include "os/linux/FreedesktopNotifications.h"
#include "os/linux/KWinWindowSystem.h"
#include "os/linux/LibsecretStore.h"
#include "os/linux/MutterIdleSource.h"
#include "os/linux/OwnWindowMarks.h"
#include "os/linux/PocketSphinxEngine.h"
#include "os/linux/PortalFrameStream.h"
#include "os/linux/PortalHotKeySource.h"
#include "os/linux/PortalScreenSource.h"
#include "os/linux/PulseAudioCapture.h"
#include "os/linux/PulseAudioSystem.h"
#include "os/linux/SwayWindowSystem.h"
#include "os/linux/TesseractRecognizer.h"
#include "os/linux/WaylandIdleSource.h"
#include "os/linux/X11FrameCamera.h"
#include "os/linux/X11FrameStream.h"
#include "os/linux/X11HotKeySource.h"
#include "os/linux/X11IdleSource.h"
#include "os/linux/X11PressMonitor.h"
#include "os/linux/X11PulseCapturePermission.h"
#include "os/linux/X11ScreenSource.h"
#include "os/linux/X11WindowSystem.h"

#include <QDBusConnection>
#include <QFile>
#include <QSaveFile>
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

// A Wayland desktop that shows no program which window is in front (GNOME's, among others).
class NoFrontmost final : public WindowSystem {
public:
    QList<Window> windows() override { return {}; }
    std::optional<Window> activeWindow() override { return std::nullopt; }
    bool knowsFrontmost() const override { return false; }
};

// XDG_CURRENT_DESKTOP is a colon-separated list, "ubuntu:GNOME" say.
bool desktopIs(const QString& currentDesktop, QLatin1StringView name) {
    const QStringList names = currentDesktop.split(QLatin1Char(':'));
    return names.contains(name, Qt::CaseInsensitive);
}

} // namespace

std::unique_ptr<SecretStore> makeSecretStore(const QString& fallbackPath) {
    // A server without a desktop has no keyring: keys stay usable, in a file only this user can read. Which
    // of the two answers is found out off the main thread, where a dead daemon cannot hold up the start.
    return std::make_unique<LibsecretStore>(fallbackPath);
}

std::unique_ptr<ScreenSource> makeScreenSource(bool wayland) {
    if (wayland) return std::make_unique<PortalScreenSource>(QDBusConnection::sessionBus());
    return std::make_unique<X11ScreenSource>();
}

std::unique_ptr<FrameStream> makeFrameStream(bool wayland, const QString& portalToken) {
    // Under Wayland an X grab would see only XWayland's programs.
    if (!wayland) return std::make_unique<X11FrameStream>();
    PortalFrameStream::Tokens tokens;
    if (!portalToken.isEmpty()) {
        tokens.load = [portalToken] {
            QFile file(portalToken);
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
        };
        tokens.save = [portalToken](const QString& token) {
            QSaveFile file(portalToken);
            if (file.open(QIODevice::WriteOnly)) {
                file.write(token.toUtf8());
                file.commit();
            }
        };
    }
    return std::make_unique<PortalFrameStream>(std::move(tokens), &ownmarks::shown);
}

ScreenFrame grabPrimaryWithoutOwnWindows(bool wayland) {
    if (wayland) return PortalScreenSource(QDBusConnection::sessionBus()).grabPrimary();
    X11FrameCamera camera(QString(), std::numeric_limits<int>::max());
    return camera.take();
}

std::optional<QImage> pickRegionWithDesktopTool() {
    return PortalScreenSource(QDBusConnection::sessionBus()).pickRegion();
}

std::unique_ptr<IdleSource> makeIdleSource(bool wayland, const QString& currentDesktop) {
    if (!wayland) return std::make_unique<X11IdleSource>();
    // Mutter offers programs no idle protocol, only its D-Bus monitor.
    if (desktopIs(currentDesktop, QLatin1StringView("GNOME"))) return std::make_unique<MutterIdleSource>();
    return std::make_unique<WaylandIdleSource>();
}

std::unique_ptr<AudioSystem> makeAudioSystem(AppIdentities& identities) {
    // PipeWire desktops serve the same protocol through pipewire-pulse.
    return std::make_unique<PulseAudioSystem>(identities);
}

std::unique_ptr<WindowSystem> makeWindowSystem(AppIdentities& identities, bool wayland,
                                               const QString& currentDesktop, const QString& swaySocket) {
    if (!wayland) return std::make_unique<X11WindowSystem>(identities);
    // Under Wayland no client may list other programs' windows; some compositors tell through their own
    // channels.
    if (!swaySocket.isEmpty()) return std::make_unique<SwayWindowSystem>(identities, swaySocket);
    if (desktopIs(currentDesktop, QLatin1StringView("KDE")))
        return std::make_unique<KWinWindowSystem>(identities);
    return std::make_unique<NoFrontmost>();
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
