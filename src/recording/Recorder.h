#pragma once

#include "core/FeedItem.h"
#include "core/SerialQueue.h"
#include "os/AudioCapture.h"
#include "os/FrameStream.h"
#include "recording/LevelTrack.h"
#include "recording/MonoWriter.h"
#include "recording/OCR.h"
#include "recording/Session.h"
#include "recording/TrackHealth.h"

#include <QByteArray>
#include <QImage>
#include <QSet>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

// The capture of one session: screen frames with the system audio, the microphone, the frames worth keeping
// and their text, the apps in front and the automatic pins of slides someone talked about. Created once per
// session, started once and stopped once; everything it notes is on one timeline whose zero is `startedHost`.
class Recorder {
public:
    // The capture services it records from, and the monotonic clock in seconds that times everything.
    struct Sources {
        os::FrameStream& frames;
        os::AudioCapture& audio;
        OCR& ocr;
        std::function<double()> hostClock = os::monotonicSeconds;
    };

    // What the live tips read while the recording runs.
    struct LiveSnapshot {
        QList<OcrEntry> ocr;
        qsizetype ocrCount = 0;
        QList<AppSpan> apps;
        QList<PinMeta> pins;
        QString kind;
        QDateTime started;
        SessionMeta meta;
    };

    struct TrackStates {
        TrackHealth::State system = TrackHealth::State::Sound;
        std::optional<TrackHealth::State> mic;
    };

    static constexpr double autoPinGap = 120;
    static constexpr double strongChange = 0.12;
    // Seconds between a slide change and the check whether anyone talked about it.
    static constexpr double autoPinDelay = 10;
    static constexpr double healthInterval = 10;
    // Frames waiting for the capture queue beyond this are dropped, so a busy queue never piles them up.
    static constexpr int frameQueueDepth = 5;
    static inline const QString autoPinPrefix = QStringLiteral("Auto: slide/page changed — ");

    Recorder(std::shared_ptr<Session> session, Sources sources);
    // Stops the capture if `stop` was not called; the folder keeps what was written, for the recovery.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // Starts the frames, the system audio and, with `withMic`, the microphone. Throws AudioError when there
    // is no display to record. Missing audio is logged and leaves the recording without that track.
    void start(bool withMic);
    // Ends the capture, mixes the tracks and saves the finished session. It waits for the queues and the mix:
    // call it away from the main thread.
    std::shared_ptr<Session> stop();

    // The frontmost app or its title changed. Main thread.
    void noteApp(const QString& name, const QString& bundleID, const std::optional<QString>& title);
    // The recording is a call in `app`; the first app named stays.
    void markCall(const QString& app);
    void addPin(const QByteArray& jpeg, const QString& note, std::optional<double> t = std::nullopt,
                bool textOnly = false);
    // A copy of what was noted so far, with the text entries from index `since` (not negative) on.
    LiveSnapshot liveSnapshot(qsizetype since) const;
    // Waits until every frame and sound handed in so far went through its flow, the text reading included.
    void settle();

    const std::shared_ptr<Session>& session() const { return m_session; }
    double startedHost() const { return m_startedHost; }
    // Timeline seconds now; 0 before the start.
    double elapsed() const;
    bool micOk() const { return m_micOk; }
    int shotCount() const { return m_shotCount; }
    // Of the tracks that record; the microphone's only when it was asked for.
    TrackStates trackStates() const;

    // Whether anyone spoke within `window` seconds of `t`.
    static bool speech(double t, const LevelTrack& mic, const LevelTrack& tab, double window = 10);
    static bool isTitleChange(const QString& a, const QString& from);
    // Runs `fn` on the main thread, after the current event, when there is an application to run it.
    static void onMain(std::function<void()> fn);

    // The frames stopped by themselves; the text of the error. Main thread.
    std::function<void(const QString&)> onStreamError;
    // Every microphone buffer, for live hearing. Runs on the capture thread: quick, and no calls back.
    std::function<void(const AudioBuffer&)> onMicBuffer;
    // The microphone's level for the meter (RMS of a sample of the buffer). Capture thread.
    std::function<void(float)> onMicLevel;
    // Seconds the capture queue spent on each frame, for measurement. Capture queue.
    std::function<void(double)> onFrameTick;
    // Lines for the recording panel's feed. Main thread.
    std::function<void(FeedItem::Kind, const QString&)> onEvent;
    std::atomic<bool> autoPinOn = true;

private:
    struct PendingPin {
        double t;
        QString note;
        QByteArray jpeg;
    };

    // Stops the frames and both sources; no callback runs after it.
    void endCapture();
    void startSystemAudio();
    void startMic();
    // Logs each distinct failure to start a source once.
    void logStartFailure(const QString& line);
    // The source changed under its stream: it follows the current default device.
    void restart(os::AudioSource source);
    void onMicAudio(const AudioBuffer& buffer, double at);
    void onSystemAudio(const AudioCopy& copy, double at);
    void onFrame(os::ScreenFrame frame);
    void keepFrame(const os::ScreenFrame& frame);
    void onUnchanged();
    // Whether the picture is worth keeping, or worth a check of its text.
    void judge(const QImage& image);
    // A frame that passed the gates, with its prints and its host time.
    struct Candidate {
        QImage image;
        std::vector<float> sig;
        QByteArray fine;
        double at;
    };
    void keep(Candidate candidate, bool strong, const std::optional<QString>& fastText);
    void readText(const QImage& image, double t, bool strong, const QByteArray& jpeg, const QString& app);
    void considerAutoPin(double t, const std::optional<QString>& title, bool strong, const QByteArray& jpeg);
    void resolveAutoPin();
    void checkHealth();

    std::shared_ptr<Session> m_session;
    Sources m_sources;
    double m_startedHost = 0;
    std::atomic<bool> m_micOk = false;
    std::atomic<int> m_shotCount = 0;
    bool m_withMic = false;
    std::optional<QString> m_lastNoted;

    // Capture queue state.
    std::atomic<bool> m_streaming = false;
    bool m_systemRunning = false;
    bool m_micRunning = false;
    std::atomic<int> m_framesWaiting = 0;
    std::optional<std::vector<float>> m_lastSig;
    std::optional<QByteArray> m_lastFine;
    std::optional<QImage> m_lastKeptImage;
    // The latest picture whose verdict waits: it came too soon after the one before, or while its text could
    // not be checked yet.
    std::optional<QImage> m_deferred;
    std::optional<QString> m_lastKeptFast;
    std::optional<QString> m_lastOcrText;
    QString m_frontApp = QStringLiteral("Screen");
    std::optional<QString> m_lastTitle;
    std::optional<PendingPin> m_pendingAuto;
    double m_lastTextCheck = 0;
    bool m_textCheckRunning = false;
    double m_lastFrameAt = 0;
    bool m_frontPrivate = false;
    QSet<QString> m_loggedFailures;
    double m_lastAutoPinT = -1000;

    MonoWriter m_mic;
    MonoWriter m_sys;
    // Made at the start, when the timeline begins.
    std::optional<TrackHealth> m_sysHealth;
    std::optional<TrackHealth> m_micHealth;

    // Declared last, so destroyed first, in this order: text reading posts to the capture queue, which reads
    // the microphone's writer through its queue.
    SerialQueue m_micQ{QStringLiteral("orvane.mic")};
    mutable SerialQueue m_q{QStringLiteral("orvane.capture")};
    SerialQueue m_ocrQ{QStringLiteral("orvane.ocr")};
};
