#pragma once

#include "os/AudioSystem.h"

#include <chrono>

namespace os {

class AppIdentities;

// Audio input as PulseAudio (or PipeWire's PulseAudio server) reports it: the default source, and the
// uncorked recording streams on real sources with their processes. Each question opens a short connection of
// its own and gives up after `deadline`, so a dead or restarting daemon never holds up the caller.
class PulseAudioSystem final : public AudioSystem {
public:
    explicit PulseAudioSystem(AppIdentities& identities,
                              std::chrono::milliseconds deadline = std::chrono::milliseconds(300));

    std::optional<InputState> inputState() override;

private:
    AppIdentities& m_identities;
    std::chrono::milliseconds m_deadline;
};

} // namespace os
