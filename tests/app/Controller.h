#pragma once

#include "app/AppDelegate.h"
#include "app/Services.h"
#include "core/Paths.h"
#include "fakes/FakeBrowser.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeCapturePermission.h"
#include "fakes/FakeDesktop.h"
#include "fakes/FakeHUD.h"
#include "fakes/FakeHotKeySource.h"
#include "fakes/FakeNotifications.h"
#include "fakes/FakePrompter.h"
#include "fakes/FakeVoiceListener.h"
#include "fakes/MemorySecretStore.h"
#include "fakes/RecordingNudgeDisplay.h"
#include "recording/Session.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

// The program's controller with its real settings and HTTP client, and the desktop-side services in memory:
// the nudges it shows, the notifications it posts and the pages it opens can be read and clicked.
// Recordings live in the test's support folder, emptied for each controller.
class Controller {
public:
    // `display` puts the nudges somewhere else than in memory, on the screen say; `nudges` is then empty.
    explicit Controller(const QString& platformBase, double askSeconds = 120,
                        std::unique_ptr<NudgeDisplay> display = nullptr) {
        // Polls follow each other at once.
        services.sleep = [](std::chrono::milliseconds) -> QCoro::Task<> { co_return; };
        QDir(Paths::recordings()).removeRecursively();
        QDir(Paths::pins()).removeRecursively();
        services.config.askSeconds = askSeconds;
        services.now = [this] { return now; };
        // Polls follow each other at once.
        services.sleep = [](std::chrono::milliseconds) -> QCoro::Task<> { co_return; };
        services.idle = std::make_unique<FakeIdleSource>();
        services.identities = std::make_unique<os::AppIdentities>();
        services.audio = std::make_unique<FakeAudioSystem>();
        audio = static_cast<FakeAudioSystem*>(services.audio.get());
        services.windows = std::make_unique<FakeWindowSystem>();
        windows = static_cast<FakeWindowSystem*>(services.windows.get());
        services.screen = std::make_unique<FakeScreenSource>();
        screen = static_cast<FakeScreenSource*>(services.screen.get());
        services.permission = std::make_unique<FakeCapturePermission>();
        permission = static_cast<FakeCapturePermission*>(services.permission.get());
        services.prompter = std::make_unique<FakePrompter>();
        prompter = static_cast<FakePrompter*>(services.prompter.get());
        services.meter = std::make_unique<LiveMeter>();
        services.hotKeys = std::make_unique<FakeHotKeySource>();
        keys = static_cast<FakeHotKeySource*>(services.hotKeys.get());
        services.hud = std::make_unique<FakeHUD>([this] { return now; });
        hud = static_cast<FakeHUD*>(services.hud.get());
        services.capture = FakeCapture::factory(captures);
        services.selectRegion = [this](Pinning::Region done) { region = std::move(done); };
        services.askNote = [this](const QImage&, bool recording,
                                  std::function<void(std::optional<QString>)> answer) {
            notesAsked.append(recording);
            answer(note);
        };
        services.voice = std::make_unique<FakeVoiceListener>();
        voice = static_cast<FakeVoiceListener*>(services.voice.get());
        services.grabScreen = [this](std::function<void(std::optional<QByteArray>)> done) {
            done(screenJpeg);
        };
        services.secrets = std::make_unique<MemorySecretStore>();
        services.keychain = std::make_unique<Keychain>(*services.secrets, QStringLiteral("svc"));
        services.defaults =
            std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat);
        services.network = API::makeNetwork();
        services.settings =
            std::make_unique<Settings>(*services.defaults, *services.keychain, *services.network);
        services.settings->setPlatformBase(platformBase);
        auto notifications = std::make_unique<FakeNotifications>();
        posted = notifications.get();
        services.notifications = std::move(notifications);
        services.browser = std::make_unique<FakeBrowser>();
        auto pages = std::make_unique<FakeBrowser>();
        opened = pages.get();
        services.pages = std::move(pages);
        services.signInBrowser = std::make_unique<FakeBrowser>();
        services.notify = std::make_unique<Notify>(*services.notifications, *services.settings);
        services.notify->setup({});
        services.bringForward = Services::windowBringer();
        if (!display) {
            auto recording = std::make_unique<RecordingNudgeDisplay>();
            nudges = recording.get();
            display = std::move(recording);
        }
        services.nudges = std::make_unique<Nudges>(std::move(display));
        delegate = std::make_unique<AppDelegate>(services, Arguments(QStringList{}));
    }

    Settings& settings() { return *services.settings; }
    AppDelegate& app() { return *delegate; }

    // Signs in with the local platform's account key and loads its projects.
    bool signInAndLoadProjects(const QString& key = QStringLiteral("dev-key")) {
        settings().signIn(key, QStringLiteral("dev@orvane.test"), std::nullopt);
        bool done = false;
        delegate->account().refreshAccount([&] { done = true; });
        return QTest::qWaitFor([&] { return done; }, 10000) && !settings().projects().isEmpty();
    }

    // A finished recording on disk, as the recorder leaves it.
    std::shared_ptr<Session> recorded(const QString& title,
                                      const QDateTime& started = QDateTime::currentDateTimeUtc()) {
        auto session = Session::create(title, QStringLiteral("Zoom"), std::nullopt, started);
        session->meta.ended = started.addSecs(60);
        session->save();
        return session;
    }

    // The nudge on screen, when one is.
    const NudgeView* shownNudge() const { return nudges && nudges->onScreen ? &nudges->last() : nullptr; }
    bool showsNudge(const QString& title) const { return shownNudge() && shownNudge()->title == title; }
    // Presses the button of the nudge on screen; false when there is no such button.
    bool press(const QString& button) {
        const NudgeView* view = shownNudge();
        if (!view) return false;
        for (const NudgeButton& b : view->buttons)
            if (b.title == button) {
                b.action();
                return true;
            }
        return false;
    }

    // The flows' "now", moved by the tests.
    QDateTime now = QDateTime::currentDateTimeUtc();
    FakeNotifications* posted = nullptr;
    FakeAudioSystem* audio = nullptr;
    FakeWindowSystem* windows = nullptr;
    FakeScreenSource* screen = nullptr;
    FakeCapturePermission* permission = nullptr;
    FakePrompter* prompter = nullptr;
    FakeHUD* hud = nullptr;
    FakeHotKeySource* keys = nullptr;
    FakeCapture::Script captures;
    // The region picker waiting for the user, and the note the user writes (nothing: cancelled).
    Pinning::Region region;
    std::optional<QString> note = QStringLiteral("ship the beta on the 14th");
    QList<bool> notesAsked;
    FakeBrowser* opened = nullptr;
    FakeVoiceListener* voice = nullptr;
    // What a spoken "screenshot" grabs: nothing when the screen cannot be read.
    std::optional<QByteArray> screenJpeg = QByteArray("jpeg");
    RecordingNudgeDisplay* nudges = nullptr;

private:
    QTemporaryDir m_dir;

public:
    Services services;
    std::unique_ptr<AppDelegate> delegate;
};
