#include "app/Services.h"

#include "app/SingleCopy.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "os/linux/Backends.h"
#include "os/linux/DesktopAnimations.h"
#include "os/linux/X11Panels.h"
#include "os/linux/X11WindowActivation.h"
#include "os/linux/XdgAutostart.h"
#include "recording/Frames.h"
#include "surfaces/DesktopBrowser.h"
#include "surfaces/DialogPrompter.h"
#include "surfaces/HUDController.h"
#include "surfaces/ScreenNudgeDisplay.h"
#include "voice/MicVoiceListener.h"
#include "voice/PinCapture.h"
#include "voice/ScreenGrab.h"
#include "voice/VoicePillPanel.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

std::unique_ptr<Services> Services::build(const Config& config) {
    auto s = std::make_unique<Services>();
    s->config = config;
    // Linux is the one platform: the Secret Service when the desktop has one; the screen from X11 or the
    // ScreenCast portal; idle time from X11, GNOME's shell or the Wayland compositor.
    s->secrets = os::linux_backends::makeSecretStore(Paths::support() + QStringLiteral("/secrets.json"));
    s->screen = os::linux_backends::makeScreenSource(config.waylandSession);
    s->idle = os::linux_backends::makeIdleSource(config.waylandSession, config.desktop);
    s->identities = std::make_unique<os::AppIdentities>();
    s->audio = os::linux_backends::makeAudioSystem(*s->identities);
    s->windows = os::linux_backends::makeWindowSystem(*s->identities, config.waylandSession, config.desktop,
                                                      config.swaySocket);
    // Nothing connects to the sound server until a source starts.
    s->audioCapture = os::linux_backends::makeAudioCapture();
    s->ocr = std::make_unique<OCR>(&os::linux_backends::makeTextRecognizer);
    s->frames = os::linux_backends::makeFrameStream(config.waylandSession,
                                                    Paths::support() + QStringLiteral("/screencast-token"));
    s->capture = [s = s.get()](std::shared_ptr<Session> session) -> std::unique_ptr<Capture> {
        auto capture = std::make_unique<RecorderCapture>(
            std::move(session), Recorder::Sources{*s->frames, *s->audioCapture, *s->ocr});
        // The level arrives on the capture's thread; the meter lives on the main thread.
        capture->onMicLevel = [meter = s->meter.get()](float rms) {
            QMetaObject::invokeMethod(meter, [meter, rms] { meter->feedMic(rms); });
        };
        return capture;
    };
    s->keychain = std::make_unique<Keychain>(*s->secrets, config.keychainService);
    s->defaults =
        std::make_unique<QSettings>(Settings::defaultsPath(config.defaultsSuite), QSettings::IniFormat);
    s->network = API::makeNetwork();
    s->settings = std::make_unique<Settings>(*s->defaults, *s->keychain, *s->network);
    s->notifications = os::linux_backends::makeNotifications();
    // Pages that are not the board's, and the sign-in's approval page.
    const auto browsing = config.noBrowser ? DesktopBrowser::Mode::logOnly : DesktopBrowser::Mode::open;
    s->browser = std::make_unique<DesktopBrowser>(browsing);
    s->signInBrowser = std::make_unique<DesktopBrowser>(browsing, QStringLiteral("sign-in: would open "));
    s->notify = std::make_unique<Notify>(*s->notifications, *s->settings);
    // Floating windows ask X whether anything composites, and go on every virtual desktop.
    s->panelDesktop = {&os::x11CompositingManagerRuns, [](QWindow& window) { os::x11OnAllDesktops(window); }};
    s->motion = [] { return Motion(!os::desktopAnimationsEnabled()); };
    const PanelDesktop& desktop = s->panelDesktop;
    const auto& motion = s->motion;
    s->nudges = std::make_unique<Nudges>(std::make_unique<ScreenNudgeDisplay>(motion, desktop));
    s->permission = os::linux_backends::makeCapturePermission(config.desktop);
    // X grabs in an X11 session; under Wayland the desktop's portal, or commands at the running copy's name.
    s->hotKeys =
        os::linux_backends::makeHotKeySource(config.x11Session, config.waylandSession, SingleCopy::busName);
    s->presses = os::linux_backends::makePressMonitor(config.x11Session);
    s->focusPanel = [](WId window) { os::focusX11Window(quint32(window)); };
    // Alerts and the pin's note come up when Orvane has no window in front: the window manager is asked to
    // raise them.
    const auto activate = [](WId window) { os::activateX11Window(quint32(window)); };
    s->prompter = std::make_unique<DialogPrompter>(activate);
    s->loginStart = std::make_unique<os::XdgAutostart>(os::XdgAutostart::defaultFolder(),
                                                       QCoreApplication::applicationFilePath());
    s->bringForward = windowBringer();
    s->makeStatusItem = [] {
        return std::make_unique<StatusItem>(StatusItem::Needs{&os::x11SystemTrayRuns});
    };
    s->meter = std::make_unique<LiveMeter>();
    s->selectRegion = [wayland = config.waylandSession](Pinning::Region done) {
        if (wayland) {
            // No program of its own may freeze a Wayland screen: the desktop's screenshot tool picks the
            // part.
            std::optional<QImage> region;
            try {
                region = os::linux_backends::pickRegionWithDesktopTool();
            } catch (const os::ScreenError& error) {
                slog(QStringLiteral("region: ") + QString::fromUtf8(error.what()));
            }
            done(region ? Frames::jpeg(*region, PinCapture::jpegQuality, PinCapture::jpegMaxWidth)
                        : std::nullopt);
            return;
        }
        // The primary screen is frozen as the recording sees it, without Orvane's own windows.
        PinCapture::selectRegion(std::move(done), [](QScreen& screen) {
            if (&screen != QGuiApplication::primaryScreen()) return QImage();
            QImage frozen;
            try {
                frozen = os::linux_backends::grabPrimaryWithoutOwnWindows(false).image;
            } catch (const os::ScreenError&) {
                return QImage(); // the picker falls back to a plain grab, which says what went wrong
            }
            frozen.setDevicePixelRatio(screen.devicePixelRatio());
            return frozen;
        });
    };
    s->askNote = [activate](const QImage& image, bool recording, PinCapture::NoteAnswer answer) {
        PinCapture::askNote(image, recording, activate, std::move(answer));
    };
    s->hud = std::make_unique<HUDController>(*s->defaults, *s->meter, desktop, motion, s->now);
    s->speech = os::linux_backends::makeSpeechEngine();
    s->voiceCapture = os::linux_backends::makeAudioCapture();
    s->voice = std::make_unique<MicVoiceListener>(*s->speech, *s->voiceCapture);
    s->pillDisplay = std::make_unique<ScreenPillDisplay>(motion, desktop);
    // A spoken screenshot keeps the screen, not the pill that heard it.
    const auto grabPrimary = [wayland = config.waylandSession] {
        return os::linux_backends::grabPrimaryWithoutOwnWindows(wayland);
    };
    s->grabScreen = [grab = std::make_shared<ScreenGrab>(grabPrimary)](ScreenGrab::Completion done) {
        grab->mainDisplay(std::move(done));
    };
    return s;
}

// The window manager raises a window only when asked as a task bar asks; without X, nothing to ask.
std::function<void(QWidget&)> Services::windowBringer() {
    if (QGuiApplication::platformName() != QLatin1String("xcb")) return {};
    return [](QWidget& window) {
        os::moveX11WindowToCurrentDesktop(quint32(window.winId()));
        os::activateX11Window(quint32(window.winId()));
    };
}
