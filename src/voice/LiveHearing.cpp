#include "voice/LiveHearing.h"

#include "core/Log.h"
#include "os/SpeechEngine.h"
#include "voice/KeyPhrase.h"

#include <QStringList>
#include <QTimer>
#include <memory>

using namespace Qt::StringLiterals;

LiveHearing::LiveHearing(os::SpeechEngine& engine, Clock now, QObject* parent)
    : QObject(parent), m_engine(engine), m_now(std::move(now)), m_timer(new QTimer(this)) {
    m_timer->setInterval(tickMs);
    connect(m_timer, &QTimer::timeout, this, &LiveHearing::tick);
}

LiveHearing::~LiveHearing() {
    {
        std::lock_guard lock(m_lock);
        m_quit = true;
    }
    m_wake.notify_one();
    if (m_worker.joinable()) m_worker.join();
}

bool LiveHearing::start() {
    if (m_running) return true;
    if (const QString missing = m_engine.missing(); !missing.isEmpty()) {
        slog(u"hearing: off (speech %1, on-device true)"_s.arg(missing));
        return false;
    }
    {
        std::lock_guard lock(m_lock);
        ++m_generation;
        m_accepting = true;
        m_droppedLogged = false;
    }
    if (!m_worker.joinable()) m_worker = std::thread([this] { decode(); });
    m_running = true;
    newTask();
    m_timer->start();
    return true;
}

void LiveHearing::stop() {
    m_running = false;
    m_timer->stop();
    std::lock_guard lock(m_lock);
    ++m_generation;
    m_accepting = false;
    m_queue.clear();
    m_queued = 0;
}

void LiveHearing::append(const AudioBuffer& buffer) {
    {
        std::lock_guard lock(m_lock);
        if (!m_accepting) return;
        std::vector<int16_t> samples;
        if (!m_resampler.convert(buffer, samples) || samples.empty()) return;
        m_queued += samples.size();
        m_queue.push_back(std::move(samples));
        while (m_queued > queueLimit && m_queue.size() > 1) {
            m_queued -= m_queue.front().size();
            m_queue.pop_front();
            if (!m_droppedLogged) slog(u"hearing: decoding falls behind, the oldest audio is dropped"_s);
            m_droppedLogged = true;
        }
    }
    m_wake.notify_one();
}

void LiveHearing::decode() {
    std::unique_ptr<os::SpeechDecoder> decoder;
    quint64 generation = 0;
    bool open = false;
    bool spoke = false;
    size_t fed = 0;
    for (;;) {
        std::vector<int16_t> samples;
        quint64 current = 0;
        {
            std::unique_lock lock(m_lock);
            m_wake.wait(lock, [this] { return m_quit || !m_queue.empty(); });
            if (m_quit) return;
            samples = std::move(m_queue.front());
            m_queue.pop_front();
            m_queued -= samples.size();
            current = m_generation;
        }
        if (!decoder) {
            try {
                decoder = m_engine.makeDecoder();
            } catch (const os::SpeechModelError& error) {
                {
                    std::lock_guard lock(m_lock);
                    m_accepting = false;
                    m_queue.clear();
                    m_queued = 0;
                }
                QMetaObject::invokeMethod(
                    this, [this, why = QString::fromUtf8(error.what())] { giveUp(why); },
                    Qt::QueuedConnection);
                continue;
            }
        }
        // What is left open belongs to a recording that has stopped.
        if (open && current != generation) decoder->end();
        if (!open || current != generation) {
            decoder->begin();
            open = true;
            spoke = false;
            fed = 0;
        }
        generation = current;
        decoder->feed(samples);
        fed += samples.size();
        const bool speaking = decoder->inSpeech();
        const bool cut = double(fed) >= utteranceLimit * os::speechSampleRate;
        spoke = spoke || speaking;
        if (!cut && (speaking || !spoke)) continue;
        QStringList words;
        for (const os::HeardWord& word : decoder->end())
            if (word.confidence > confidenceFloor) words << word.text;
        open = false;
        QMetaObject::invokeMethod(
            this, [this, generation, text = words.join(u' '), cut] { heard(generation, text, cut); },
            Qt::QueuedConnection);
    }
}

void LiveHearing::heard(quint64 generation, const QString& words, bool final) {
    {
        std::lock_guard lock(m_lock);
        if (!m_running || generation != m_generation) return;
    }
    if (!words.isEmpty()) {
        m_text = m_text.isEmpty() ? words : m_text + u' ' + words;
        m_changedAt = m_now();
    }
    if (final) {
        harvest(true);
        newTask();
    }
}

void LiveHearing::giveUp(const QString& why) {
    slog(u"hearing: off (speech %1, on-device true)"_s.arg(why));
    stop();
}

void LiveHearing::tick() {
    if (!m_running) return;
    if (since(m_taskStarted) > taskLimit) {
        harvest(true);
        newTask();
    } else if (since(m_changedAt) > pauseAfter) {
        harvest(false);
    }
}

void LiveHearing::newTask() {
    m_text.clear();
    m_consumed = 0;
    m_taskStarted = m_changedAt = m_now();
}

void LiveHearing::harvest(bool force) {
    const QStringList words = m_text.split(u' ', Qt::SkipEmptyParts);
    const int n = int(words.size());
    if (m_consumed >= n) return;
    const QString fresh = words.mid(m_consumed).join(u' ');
    if (!force && n - m_consumed < 4) return;
    m_consumed = n;
    if (m_lastEmit.isValid() && since(m_lastEmit) < minGap) return;
    if (const std::optional<QString> found = KeyPhrase::extract(fresh, 7)) {
        m_lastEmit = m_now();
        // Its length only: what was said never reaches the log.
        slog(u"hearing: a key phrase of %1 words"_s.arg(found->split(u' ').size()));
        emit phrase(*found);
    }
}

double LiveHearing::since(const QDateTime& then) const {
    return double(then.msecsTo(m_now())) / 1000.0;
}
