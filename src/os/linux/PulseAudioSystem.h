#pragma once

#include "os/AudioSystem.h"
#include "os/linux/PulseQuery.h"

#include <chrono>

namespace os {

class AppIdentities;

// Audio input as PulseAudio (or PipeWire's PulseAudio server) reports it: the default source, and the
// uncorked recording streams on real sources with their processes. Each question gives up after `deadline`
// (see PulseQuery), and the server's absence is logged once. Used from one thread at a time.
class PulseAudioSystem final : public AudioSystem {
public:
    explicit PulseAudioSystem(AppIdentities& identities,
                              std::chrono::milliseconds deadline = std::chrono::milliseconds(300));
    ~PulseAudioSystem() override;

    std::optional<InputState> inputState() override;

private:
    AppIdentities& m_identities;
    PulseQuery m_query;
    bool m_failing = false;
};

} // namespace os
