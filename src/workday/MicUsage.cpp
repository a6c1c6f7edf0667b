#include "workday/MicUsage.h"

#include <algorithm>

MicUsage::MicUsage(os::AudioSystem& audio, qint32 ownPid, std::function<QString()> ownAppId)
    : m_audio(audio), m_ownPid(ownPid), m_identifyOwn(std::move(ownAppId)) {}

MicUsage::MicUsage(os::AudioSystem& audio, qint32 ownPid, QString ownAppId)
    : m_audio(audio), m_ownPid(ownPid), m_ownAppId(std::move(ownAppId)) {}

const QString& MicUsage::ownAppId() {
    if (!m_ownAppId) m_ownAppId = m_identifyOwn();
    return *m_ownAppId;
}

std::optional<QString> MicUsage::defaultInputDevice() {
    const std::optional<os::InputState> state = m_audio.inputState();
    return state ? state->defaultSource : std::nullopt;
}

MicUsage::Reading MicUsage::read() {
    const std::optional<os::InputState> state = m_audio.inputState();
    if (!state) return {};
    return {!state->clients.isEmpty(), state->clients};
}

bool MicUsage::inputRunningSomewhere() {
    return read().running;
}

std::optional<QList<MicUsage::Proc>> MicUsage::processesUsingInput() {
    return read().procs;
}

std::optional<bool> MicUsage::othersUsingInput() {
    return othersUsingInput(processesUsingInput());
}

std::optional<bool> MicUsage::othersUsingInput(const std::optional<QList<Proc>>& procs) {
    if (!procs) return std::nullopt;
    const QString& own = ownAppId();
    return std::any_of(procs->cbegin(), procs->cend(), [this, &own](const Proc& p) {
        // Without an identity of its own, any other pid counts.
        return p.pid != m_ownPid && (own.isEmpty() || p.appId != own);
    });
}
