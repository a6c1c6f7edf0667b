#include "workday/MicUsage.h"

#include <algorithm>

MicUsage::MicUsage(os::AudioSystem& audio, qint32 ownPid, QString ownAppId)
    : m_audio(audio), m_ownPid(ownPid), m_ownAppId(std::move(ownAppId)) {}

std::optional<QString> MicUsage::defaultInputDevice() {
    const std::optional<os::InputState> state = m_audio.inputState();
    return state ? state->defaultSource : std::nullopt;
}

bool MicUsage::inputRunningSomewhere() {
    const std::optional<os::InputState> state = m_audio.inputState();
    return state && !state->clients.isEmpty();
}

std::optional<QList<MicUsage::Proc>> MicUsage::processesUsingInput() {
    const std::optional<os::InputState> state = m_audio.inputState();
    if (!state)
        return std::nullopt;
    return state->clients;
}

std::optional<bool> MicUsage::othersUsingInput() {
    const std::optional<QList<Proc>> procs = processesUsingInput();
    if (!procs)
        return std::nullopt;
    return std::any_of(procs->cbegin(), procs->cend(), [this](const Proc& p) {
        // Without an identity of its own, any other pid counts.
        return p.pid != m_ownPid && (m_ownAppId.isEmpty() || p.appId != m_ownAppId);
    });
}
