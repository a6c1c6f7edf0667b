#include "workday/CallDetector.h"

#include "core/Log.h"
#include "workday/CallApps.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"

CallDetector::CallDetector(MicUsage& mic, Windows& windows, Clock clock, QObject* parent)
    : QObject(parent), m_mic(mic), m_windows(windows), m_clock(std::move(clock)) {
    m_timer.setInterval(tickSeconds * 1000);
    // The timer is the detector's own, so a tick never outlives it.
    connect(&m_timer, &QTimer::timeout, this, &CallDetector::tick);
}

void CallDetector::start() {
    m_timer.start();
}

void CallDetector::tick() {
    if (isRecording())
        watchForEnd();
    else
        watchForStart();
}

void CallDetector::watchForEnd() {
    if (!recordingFromCall()) return;
    bool inUse = false;
    if (recordingUsesMic()) {
        // The recording holds the microphone itself: only someone else's use says that the call goes on.
        const std::optional<bool> others = m_mic.othersUsingInput();
        if (!others) return;
        inUse = *others;
    } else {
        inUse = m_mic.inputRunningSomewhere();
    }
    if (inUse) {
        m_quietSince.reset();
        return;
    }
    const QDateTime now = m_clock();
    if (!m_quietSince) m_quietSince = now;
    if (m_endPrompted) return;
    if (m_quietSince->msecsTo(now) >= qint64(quietSeconds * 1000)) {
        m_endPrompted = true;
        onCallEnded();
    }
}

void CallDetector::watchForStart() {
    // One reading of the sound server serves the whole tick.
    const MicUsage::Reading mic = m_mic.read();
    if (!mic.running) {
        m_micWasOn = false;
        m_offered = false;
        return;
    }
    m_micWasOn = true;
    if (m_offered || !enabled()) return;
    // A call app's window may still be opening: the next tick tries again.
    const std::optional<CallHit> hit = identify(mic.procs);
    if (!hit) return;
    m_offered = true;
    slog(QStringLiteral("call detected: %1 \u201c%2\u201d").arg(hit->app, hit->title.value_or(QString())));
    onCallStart(*hit);
}

std::optional<CallHit> CallDetector::browserScan(const QList<Windows::Win>& windows) const {
    for (const Windows::Win& w : windows) {
        if (!CallApps::browserName(w.appId)) continue;
        if (const std::optional<QString> call = CallApps::webCall(w.title)) return CallHit{*call, w.title};
    }
    return std::nullopt;
}

std::optional<CallHit> CallDetector::identify() {
    return identify(m_mic.processesUsingInput());
}

std::optional<CallHit> CallDetector::identify(const std::optional<QList<MicUsage::Proc>>& procs) {
    const QList<Windows::Win> windows = m_windows.list();
    if (procs) {
        for (const MicUsage::Proc& p : *procs) {
            if (p.pid == m_mic.ownPid()) continue;
            if (const std::optional<QString> name = CallApps::nativeName(p.appId)) {
                // A helper process of a call app leads to the app's main window.
                for (const Windows::Win& app : Windows::running(windows)) {
                    if (CallApps::nativeName(app.appId) == name)
                        return CallHit{*name, Windows::frontTitle(windows, app.pid)};
                }
                return CallHit{*name, std::nullopt};
            }
            if (const std::optional<QString> browser = CallApps::browserName(p.appId)) {
                if (std::optional<CallHit> hit = browserScan(windows)) return hit;
                return CallHit{*browser, std::nullopt};
            }
        }
    }
    if (const std::optional<Windows::Win> front = m_windows.frontmost()) {
        const std::optional<QString> title = Windows::frontTitle(windows, front->pid);
        if (const std::optional<QString> name = CallApps::nativeName(front->appId))
            return CallHit{*name, title};
        if (CallApps::browserName(front->appId) && title) {
            if (const std::optional<QString> call = CallApps::webCall(*title)) return CallHit{*call, title};
        }
    }
    if (std::optional<CallHit> hit = browserScan(windows)) return hit;
    // Someone else holds the microphone, a dictation tool say: no call.
    if (procs && !procs->isEmpty()) return std::nullopt;
    // The system can't say who records: a call app that is open is the best guess, apart from the ones that
    // stay open all day.
    for (const Windows::Win& app : Windows::running(windows)) {
        const std::optional<QString> name = CallApps::nativeName(app.appId);
        if (name && *name != QLatin1String("Slack") && *name != QLatin1String("Teams"))
            return CallHit{*name, Windows::frontTitle(windows, app.pid)};
    }
    return std::nullopt;
}

void CallDetector::resetForRecording() {
    m_quietSince.reset();
    m_endPrompted = false;
}

void CallDetector::suppressCurrent() {
    m_offered = true;
    m_micWasOn = m_mic.inputRunningSomewhere();
}
