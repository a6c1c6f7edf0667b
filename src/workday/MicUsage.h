#pragma once

#include "os/AudioSystem.h"

#include <QList>
#include <QString>
#include <functional>
#include <optional>

// Who holds the microphone. Every question reads the sound server afresh; a failed read is no information.
class MicUsage {
public:
    using Proc = os::InputClient;

    // ownPid and ownAppId: this program, whose own recording never counts as someone else's. Its identity is
    // asked for once, when a recording first needs it, not at start.
    MicUsage(os::AudioSystem& audio, qint32 ownPid, std::function<QString()> ownAppId);
    // The same with the identity already known.
    MicUsage(os::AudioSystem& audio, qint32 ownPid, QString ownAppId);

    // One reading of the sound server, which answers both questions below.
    struct Reading {
        bool running = false;
        std::optional<QList<Proc>> procs;
    };
    Reading read();

    std::optional<QString> defaultInputDevice();
    // Someone records from a microphone right now.
    bool inputRunningSomewhere();
    // The processes that record right now; nothing when the sound server can't say.
    std::optional<QList<Proc>> processesUsingInput();
    // Whether a process other than this program records; nothing when the processes are unknown.
    std::optional<bool> othersUsingInput();
    // The same, of the processes of a reading already made.
    std::optional<bool> othersUsingInput(const std::optional<QList<Proc>>& procs);

    qint32 ownPid() const { return m_ownPid; }

private:
    const QString& ownAppId();

    os::AudioSystem& m_audio;
    qint32 m_ownPid;
    std::function<QString()> m_identifyOwn;
    std::optional<QString> m_ownAppId;
};
