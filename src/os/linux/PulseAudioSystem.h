#pragma once

#include "os/AudioSystem.h"

#include <chrono>
#include <memory>

namespace os {

class AppIdentities;

// Audio input as PulseAudio (or PipeWire's PulseAudio server) reports it: the default source, and the
// uncorked recording streams on real sources with their processes. The connection is kept between questions
// and made anew when the daemon has gone; each question gives up after `deadline`, so a dead or restarting
// daemon never holds up the caller, and its absence is logged once. Used from one thread at a time.
class PulseAudioSystem final : public AudioSystem {
public:
    explicit PulseAudioSystem(AppIdentities& identities,
                              std::chrono::milliseconds deadline = std::chrono::milliseconds(300));
    ~PulseAudioSystem() override;

    std::optional<InputState> inputState() override;

private:
    class Connection;
    using Clock = std::chrono::steady_clock;
    Connection* connection(Clock::time_point deadline);
    std::optional<InputState> ask(Connection& connection, Clock::time_point deadline);

    AppIdentities& m_identities;
    std::chrono::milliseconds m_deadline;
    std::unique_ptr<Connection> m_connection;
    bool m_failing = false;
};

} // namespace os
