#include "recording/Recorder.h"

#include "core/Log.h"
#include "core/Privacy.h"
#include "core/Strings.h"
#include "os/CpuStages.h"
#include "recording/AudioError.h"
#include "recording/Frames.h"
#include "recording/Mixer.h"
#include "recording/Speaking.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <algorithm>
#include <chrono>
#include <cmath>

namespace {
// Frames come every 2 seconds; the gate lets a late one through.
constexpr double frameGate = 1.8;
// Text checks of frames that barely changed run at most this often.
constexpr double textCheckInterval = 4.0;
// A system buffer whose time stamp is this far from the clock has a broken stamp.
constexpr double stampTolerance = 5.0;
constexpr double jpegQuality = 0.6;
constexpr int levelStride = 4;

LevelTrack levels(const MonoWriter& writer) {
    return LevelTrack{writer.offset().value_or(0), writer.meter().rms(), writer.meter().window()};
}

QString oneDecimal(double seconds) {
    return QString::number(seconds, 'f', 1);
}
using os::cpustages::Scope;
using os::cpustages::Stage;
} // namespace

Recorder::Recorder(std::shared_ptr<Session> session, Sources sources)
    : m_session(std::move(session)), m_sources(std::move(sources)),
      m_mic(m_session->url(QStringLiteral("mic.m4a"))), m_sys(m_session->url(QStringLiteral("system.m4a"))) {}

// Without a stop the callbacks must still end before the object does; the tracks stay as the recovery finds
// them. The frames handed in go through their flow first: a frame on the capture queue, or a text check on
// the text queue, may still post to the other queue, and the text queue is destroyed first.
Recorder::~Recorder() {
    endCapture();
    settle();
}

void Recorder::endCapture() {
    m_sources.frames.stop();
    // On the capture queue, so that no restart of a source runs after this.
    m_q.sync([this] {
        m_streaming = false;
        m_systemRunning = false;
        m_micRunning = false;
    });
    m_sources.audio.stop(os::AudioSource::System);
    m_sources.audio.stop(os::AudioSource::Mic);
}

double Recorder::elapsed() const {
    return m_startedHost > 0 ? std::max(m_sources.hostClock() - m_startedHost, 0.0) : 0.0;
}

void Recorder::start(bool withMic) {
    m_withMic = withMic;
    m_startedHost = m_sources.hostClock();
    m_sysHealth.emplace(QStringLiteral("system"), m_startedHost);
    if (withMic) m_micHealth.emplace(QStringLiteral("mic"), m_startedHost);

    QSize size;
    m_streaming = true;
    try {
        size = m_sources.frames.start({[this](os::ScreenFrame frame) {
                                           if (m_framesWaiting.fetch_add(1) >= frameQueueDepth) {
                                               --m_framesWaiting;
                                               return;
                                           }
                                           m_q.async([this, frame = std::move(frame)]() mutable {
                                               --m_framesWaiting;
                                               onFrame(std::move(frame));
                                           });
                                       },
                                       [this](const QString& error) {
                                           slog(QStringLiteral("stream stopped: ") + error);
                                           onMain([callback = onStreamError, error] {
                                               if (callback) callback(error);
                                           });
                                       },
                                       [this] { m_q.async([this] { onUnchanged(); }); }});
    } catch (const os::ScreenError& error) {
        m_streaming = false;
        throw AudioError(AudioError::Kind::Format, QString::fromUtf8(error.what()));
    }
    m_q.sync([this] {
        startSystemAudio();
        if (m_withMic) startMic();
        m_session->meta.micOk = m_micOk;
        m_session->save();
    });
    m_q.after(healthInterval, [this] { checkHealth(); });
    slog(QStringLiteral("recording started: %1 %2x%3 mic=%4")
             .arg(QFileInfo(m_session->dir).fileName())
             .arg(size.width())
             .arg(size.height())
             .arg(m_micOk ? QStringLiteral("true") : QStringLiteral("false")));
}

