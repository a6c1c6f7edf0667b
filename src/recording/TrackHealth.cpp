#include "recording/TrackHealth.h"

#include <cmath>

TrackHealth::TrackHealth(QString name, double since)
    : m_name(std::move(name)), m_lastBuffer(since), m_lastSound(since) {}

void TrackHealth::heard(double now, bool zeros) {
    const std::lock_guard lock(m_mutex);
    m_lastBuffer = now;
    if (!zeros) m_lastSound = now;
}

std::optional<QString> TrackHealth::check(double now) {
    const std::lock_guard lock(m_mutex);
    const bool flowing = now - m_lastBuffer < noBuffersAfter;
    if (m_state != State::Sound) {
        // Only sound heard after the spell began ends it: buffers of zeros after none at all do not.
        if (flowing && m_lastSound > m_silentSince) {
            m_state = State::Sound;
            return QStringLiteral("track %1 recovered after %2 s")
                .arg(m_name)
                .arg(std::lround(m_lastSound - m_silentSince));
        }
        m_state = flowing ? State::OnlyZeros : State::NoBuffers;
        return std::nullopt;
    }
    if (flowing && now - m_lastSound < onlyZerosAfter) return std::nullopt;
    m_state = flowing ? State::OnlyZeros : State::NoBuffers;
    m_silentSince = flowing ? m_lastSound : m_lastBuffer;
    return QStringLiteral("track %1 silent for %2 s").arg(m_name).arg(std::lround(now - m_silentSince));
}

TrackHealth::State TrackHealth::state() const {
    const std::lock_guard lock(m_mutex);
    return m_state;
}
