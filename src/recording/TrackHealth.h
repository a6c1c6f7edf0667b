#pragma once

#include <QString>
#include <mutex>
#include <optional>

// Watches one audio track while it records, so that a dead device or an input that hears nothing is noticed
// while there is still time to fix it, not after an hour of silence. Safe to feed from one thread and check
// from another.
class TrackHealth {
public:
    enum class State { Sound, NoBuffers, OnlyZeros };

    // Seconds without any buffer, and of nothing but exact zeros, that count as a silent track.
    static constexpr double noBuffersAfter = 10;
    static constexpr double onlyZerosAfter = 60;

    // `name` as the log names the track ("system", "mic"); `since` is when it started to record.
    TrackHealth(QString name, double since);

    // A buffer arrived at `now`; `zeros` when all its samples are exact zeros.
    void heard(double now, bool zeros);
    // The state at `now`; the log line when it changed since the last check: "track mic silent for 12 s" once
    // per silent spell, "track mic recovered after 40 s" at its end.
    std::optional<QString> check(double now);
    State state() const;

private:
    const QString m_name;
    mutable std::mutex m_mutex;
    double m_lastBuffer;
    double m_lastSound;
    State m_state = State::Sound;
    double m_silentSince = 0;
};