// On the capture queue, like every start and restart of a source, so that a restart never races the stop.
void Recorder::startSystemAudio() {
    try {
        m_sources.audio.start(os::AudioSource::System,
                              {[this](const AudioBuffer& buffer, double at) {
                                   const Scope handOff(Stage::SoundHandOff);
                                   m_sysHealth->heard(m_sources.hostClock(), buffer.allZero());
                                   m_q.async(
                                       [this, copy = AudioCopy(buffer), at] { onSystemAudio(copy, at); });
                               },
                               [this] { m_q.async([this] { restart(os::AudioSource::System); }); }});
        m_systemRunning = true;
    } catch (const os::AudioCaptureError& error) {
        logStartFailure(QStringLiteral("system audio start failed: ") + QString::fromUtf8(error.what()));
        m_systemRunning = false;
    }
}

void Recorder::startMic() {
    try {
        m_sources.audio.start(os::AudioSource::Mic,
                              {[this](const AudioBuffer& buffer, double at) { onMicAudio(buffer, at); },
                               [this] { m_q.async([this] { restart(os::AudioSource::Mic); }); }});
        m_micRunning = true;
        m_micOk = true;
    } catch (const os::NoMicrophoneError&) {
        logStartFailure(QStringLiteral("no microphone input"));
    } catch (const os::AudioCaptureError& error) {
        // The recording goes on without the microphone.
        logStartFailure(QStringLiteral("mic start failed: ") + QString::fromUtf8(error.what()));
    }
}

// The health check tries a failed source again every few seconds; a computer without a microphone would
// otherwise log the same line all through the recording.
void Recorder::logStartFailure(const QString& line) {
    if (!m_loggedFailures.contains(line)) {
        m_loggedFailures.insert(line);
        slog(line);
    }
}

void Recorder::restart(os::AudioSource source) {
    const bool mic = source == os::AudioSource::Mic;
    bool& running = mic ? m_micRunning : m_systemRunning;
    if (!running) return;
    slog(QStringLiteral("audio configuration changed: restarting ") +
         (mic ? QStringLiteral("mic") : QStringLiteral("system audio")));
    m_sources.audio.stop(source);
    running = false;
    // The writer carries on: the gap becomes silence on the timeline.
    if (mic)
        startMic();
    else
        startSystemAudio();
}

// Capture thread: the buffer is valid only during the call, so the writer gets a copy.
void Recorder::onMicAudio(const AudioBuffer& buffer, double at) {
    const Scope handOff(Stage::SoundHandOff);
    const double now = m_sources.hostClock();
    if (buffer.frames <= 0) return;
    m_micHealth->heard(now, buffer.allZero());
    if (onMicLevel) onMicLevel(buffer.sampledRms(levelStride));
    if (onMicBuffer) onMicBuffer(buffer);
    const double t = std::max(at - m_startedHost, 0.0);
    m_micQ.async([this, copy = AudioCopy(buffer), t] { m_mic.write(copy.buffer(), t); });
}

void Recorder::onSystemAudio(const AudioCopy& copy, double at) {
    const AudioBuffer& buffer = copy.buffer();
    if (buffer.frames <= 0 || buffer.format.sampleRate <= 0) return;
    const double now = m_sources.hostClock();
    if (!std::isfinite(at) || std::abs(at - now) > stampTolerance)
        at = now - double(buffer.frames) / buffer.format.sampleRate;
    m_sys.write(buffer, std::max(at - m_startedHost, 0.0));
}

