#pragma once

#include "app/Capture.h"
#include "app/Config.h"
#include "app/EndOfDay.h"
#include "app/Pinning.h"
#include "core/Clock.h"
#include "core/Keychain.h"
#include "os/AudioCapture.h"
#include "os/AudioSystem.h"
#include "os/CapturePermission.h"
#include "os/HotKeySource.h"
#include "os/IdleSource.h"
#include "os/LoginStart.h"
#include "os/Notifications.h"
#include "os/PressMonitor.h"
#include "os/ScreenSource.h"
#include "os/SecretStore.h"
#include "os/SpeechEngine.h"
#include "os/WindowSystem.h"
#include "os/linux/AppIdentities.h"
#include "recording/OCR.h"
#include "server/Settings.h"
#include "surfaces/Browser.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/HUD.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"
#include "surfaces/Prompter.h"
#include "surfaces/StatusItem.h"
#include "surfaces/design/LiveMeter.h"
#include "voice/VoiceListener.h"
#include "voice/VoicePill.h"

#include <QNetworkAccessManager>
#include <QSettings>
#include <memory>

// The composition root's long-lived services, built once with the operating-system backends picked here.
class QWidget;

struct Services {
    Config config;
    Clock now = systemNow;
    // The wait between the polls of a flow that waits on the server.
    EndOfDay::Sleeper sleep = EndOfDay::timerSleep;
    std::unique_ptr<os::SecretStore> secrets;
    std::unique_ptr<os::ScreenSource> screen;
    std::unique_ptr<os::IdleSource> idle;
    std::unique_ptr<os::AppIdentities> identities;
    std::unique_ptr<os::AudioSystem> audio;
    std::unique_ptr<os::WindowSystem> windows;
    // Started by a recording; nothing connects to the sound server before.
    std::unique_ptr<os::AudioCapture> audioCapture;
    std::unique_ptr<os::FrameStream> frames;
    std::unique_ptr<OCR> ocr;
    std::unique_ptr<Keychain> keychain;
    std::unique_ptr<QNetworkAccessManager> network;
    std::unique_ptr<QSettings> defaults;
    std::unique_ptr<Settings> settings;
    std::unique_ptr<os::Notifications> notifications;
    std::unique_ptr<Browser> browser;
    // The approval page of a sign-in.
    std::unique_ptr<Browser> signInBrowser;
    // Where the app's own pages open (a review, a filed recording, a board): none for the board window,
    // which the controller makes; a stand-in for tests that leave the window out.
    std::unique_ptr<Browser> pages;
    std::unique_ptr<Notify> notify;
    // The one nudge card, for every flow that speaks through it.
    std::unique_ptr<Nudges> nudges;
    std::unique_ptr<os::CapturePermission> permission;
    // Ctrl+Alt+R, Ctrl+Alt+P and Ctrl+Alt+Space from any window.
    std::unique_ptr<os::HotKeySource> hotKeys;
    // The level and activity of the recording, for the panel's orb.
    std::unique_ptr<LiveMeter> meter;
    std::unique_ptr<Prompter> prompter;
    // Starting with the desktop session; none leaves the setting out.
    std::unique_ptr<os::LoginStart> loginStart;
    // The tray icon, made at the start; none where the desktop is stood in for (the flows' tests), which then
    // have no tray panel either.
    std::function<std::unique_ptr<StatusItem>()> makeStatusItem;
    // Brings a window asked for again to the user's desktop and front; empty where the desktop does it.
    std::function<void(QWidget&)> bringForward;
    // What floating panels ask of the desktop, and how they move.
    PanelDesktop panelDesktop;
    std::function<Motion()> motion;
    // Clicks anywhere on the screen, and the focus given to the tray panel when it shows.
    std::unique_ptr<os::PressMonitor> presses;
    std::function<void(WId)> focusPanel;
    // The recording panel, made at the start and shown by the first recording.
    std::unique_ptr<HUD> hud;
    // The capture of each new recording.
    CaptureFactory capture;
    // The two steps of a pin made by hand.
    std::function<void(Pinning::Region)> selectRegion;
    std::function<void(const QImage&, bool recording, std::function<void(std::optional<QString>)>)> askNote;
    // Speech on this computer: its model loads at the first use. None leaves live hearing out.
    std::unique_ptr<os::SpeechEngine> speech;
    // Push-to-talk over a microphone capture of its own (a recording's may run beside it), the pill that
    // shows what it hears (none: nothing drawn), and the screen it pins.
    std::unique_ptr<os::AudioCapture> voiceCapture;
    std::unique_ptr<VoiceListener> voice;
    std::unique_ptr<PillDisplay> pillDisplay;
    std::function<void(std::function<void(std::optional<QByteArray>)>)> grabScreen;

    static std::unique_ptr<Services> build(const Config& config);
    // How windows asked for again reach the user on this display: through the X window manager, or nothing.
    static std::function<void(QWidget&)> windowBringer();
};
