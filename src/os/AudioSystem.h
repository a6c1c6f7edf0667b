#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace os {

// A process that records from a microphone right now.
struct InputClient {
    qint32 pid = 0;
    QString appId; // the application identity; may be empty

    bool operator==(const InputClient&) const = default;
};

// Who records from the machine's microphones, as the sound server sees it at one moment.
struct InputState {
    std::optional<QString> defaultSource;
    // Recorders from real sources (not monitors of outputs), level meters left out.
    QList<InputClient> clients;
};

// The sound server's view of audio input.
class AudioSystem {
public:
    virtual ~AudioSystem() = default;
    // Nothing when no sound server answers.
    virtual std::optional<InputState> inputState() = 0;
};

} // namespace os