void Recorder::onFrame(os::ScreenFrame frame) {
    const auto began = std::chrono::steady_clock::now();
    keepFrame(frame);
    if (onFrameTick)
        onFrameTick(std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
}

void Recorder::keepFrame(const os::ScreenFrame& frame) {
    if (m_shotCount >= Frames::maxShots || !frame.complete || frame.image.isNull()) return;
    judge(frame.image);
}

// Nothing on screen changed, so no frame came: a frame whose verdict had to wait gets it now, as a new frame
// of the same picture would have.
void Recorder::onUnchanged() {
    if (!m_deferred || m_shotCount >= Frames::maxShots) return;
    const QImage image = std::move(*m_deferred);
    m_deferred.reset();
    judge(image);
}

void Recorder::judge(const QImage& image) {
    const double now = m_sources.hostClock();
    if (now - m_lastFrameAt < frameGate) {
        m_deferred = image;
        return;
    }
    m_lastFrameAt = now;
    m_deferred.reset();

    Candidate candidate = [&] {
        const Scope printing(Stage::Signatures);
        return Candidate{image, Frames::signature(image), Frames::fine(image), now};
    }();
    if (!m_lastSig) {
        keep(std::move(candidate), false, std::nullopt);
        return;
    }
    const float change = Frames::diff(candidate.sig, *m_lastSig);
    if (change >= Frames::changeThreshold) {
        keep(std::move(candidate), change >= strongChange, std::nullopt);
        return;
    }
    if (!m_lastFine || Frames::changedRatio(candidate.fine, *m_lastFine) < Frames::fineCandidate) return;
    if (now - m_lastTextCheck < textCheckInterval || m_textCheckRunning) {
        m_deferred = std::move(candidate.image);
        return;
    }
    // The picture barely moved: only a change of the text it shows makes it worth keeping. Reading it takes
    // up to a few hundred milliseconds, so it runs beside the capture queue, which writes the system audio.
    m_lastTextCheck = now;
    m_textCheckRunning = true;
    const std::optional<QImage> lastKept = m_lastKeptFast ? std::nullopt : m_lastKeptImage;
    m_ocrQ.async([this, candidate = std::move(candidate), lastKept, keptBefore = int(m_shotCount)]() mutable {
        const Scope reading(Stage::TextReading);
        const QString text = m_sources.ocr.text(candidate.image, true);
        std::optional<QString> lastKeptText;
        if (lastKept) lastKeptText = m_sources.ocr.text(*lastKept, true);
        m_q.async([this, candidate = std::move(candidate), text, lastKeptText, keptBefore]() mutable {
            m_textCheckRunning = false;
            // A frame kept meanwhile is the new reference: this one was compared with the one before.
            if (m_shotCount != keptBefore || m_shotCount >= Frames::maxShots) return;
            if (lastKeptText) m_lastKeptFast = lastKeptText;
            if (!text.isEmpty() &&
                OCR::similarity(text, m_lastKeptFast.value_or(QString())) < Frames::textKeepSimilarity)
                keep(std::move(candidate), true, text);
        });
    });
}

void Recorder::keep(Candidate candidate, bool strong, const std::optional<QString>& fastText) {
    const std::optional<QByteArray> jpeg = [&] {
        const Scope encoding(Stage::Jpeg);
        return Frames::jpeg(candidate.image, jpegQuality);
    }();
    if (!jpeg) return;
    m_lastSig = std::move(candidate.sig);
    m_lastFine = std::move(candidate.fine);
    m_lastKeptImage = candidate.image;
    m_lastKeptFast = fastText;

    const double t = std::round(candidate.at - m_startedHost);
    m_session->addShot(t, *jpeg);
    m_shotCount = int(m_session->meta.shots.size());
    // A private app in front: the frame is kept, but none of its text, and so no pin comes of it.
    if (m_frontPrivate) return;
    m_ocrQ.async([this, image = candidate.image, t, strong, jpeg = *jpeg, app = m_frontApp] {
        readText(image, t, strong, jpeg, app);
    });
}

// On the text queue; what it found is noted on the capture queue.
void Recorder::readText(const QImage& image, double t, bool strong, const QByteArray& jpeg,
                        const QString& app) {
    const Reading reading = [&] {
        const Scope reading(Stage::TextReading);
        return m_sources.ocr.read(image);
    }();
    const QString text = reading.text.trimmed();
    if (text.isEmpty()) return;
    m_q.async([this, t, title = reading.title, strong, jpeg, app, text] {
        considerAutoPin(t, title, strong, jpeg);
        if (OCR::isNearDuplicate(text, m_lastOcrText)) return;
        m_lastOcrText = text;
        if (!m_session->meta.ocr) m_session->meta.ocr.emplace();
        m_session->meta.ocr->append(OcrEntry{t, app, text});
    });
}

void Recorder::considerAutoPin(double t, const std::optional<QString>& title, bool strong,
                               const QByteArray& jpeg) {
    if (!title) return;
    if (autoPinOn && strong && !m_pendingAuto && m_lastTitle && isTitleChange(*title, *m_lastTitle) &&
        t - m_lastAutoPinT >= autoPinGap) {
        m_pendingAuto = PendingPin{t, autoPinPrefix + *title, jpeg};
        // A slide is pinned only when someone talked about it: the check waits for the talk around it.
        m_q.after(autoPinDelay, [this] { resolveAutoPin(); });
    }
    m_lastTitle = title;
}

void Recorder::resolveAutoPin() {
    if (!m_pendingAuto) return;
    const PendingPin pin = std::move(*m_pendingAuto);
    m_pendingAuto.reset();
    LevelTrack mic;
    m_micQ.sync([&] { mic = levels(m_mic); });
    if (!speech(pin.t, mic, levels(m_sys))) return;
    if (pin.t - m_lastAutoPinT < autoPinGap) return;
    m_lastAutoPinT = pin.t;
    m_session->addPin(pin.t, pin.note, pin.jpeg, true);
    m_session->save();
    slog(QStringLiteral("auto-pin at %1s: %2").arg(pin.t).arg(pin.note));
    const QString title = pin.note.mid(autoPinPrefix.size());
    onMain([callback = onEvent, title] {
        if (callback) callback(FeedItem::Kind::slide, QStringLiteral("screenshot saved — ") + title);
    });
}

bool Recorder::speech(double t, const LevelTrack& mic, const LevelTrack& tab, double window) {
    for (double at = std::max(t - window, 0.0); at <= t + window; at += 0.25) {
        if (tab.value(at) > Speaking::tabThreshold || mic.value(at) > Speaking::micThreshold) return true;
    }
    return false;
}

bool Recorder::isTitleChange(const QString& a, const QString& from) {
    return OCR::similarity(a, from) < 0.5;
}

void Recorder::noteApp(const QString& name, const QString& bundleID, const std::optional<QString>& title) {
    const auto [app, kept] = Privacy::classify(name, bundleID, title, true);
    const double t = round1(elapsed());
    const QString label = kept ? app + QStringLiteral(" — ") + OCR::clip(*kept, 60) : app;
    if (m_lastNoted && *m_lastNoted != label && onEvent) onEvent(FeedItem::Kind::nowIn, label);
    m_lastNoted = label;
    m_q.async([this, app = app, kept = kept, t] {
        m_frontApp = app;
        m_frontPrivate = app == Privacy::privateApp;
        if (!m_session->meta.apps) m_session->meta.apps.emplace();
        AppSpan::merge(*m_session->meta.apps, t, app, kept);
    });
}

void Recorder::markCall(const QString& app) {
    m_q.async([this, app] {
        if (m_session->meta.callApp) return;
        m_session->meta.callApp = app;
        slog(QStringLiteral("recording is a call: ") + app);
    });
}

void Recorder::addPin(const QByteArray& jpeg, const QString& note, std::optional<double> t, bool textOnly) {
    const double time = t.value_or(round1(elapsed()));
    m_q.async([this, jpeg, note, time, textOnly] {
        m_session->addPin(time, note, jpeg, false, textOnly);
        m_session->save();
    });
}

Recorder::LiveSnapshot Recorder::liveSnapshot(qsizetype since) const {
    Q_ASSERT(since >= 0);
    LiveSnapshot snapshot;
    m_q.sync([&] {
        const SessionMeta& meta = m_session->meta;
        const QList<OcrEntry> ocr = meta.ocr.value_or(QList<OcrEntry>());
        if (since < ocr.size()) snapshot.ocr = ocr.mid(since);
        snapshot.ocrCount = ocr.size();
        snapshot.apps = meta.apps.value_or(QList<AppSpan>());
        snapshot.pins = meta.pins;
        snapshot.kind = meta.effectiveKind();
        snapshot.started = meta.started;
        snapshot.meta = meta;
    });
    return snapshot;
}

void Recorder::settle() {
    // A frame waits on the capture queue; a check of its text on the text queue decides back on the capture
    // queue; a kept frame is read on the text queue, which notes the text on the capture queue.
    for (int round = 0; round < 2; ++round) {
        m_q.sync([] {});
        m_ocrQ.sync([] {});
    }
    m_q.sync([] {});
    m_micQ.sync([] {});
}

Recorder::TrackStates Recorder::trackStates() const {
    TrackStates states;
    if (m_sysHealth) states.system = m_sysHealth->state();
    if (m_micHealth) states.mic = m_micHealth->state();
    return states;
}

// Capture queue, every few seconds while the recording runs.
void Recorder::checkHealth() {
    if (!m_streaming) return;
    const double now = m_sources.hostClock();
    for (TrackHealth* health : {&*m_sysHealth, m_micHealth ? &*m_micHealth : nullptr}) {
        if (!health) continue;
        if (const auto line = health->check(now)) slog(*line);
    }
    // A source that could not start, or whose server went away, gets another chance: the sound server may be
    // back.
    if (!m_systemRunning) startSystemAudio();
    if (m_withMic && !m_micRunning) startMic();
    m_q.after(healthInterval, [this] { checkHealth(); });
}

std::shared_ptr<Session> Recorder::stop() {
    endCapture();
    const QDateTime ended = QDateTime::currentDateTimeUtc();

    settle();
    // A pending pin is judged at once, with the levels at hand.
    m_q.sync([this] { resolveAutoPin(); });
    m_micQ.sync([this] { m_mic.close(); });
    const double duration = round1(elapsed());
    m_q.sync([this, duration] {
        m_sys.close();
        if (m_session->meta.apps && !m_session->meta.apps->isEmpty()) {
            AppSpan& last = m_session->meta.apps->last();
            last.end = std::max(last.end, duration);
        }
    });

    std::optional<LevelTrack> mic, tab;
    if (m_mic.hasAudio()) mic = levels(m_mic);
    if (m_sys.hasAudio()) tab = levels(m_sys);
    const Speaking::Spans spans = Speaking::spans(mic, tab);

    QList<Mixer::Input> inputs;
    if (tab) inputs.append({m_sys.path(), tab->offset});
    if (mic) inputs.append({m_mic.path(), mic->offset});
    std::optional<QString> audioFile;
    if (!inputs.isEmpty()) {
        try {
            Mixer::mix(inputs, m_session->url(QStringLiteral("mixed.m4a")));
            audioFile = QStringLiteral("mixed.m4a");
        } catch (const AudioError& error) {
            slog(QStringLiteral("mix failed: ") + error.text() +
                 QStringLiteral("; falling back to one track"));
            audioFile = QFileInfo(inputs.last().path).fileName();
        }
    }

    m_q.sync([&] {
        SessionMeta& meta = m_session->meta;
        meta.ended = ended;
        meta.levelsMic = spans.mic;
        meta.levelsTab = spans.tab;
        meta.micOk = m_micOk;
        meta.audioFile = audioFile;
        meta.kind = meta.fromCall || meta.callApp ? QStringLiteral("call") : QStringLiteral("session");
        if (meta.kind == QLatin1String("call") && meta.app == QLatin1String("Screen") && meta.callApp)
            meta.app = *meta.callApp;
        m_session->save();
        slog(QStringLiteral(
                 "recording stopped: %1, %2 ocr, %3 app spans, %4 shots, %5 pins, audio=%6 sys=%7s mic=%8s")
                 .arg(meta.kind.value_or(QStringLiteral("?")))
                 .arg(meta.ocr ? meta.ocr->size() : 0)
                 .arg(meta.apps ? meta.apps->size() : 0)
                 .arg(meta.shots.size())
                 .arg(meta.pins.size())
                 .arg(audioFile.value_or(QStringLiteral("none")), oneDecimal(m_sys.duration()),
                      oneDecimal(m_mic.duration())));
    });
    return m_session;
}

void Recorder::onMain(std::function<void()> fn) {
    if (QCoreApplication* app = QCoreApplication::instance())
        QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}
