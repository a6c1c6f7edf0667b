#pragma once

#include "core/SerialQueue.h"
#include "os/AudioCapture.h"
#include "os/SpeechEngine.h"
#include "voice/VoiceListener.h"

#include <QObject>
#include <QTimer>
#include <memory>

// Push-to-talk over the default microphone and the speech engine. The sound server delivers the speech as the
// decoder takes it; decoding runs on a queue of its own, never on the audio or the main thread. While the key
// is held the language model's words are the partial text; at the release the command grammar decides over
// the whole utterance.
class MicVoiceListener final : public QObject, public VoiceListener {
    Q_OBJECT
public:
    // How long `stop` waits for the decision.
    static constexpr int decisionTimeoutMs = 2500;

    // `engine` and `capture` outlive this; `capture` is this listener's own, not the recorder's.
    MicVoiceListener(os::SpeechEngine& engine, os::AudioCapture& capture, QObject* parent = nullptr);
    ~MicVoiceListener() override;

    void authorize(std::function<void(bool ok, const QString& message)> done) override;
    void start(std::function<void(const QString& text)> partial) override;
    void stop(std::function<void(const VoiceHeard& heard)> done) override;
    bool listening() const override { return m_listening; }

    // The sentence of a decision: the accepted filler and prefix, then the language model's words after it;
    // or, when the grammar rejected the speech or the language model did not hear the prefix there, the
    // language model's words alone.
    static VoiceHeard heard(const os::CommandHearing& hearing);

private:
    // On the queue: the decoder, made with the model on first use. Throws os::SpeechModelError.
    os::SpeechDecoder& decoder();
    // From the capture's thread.
    void onBuffer(const AudioBuffer& buffer, int round);
    void onSourceGone(int round);
    void finish(int round, const VoiceHeard& heard);

    os::SpeechEngine& m_engine;
    os::AudioCapture& m_capture;
    bool m_loaded = false;
    bool m_listening = false;
    bool m_capturing = false;
    // Each round's number, so that an answer or a partial text of an earlier round is dropped.
    int m_round = 0;
    QString m_last;
    std::function<void(const QString&)> m_partial;
    std::function<void(const VoiceHeard&)> m_done;
    QTimer m_timeout;

    // Used on the queue alone.
    std::unique_ptr<os::SpeechDecoder> m_decoder;
    std::vector<int16_t> m_utterance;
    QString m_queuePartial;
    // Declared last, so that it ends first, finishing the job under way while everything it uses exists.
    SerialQueue m_queue{QStringLiteral("orvane.voice")};
};
