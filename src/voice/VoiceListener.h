#pragma once

#include <QString>
#include <functional>
#include <stdexcept>

// Starting to listen failed; the text is for the user.
struct VoiceError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What a push-to-talk round heard.
struct VoiceHeard {
    QString text;
    // `text` begins with a filler and prefix that the command grammar accepted, or that the language model
    // heard as whole words. Otherwise the words are never a command, whatever they begin with.
    bool command = false;
};

// Push-to-talk: the microphone while a key is held, turned into text on this computer. Main thread; every
// callback comes on the main thread.
class VoiceListener {
public:
    virtual ~VoiceListener() = default;
    // Whether a round can start: the speech model loaded (on a worker thread, the first time) and a
    // microphone present. `message` says why not, in the user's words.
    virtual void authorize(std::function<void(bool ok, const QString& message)> done) = 0;
    // Starts a round; `partial` gets each partial text. Throws VoiceError.
    virtual void start(std::function<void(const QString& text)> partial) = 0;
    // Ends the round; `done` gets what it heard once: at the decision, on an error, or after 2.5 s.
    virtual void stop(std::function<void(const VoiceHeard& heard)> done) = 0;
    virtual bool listening() const = 0;
};
