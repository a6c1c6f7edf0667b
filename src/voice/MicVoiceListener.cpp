#include "voice/MicVoiceListener.h"

#include "core/Log.h"
#include "voice/VoiceIntent.h"

namespace {

const AudioFormat speechFormat{SampleType::Int16, os::speechSampleRate, 1, false};

QString joined(const std::vector<os::HeardWord>& words) {
    QStringList texts;
    for (const os::HeardWord& word : words)
        texts << word.text;
    return texts.join(u' ');
}

QString letters(const QString& text) {
    QString out;
    for (const QChar c : text)
        if (c.isLetter()) out += c.toLower();
    return out;
}

// Whether `a` becomes `b` with at most one letter added, removed or changed.
bool nearlySame(const QString& a, const QString& b) {
    if (a == b) return true;
    if (std::abs(a.size() - b.size()) > 1 || std::min(a.size(), b.size()) < 3) return false;
    qsizetype i = 0;
    while (i < a.size() && i < b.size() && a[i] == b[i])
        ++i;
    return a.mid(i + 1) == b.mid(i + 1) || a.mid(i + 1) == b.mid(i) || a.mid(i) == b.mid(i + 1);
}

// Speech that only begins like a command ("notebook", "cardboard", "pinned the") fits the grammar's prefix
// as well as anything; the free decoding hears the word that was said. The language model must have heard the
// prefix's last word, or its last two ("to do" heard as "to to"), give or take a letter, in a word that
// reaches the end of the grammar's prefix (whose phone loop often takes the last syllable).
bool heardAtPrefixEnd(const os::CommandHearing& hearing) {
    constexpr double slack = 0.3; // seconds
    const QStringList prefix = hearing.prefix.split(u' ', Qt::SkipEmptyParts);
    const QString last = letters(prefix.last());
    const QString lastTwo = prefix.size() > 1 ? letters(prefix[prefix.size() - 2]) + last : QString();
    const std::vector<os::HeardWord>& words = hearing.words;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i].start >= hearing.prefixEnd || words[i].end <= hearing.prefixEnd - slack) continue;
        const QString heard = letters(words[i].text);
        const QString withBefore = i > 0 ? letters(words[i - 1].text) + heard : QString();
        if (nearlySame(heard, last) ||
            (i > 0 && (nearlySame(withBefore, last) || nearlySame(withBefore, lastTwo))))
            return true;
    }
    return false;
}

} // namespace

MicVoiceListener::MicVoiceListener(os::SpeechEngine& engine, os::AudioCapture& capture, QObject* parent)
    : QObject(parent), m_engine(engine), m_capture(capture) {
    m_timeout.setSingleShot(true);
    // A coarse timer may end the wait up to 5 % early; the decision gets its whole 2.5 s.
    m_timeout.setTimerType(Qt::PreciseTimer);
    m_timeout.setInterval(decisionTimeoutMs);
    connect(&m_timeout, &QTimer::timeout, this, [this] { finish(m_round, VoiceHeard{m_last, false}); });
}

MicVoiceListener::~MicVoiceListener() {
    if (m_capturing) m_capture.stop(os::AudioSource::Mic);
    // The decoder lives and dies on the queue's thread.
    m_queue.async([this] { m_decoder.reset(); });
}

VoiceHeard MicVoiceListener::heard(const os::CommandHearing& hearing) {
    const QString free = joined(hearing.words);
    // Noise can make the grammar's rejection path win over a prefix the free decoding heard whole, as words
    // of its own ("take a screenshot of rice and …"): that is a command too.
    if (hearing.prefix.isEmpty()) return {free, VoiceIntent::parse(free).kind != VoiceIntent::Kind::unknown};
    if (!heardAtPrefixEnd(hearing)) return {free, false};
    // A word of the language model belongs to the payload when most of it lies after the prefix.
    std::vector<os::HeardWord> payload;
    for (const os::HeardWord& word : hearing.words)
        if ((word.start + word.end) / 2 >= hearing.prefixEnd) payload.push_back(word);
    return {(hearing.prefix + u' ' + joined(payload)).trimmed(), true};
}

os::SpeechDecoder& MicVoiceListener::decoder() {
    if (!m_decoder) m_decoder = m_engine.makeDecoder();
    return *m_decoder;
}

