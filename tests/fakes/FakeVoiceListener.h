#pragma once

#include "voice/VoiceListener.h"

#include <optional>

// Push-to-talk without a microphone: the test answers the authorisation, speaks the partials and decides
// what the round heard.
class FakeVoiceListener final : public VoiceListener {
public:
    void authorize(std::function<void(bool, const QString&)> done) override {
        pendingAuthorize = std::move(done);
    }
    void start(std::function<void(const QString&)> partial) override {
        if (startError) throw VoiceError(startError->toStdString());
        ++starts;
        m_listening = true;
        onPartial = std::move(partial);
    }
    void stop(std::function<void(const VoiceHeard&)> done) override {
        m_listening = false;
        pendingStop = std::move(done);
    }
    bool listening() const override { return m_listening; }

    // Answers the authorisation asked for last.
    void answer(bool ok, const QString& message = {}) {
        if (auto done = std::exchange(pendingAuthorize, nullptr)) done(ok, message);
    }
    // Ends the round that was stopped with what it heard.
    void heard(const VoiceHeard& result) {
        if (auto done = std::exchange(pendingStop, nullptr)) done(result);
    }

    std::optional<QString> startError;
    int starts = 0;
    std::function<void(bool, const QString&)> pendingAuthorize;
    std::function<void(const QString&)> onPartial;
    std::function<void(const VoiceHeard&)> pendingStop;

private:
    bool m_listening = false;
};
