#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

namespace os {

// The speech model is not installed or cannot be read; its text names what is missing.
struct SpeechModelError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Speech handed to a decoder: 16 kHz, mono, signed 16-bit.
constexpr int speechSampleRate = 16000;

// A word the decoder heard: where it lies in the utterance, in seconds from its first sample, and how sure
// the decoder is of it (the word's posterior, 0...1).
struct HeardWord {
    QString text;
    double start = 0;
    double end = 0;
    double confidence = 0;
};

// What a push-to-talk round said, decided over the whole utterance.
struct CommandHearing {
    // The filler and prefix that the command grammar accepted, lower case, words joined by one blank
    // ("okay take a note"); empty when the rejection path won or nothing was said.
    QString prefix;
    // Where in the utterance the accepted prefix ends, in seconds.
    double prefixEnd = 0;
    // The language model's words over the whole utterance.
    std::vector<HeardWord> words;
};

// One recognition stream. It lives on the thread that made it, never the audio or main thread: loading and
// decoding take their time.
class SpeechDecoder {
public:
    virtual ~SpeechDecoder() = default;

    // Free speech with the general language model, an utterance at a time.
    virtual void begin() = 0;
    virtual void feed(std::span<const int16_t> samples) = 0;
    // Whether the decoder's voice detection hears speech in what was fed last; speech followed by none is a
    // pause that ends the utterance.
    virtual bool inSpeech() const = 0;
    // The best words so far, joined by one blank.
    virtual QString partial() = 0;
    // Ends the utterance and gives its words with their confidence; nothing when nothing was begun.
    virtual std::vector<HeardWord> end() = 0;

    // Decides a command over a whole utterance: the grammar of the phrases "[filler] prefix" followed by
    // anything, against a rejection path for speech that begins otherwise. `fillers` and `prefixes` are
    // lower-case phrases; words the dictionary lacks are left out of the grammar.
    virtual CommandHearing command(std::span<const int16_t> utterance, const QStringList& fillers,
                                   const QStringList& prefixes) = 0;
};

// Makes decoders; the first one made loads the model from disk (seconds), so it is called on a worker
// thread. Throws SpeechModelError. Thread-safe.
class SpeechEngine {
public:
    virtual ~SpeechEngine() = default;
    // What keeps the model from loading, found without loading it ("no speech model at /usr/share/…"); empty
    // when it is installed.
    virtual QString missing() const = 0;
    virtual std::unique_ptr<SpeechDecoder> makeDecoder() = 0;
};

} // namespace os