void MicVoiceListener::authorize(std::function<void(bool ok, const QString& message)> done) {
    m_queue.async([this, done = std::move(done)] {
        QString failure;
        try {
            decoder();
        } catch (const os::SpeechModelError& error) {
            slog(QStringLiteral("voice: ") + QString::fromUtf8(error.what()));
            failure = QStringLiteral("Speech recognition is off (install the speech model, the package "
                                     "pocketsphinx-en-us).");
        }
        QMetaObject::invokeMethod(
            this,
            [this, done, failure] {
                if (!failure.isEmpty()) return done(false, failure);
                m_loaded = true;
                // A microphone is there when its capture starts; a round starts it again.
                try {
                    if (!m_capturing) {
                        m_capture.start(os::AudioSource::Mic, os::AudioReceiver{{}, {}, speechFormat});
                        m_capture.stop(os::AudioSource::Mic);
                    }
                } catch (const os::AudioCaptureError&) {
                    return done(false,
                                QStringLiteral("Microphone access is off (Settings › Sound › Input)."));
                }
                done(true, QString());
            },
            Qt::QueuedConnection);
    });
}

void MicVoiceListener::start(std::function<void(const QString& text)> partial) {
    if (!m_loaded || m_engine.missing().size())
        throw VoiceError("Speech recognition is not available right now.");
    const int round = ++m_round;
    m_timeout.stop();
    m_done = nullptr;
    m_last.clear();
    m_partial = std::move(partial);
    m_queue.async([this] {
        m_utterance.clear();
        m_queuePartial.clear();
        decoder().begin();
    });
    os::AudioReceiver receiver;
    receiver.format = speechFormat;
    receiver.buffer = [this, round](const AudioBuffer& buffer, double) { onBuffer(buffer, round); };
    receiver.configurationChanged = [this, round] {
        QMetaObject::invokeMethod(
            this, [this, round] { onSourceGone(round); }, Qt::QueuedConnection);
    };
    try {
        m_capture.start(os::AudioSource::Mic, std::move(receiver));
    } catch (const os::AudioCaptureError& error) {
        slog(QStringLiteral("voice: no microphone: ") + QString::fromUtf8(error.what()));
        throw VoiceError("No microphone input.");
    }
    m_capturing = true;
    m_listening = true;
    slog(QStringLiteral("voice: listening (on-device: true)"));
}

void MicVoiceListener::onBuffer(const AudioBuffer& buffer, int round) {
    if (buffer.format != speechFormat || buffer.data.empty()) return;
    const auto* first = static_cast<const int16_t*>(buffer.data.front());
    std::vector<int16_t> samples(first, first + buffer.frames);
    m_queue.async([this, round, samples = std::move(samples)] {
        if (!m_decoder) return;
        m_utterance.insert(m_utterance.end(), samples.begin(), samples.end());
        m_decoder->feed(samples);
        const QString text = m_decoder->partial();
        if (text == m_queuePartial) return;
        m_queuePartial = text;
        QMetaObject::invokeMethod(
            this,
            [this, round, text] {
                if (round != m_round || !m_listening) return;
                m_last = text;
                if (m_partial) m_partial(text);
            },
            Qt::QueuedConnection);
    });
}

void MicVoiceListener::onSourceGone(int round) {
    if (round != m_round || !m_capturing) return;
    // The round keeps what it heard until the key goes up; nothing more can come.
    slog(QStringLiteral("voice: the microphone went away"));
    m_capture.stop(os::AudioSource::Mic);
    m_capturing = false;
}

void MicVoiceListener::stop(std::function<void(const VoiceHeard& heard)> done) {
    if (m_capturing) m_capture.stop(os::AudioSource::Mic);
    m_capturing = false;
    const bool wasListening = std::exchange(m_listening, false);
    m_done = std::move(done);
    if (!wasListening) return finish(m_round, VoiceHeard{m_last, false});
    m_timeout.start();
    const int round = m_round;
    m_queue.async([this, round] {
        if (!m_decoder) return;
        const VoiceHeard decided =
            heard(m_decoder->command(m_utterance, VoiceIntent::fillers, VoiceIntent::prefixes()));
        m_utterance.clear();
        QMetaObject::invokeMethod(
            this, [this, round, decided] { finish(round, decided); }, Qt::QueuedConnection);
    });
}

void MicVoiceListener::finish(int round, const VoiceHeard& heard) {
    if (round != m_round || !m_done) return;
    m_timeout.stop();
    // Taken out first: the callback may start the next round.
    const auto done = std::exchange(m_done, nullptr);
    done(heard);
}
