#pragma once

#include "core/Clock.h"
#include "os/AudioBuffer.h"
#include "voice/SpeechResampler.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

class QTimer;

namespace os {
class SpeechEngine;
}

// Short key phrases of what the user says during a recording, recognised on this computer and never kept:
// the microphone's buffers are decoded on a thread of their own, and now and then a stretch of confident
// words is boiled down to a phrase. Start, stop and the phrases are on the main thread.
class LiveHearing : public QObject {
    Q_OBJECT
public:
    // At most one phrase in this many seconds.
    static constexpr double minGap = 15.0;

    // `engine` outlives this.
    LiveHearing(os::SpeechEngine& engine, Clock now, QObject* parent = nullptr);
    ~LiveHearing() override;

    // False, with a log line, when the speech model is missing; the recording goes on without hearing.
    bool start();
    void stop();
    // The recorder's microphone buffers, from its capture thread: copied and queued, never waited on.
    void append(const AudioBuffer& buffer);

signals:
    void phrase(const QString& phrase);

private:
    friend class TestLiveHearing;

    // An utterance that runs this long without a pause is cut, and its words are final.
    static constexpr double utteranceLimit = 50.0;
    // The listening window: its words are harvested, with force, when it is this old.
    static constexpr double taskLimit = 50.0;
    // Words unchanged this long mean the speaker paused.
    static constexpr double pauseAfter = 1.5;
    static constexpr int tickMs = 250;
    // Audio waiting for the decoder; beyond this the oldest goes, so that a slow machine hears late speech
    // rather than falling further behind.
    static constexpr size_t queueLimit = size_t(10 * 16000);
    // Below even odds a word is more likely something else than what the decoder wrote; a phrase of misheard
    // words is worse than none, so the floor sits above even.
    static constexpr double confidenceFloor = 0.6;

    // The worker thread: decodes the queued audio an utterance at a time.
    void decode();
    // Main thread: an utterance's confident words; `final` when it was cut rather than ended by a pause.
    void heard(quint64 generation, const QString& words, bool final);
    void giveUp(const QString& why);
    void tick();
    void newTask();
    void harvest(bool force);
    double since(const QDateTime& then) const;

    os::SpeechEngine& m_engine;
    Clock m_now;
    QTimer* m_timer;

    // Main thread.
    bool m_running = false;
    QString m_text;
    QDateTime m_changedAt;
    int m_consumed = 0;
    QDateTime m_lastEmit;
    QDateTime m_taskStarted;

    // Under m_lock: the input, the queue and what the worker is to do.
    std::mutex m_lock;
    std::condition_variable m_wake;
    SpeechResampler m_resampler;
    std::deque<std::vector<int16_t>> m_queue;
    size_t m_queued = 0;
    // Counts starts and stops, so that the worker drops an utterance of an earlier recording and the main
    // thread its late words.
    quint64 m_generation = 0;
    bool m_accepting = false;
    bool m_droppedLogged = false;
    bool m_quit = false;
    std::thread m_worker;
};
