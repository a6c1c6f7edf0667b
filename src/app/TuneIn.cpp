#include "app/TuneIn.h"

#include "core/Fmt.h"
#include "core/Log.h"
#include "core/Strings.h"
#include "recording/Session.h"
#include "server/Settings.h"
#include "surfaces/HUD.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"
#include "surfaces/Prompter.h"
#include "voice/LiveHearing.h"
#include "workday/CallApps.h"
#include "workday/CallDetector.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"

#include <QDir>
#include <QPointer>

using namespace std::chrono_literals;
using Pane = os::CapturePermission::Pane;

namespace {

const QString withoutMicButton = QStringLiteral("Tune in without mic");
const QString cancelButton = QStringLiteral("Cancel");
const QString settingsButton = QStringLiteral("Open Settings");
const QString soundSettingsButton = QStringLiteral("Open Sound Settings");
const QString wrapUpButton = QStringLiteral("Wrap up");
const QString screenPlace = QStringLiteral(
    "Allow Orvane in Settings \u203a Privacy \u203a Screen Sharing, then quit and reopen Orvane.");
constexpr int callCheckTicks = 15;

HUDModel::Track shown(TrackHealth::State state) {
    return state == TrackHealth::State::Sound ? HUDModel::Track::sound : HUDModel::Track::silent;
}

} // namespace

