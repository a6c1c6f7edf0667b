#pragma once

#include "os/AudioSystem.h"

#include <QList>
#include <QString>
#include <optional>

// Who holds the microphone. Every question reads the sound server afresh; a failed read is no information.
class MicUsage {
public:
    using Proc = os::InputClient;

    // ownPid and ownAppId: this program, whose own recording never counts as someone else's.
    MicUsage(os::AudioSystem& audio, qint32 ownPid, QString ownAppId);

    std::optional<QString> defaultInputDevice();
    // Someone records from a microphone right now.
    bool inputRunningSomewhere();
    // The processes that record right now; nothing when the sound server can't say.
    std::optional<QList<Proc>> processesUsingInput();
    // Whether a process other than this program records; nothing when the processes are unknown.
    std::optional<bool> othersUsingInput();

    qint32 ownPid() const { return m_ownPid; }

private:
    os::AudioSystem& m_audio;
    qint32 m_ownPid;
    QString m_ownAppId;
};