TuneIn::TuneIn(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_nudges(needs.nudges), m_prompter(needs.prompter),
      m_permission(needs.permission), m_hud(needs.hud), m_detector(needs.detector), m_mic(needs.mic),
      m_windows(needs.windows), m_makeCapture(std::move(needs.capture)),
      m_screenWorks(std::move(needs.screenWorks)), m_now(std::move(needs.now)), m_hearing(needs.hearing) {
    m_recTimer.setInterval(1s);
    connect(&m_recTimer, &QTimer::timeout, this, &TuneIn::tick);
    HUDModel& model = m_hud.model();
    connect(&model, &HUDModel::stopWanted, this, &TuneIn::stopRecording);
    if (m_hearing)
        connect(m_hearing, &LiveHearing::phrase, this, [this](const QString& phrase) {
            if (m_capture) m_hud.model().add(FeedItem::Kind::heard, phrase);
        });
}

TuneIn::~TuneIn() = default;

TuneIn::State TuneIn::state() const {
    if (m_saving) return State::saving;
    if (m_capture) return State::recording;
    if (m_starting || m_probing) return State::starting;
    return State::idle;
}

void TuneIn::startRecording(const std::optional<CallHit>& hit) {
    if (state() != State::idle) return;
    m_nudges.dismiss(QStringLiteral("call"));
    if (m_permission.screenPreflight()) {
        startWithMic(hit);
        return;
    }
    // A "no" is not taken as final: the real probe decides, after this event, with no change on screen.
    m_probing = true;
    const QPointer<TuneIn> self(this);
    QTimer::singleShot(0, this, [self, hit] {
        self->m_probing = false;
        const bool works = self->m_screenWorks();
        slog(QStringLiteral("screen access: preflight=false sck=%1")
                 .arg(works ? QStringLiteral("true") : QStringLiteral("false")));
        if (works) {
            self->startWithMic(hit);
            return;
        }
        self->m_permission.requestScreen();
        self->permissionAlert(QStringLiteral("Orvane has no screen to record"),
                              QStringLiteral("Orvane runs outside a desktop session (no display). Start it "
                                             "from your desktop, then tune in again."),
                              Pane::screen);
    });
}

void TuneIn::startWithMic(const std::optional<CallHit>& hit) {
    switch (m_permission.micStatus()) {
    case os::CapturePermission::Mic::allowed:
        begin(hit, true);
        return;
    case os::CapturePermission::Mic::notDetermined: {
        // The state stays idle while the user is asked; a second request meets begin's guard.
        const QPointer<TuneIn> self(this);
        m_permission.requestMic([self, hit](bool granted) {
            if (!self) return;
            if (granted)
                self->begin(hit, true);
            else
                self->withoutMic(hit, NoMic::denied);
        });
        return;
    }
    case os::CapturePermission::Mic::denied:
        withoutMic(hit, NoMic::denied);
        return;
    case os::CapturePermission::Mic::none:
        withoutMic(hit, NoMic::missing);
        return;
    }
}

void TuneIn::withoutMic(const std::optional<CallHit>& hit, NoMic why) {
    const bool denied = why == NoMic::denied;
    const QString openButton = denied ? settingsButton : soundSettingsButton;
    QStringList buttons{withoutMicButton};
    if (m_permission.canOpenSettings(Pane::microphone)) buttons.append(openButton);
    buttons.append(cancelButton);
    Alert alert{
        .title = denied ? QStringLiteral("Microphone access is off") : QStringLiteral("No microphone found"),
        .text = denied
                    ? QStringLiteral("Without the mic Orvane records only the other side and your screen. To "
                                     "include your voice, allow Orvane in Settings \u203a Privacy \u203a "
                                     "Microphone.")
                    : QStringLiteral("Without the mic Orvane records only the other side and your screen. To "
                                     "include your voice, connect a microphone or choose one in the sound "
                                     "settings, then tune in again."),
        .buttons = buttons};
    const QPointer<TuneIn> self(this);
    m_prompter.ask(std::move(alert), [self, hit, why, openButton](const std::optional<QString>& button) {
        if (!self || !button) return;
        if (*button == withoutMicButton) {
            self->m_noMic = why;
            self->begin(hit, false);
        } else if (*button == openButton) {
            self->m_permission.openSettings(Pane::microphone);
        }
    });
}

void TuneIn::permissionAlert(const QString& title, const QString& text, Pane pane) {
    // Without a settings page to open there is nothing to choose: the alert only tells.
    const bool canOpen = m_permission.canOpenSettings(pane);
    Alert alert{.title = title,
                .text = text,
                .buttons =
                    canOpen ? QStringList{settingsButton, cancelButton} : QStringList{QStringLiteral("OK")}};
    const QPointer<TuneIn> self(this);
    m_prompter.ask(std::move(alert), [self, pane](const std::optional<QString>& button) {
        if (self && button == settingsButton) self->m_permission.openSettings(pane);
    });
}

void TuneIn::begin(const std::optional<CallHit>& hit, bool mic) {
    // Two requests that both passed the permission stages make one recording.
    if (m_capture || m_starting) return;
    if (mic) m_noMic.reset();
    const QDateTime now = m_now();
    const QString title = hit ? CallApps::recordingTitle(hit->app, hit->title, now.toLocalTime())
                              : QStringLiteral("Work session \u00b7 ") + Fmt::human(now);
    auto session = Session::create(title, hit ? hit->app : QStringLiteral("Screen"), std::nullopt, now);
    session->meta.fromCall = hit.has_value();
    // On disk from here, without an end: a crash leaves something to recover.
    session->save();
    m_starting = m_makeCapture(session);
    const QPointer<TuneIn> self(this);
    m_starting->onStreamError = [self](const QString& text) {
        if (self) self->onStreamError(text);
    };
    m_starting->onEvent = [self](FeedItem::Kind kind, const QString& text) {
        if (self) self->m_hud.model().add(kind, text);
    };
    // The capture's thread; hearing takes what it is given only while it runs.
    if (LiveHearing* hearing = m_hearing)
        m_starting->onMicBuffer = [hearing](const AudioBuffer& buffer) { hearing->append(buffer); };
    emit changed();
    m_starting->start(mic, [self, hit](const std::optional<QString>& error) {
        if (self) self->started(hit, error);
    });
}

void TuneIn::started(const std::optional<CallHit>& hit, const std::optional<QString>& error) {
    std::unique_ptr<Capture> capture = std::move(m_starting);
    if (!capture) return;
    if (error) {
        // A failed start leaves nothing behind.
        const QString dir = capture->session()->dir;
        capture.reset();
        QDir(dir).removeRecursively();
        emit changed();
        slog(QStringLiteral("start failed: ") + *error);
        const QString lower = error->toLower();
        if (lower.contains(QLatin1String("declined")) || lower.contains(QLatin1String("permission")))
            permissionAlert(QStringLiteral("Orvane could not record the screen"),
                            *error + QStringLiteral("\n\n") + screenPlace, Pane::screen);
        else
            m_prompter.ask({.title = QStringLiteral("Could not tune in"), .text = *error},
                           [](const auto&) {});
        return;
    }
    m_capture = std::move(capture);
    m_fromCall = hit.has_value();
    m_detector.resetForRecording();
    m_recTicks = 0;
    sampleRecordingApp();
    m_capture->setAutoPin(m_settings.autoPin());
    m_hud.show(m_now().addMSecs(-qint64(m_capture->elapsed() * 1000)), m_capture->micOk());
    m_hud.model().setHearing(startHearing());
    m_recTimer.start();
    emit changed();
    if (!hit) return;
    const QString message =
        m_capture->micOk()
            ? QStringLiteral("Recording screen & audio: mic = you, system audio = the other side. Ctrl+Alt+P "
                             "adds a pin.")
        : m_noMic == NoMic::denied ? QStringLiteral("Without your mic (permission off).")
                                   : QStringLiteral("Without your mic (no microphone).");
    const QPointer<TuneIn> self(this);
    m_nudges.show({.kind = QStringLiteral("recording"),
                   .priority = 2,
                   .icon = QStringLiteral("\u260f"),
                   .title = QStringLiteral("Orvane active on your %1 call").arg(hit->app),
                   .message = message,
                   .buttons = {{wrapUpButton, false,
                                [self] {
                                    if (self) self->stopRecording();
                                }},
                               {QStringLiteral("OK"), true, [] {}}},
                   .timeout = 12s});
}

bool TuneIn::startHearing() {
    if (!m_hearing || !m_capture->micOk() || !m_settings.liveHearing()) return false;
    return m_hearing->start();
}

void TuneIn::toggleRecording() {
    if (m_capture)
        stopRecording();
    else if (state() == State::idle)
        startRecording(std::nullopt);
}

void TuneIn::stopRecording() {
    if (!m_capture || m_saving) return;
    m_saving = std::move(m_capture);
    m_fromCall = false;
    m_recTimer.stop();
    if (m_hearing) m_hearing->stop();
    m_hud.hide();
    for (const char* kind : {"callEnded", "recording", "tip"})
        m_nudges.dismiss(QString::fromLatin1(kind));
    emit changed();
    const QPointer<TuneIn> self(this);
    m_saving->stop([self](std::shared_ptr<Session> session) {
        if (!self) return;
        self->m_saving.reset();
        // The call that just ended is not offered again.
        self->m_detector.suppressCurrent();
        emit self->changed();
        emit self->saved(std::move(session));
    });
}

void TuneIn::onStreamError(const QString& text) {
    if (!m_capture) return;
    m_nudges.show({.kind = QStringLiteral("streamError"),
                   .priority = 3,
                   .title = QStringLiteral("Session stopped by the system"),
                   .message = text + QStringLiteral("\nWhat was recorded so far is being saved."),
                   .timeout = 15s});
    stopRecording();
}

void TuneIn::callDetected(const CallHit& hit) {
    if (busy()) return;
    if (m_settings.autoRecordCalls()) {
        startRecording(hit);
        return;
    }
    QString message;
    if (hit.title) message = QStringLiteral("\u201c%1\u201d\n").arg(shortened(*hit.title, 70));
    message += QStringLiteral("Records screen & audio: mic = you, system audio = the other side. You choose "
                              "where it goes after.");
    const QPointer<TuneIn> self(this);
    m_nudges.show({.kind = QStringLiteral("call"),
                   .priority = 3,
                   .icon = QStringLiteral("\u260f"),
                   .title = QStringLiteral("Call in %1 \u2014 tune in?").arg(hit.app),
                   .message = message,
                   .buttons = {{QStringLiteral("Not now"), false,
                                [self] {
                                    if (self) self->m_detector.suppressCurrent();
                                }},
                               {QStringLiteral("Tune in"), true,
                                [self, hit] {
                                    if (self) self->startRecording(hit);
                                }}},
                   .timeout = 60s});
}

void TuneIn::callEnded() {
    if (!m_capture) return;
    const QPointer<TuneIn> self(this);
    // A recording never stops by itself at the end of a call: the user decides.
    m_nudges.show({.kind = QStringLiteral("callEnded"),
                   .priority = 3,
                   .icon = QStringLiteral("\u25a0"),
                   .title = QStringLiteral("Call ended \u2014 wrap up?"),
                   .message = QStringLiteral("Nobody else has used the mic for 20 seconds."),
                   .buttons = {{QStringLiteral("Keep going"), false,
                                [self] {
                                    if (self) self->m_detector.resetForRecording();
                                }},
                               {wrapUpButton, true, [self] {
                                    if (self) self->stopRecording();
                                }}}});
}

void TuneIn::tick() {
    emit ticked();
    if (!m_capture) return;
    ++m_recTicks;
    m_capture->setAutoPin(m_settings.autoPin());
    if (m_recTicks % 2 == 0) sampleRecordingApp();
    if (m_recTicks % callCheckTicks == 0 && !m_capture->isCall()) checkForCall();
    showTrackHealth();
}

// A work session turns into a call when someone else takes the microphone; without ours running, when anyone
// does.
void TuneIn::checkForCall() {
    // One reading of the sound server answers both questions: on a busy desktop each costs milliseconds.
    const MicUsage::Reading mic = m_mic.read();
    const bool othersTalk =
        m_capture->micOk() ? m_mic.othersUsingInput(mic.procs) == std::optional<bool>(true) : mic.running;
    if (!othersTalk) return;
    if (const std::optional<CallHit> hit = m_detector.identify(mic.procs)) m_capture->markCall(hit->app);
}

void TuneIn::showTrackHealth() {
    const Recorder::TrackStates tracks = m_capture->trackStates();
    m_hud.model().setTracks(shown(tracks.system), tracks.mic ? shown(*tracks.mic) : HUDModel::Track::off);
}

void TuneIn::sampleRecordingApp() {
    const std::optional<os::Window> front = m_windows.frontmost();
    if (!front) return;
    const QString name = !front->owner.isEmpty()   ? front->owner
                         : !front->appId.isEmpty() ? front->appId
                                                   : QStringLiteral("?");
    m_capture->noteApp(name, front->appId,
                       front->title.isEmpty() ? std::nullopt : std::optional<QString>(front->title));
}
