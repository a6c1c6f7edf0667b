#pragma once

#include "core/Clock.h"
#include "os/AudioBuffer.h"

#include <QObject>
#include <QString>

namespace os {
class SpeechEngine;
}

// Short key phrases of what the user says during a recording, recognised on this computer and never kept:
// the microphone's buffers are decoded on a thread of their own, and now and then a stretch of confident
// words is boiled down to a phrase. Start, stop and the phrases are on the main thread.
class LiveHearing : public QObject {
    Q_OBJECT
public:
    // At most one phrase in this many seconds.
    static constexpr double minGap = 15.0;

    // `engine` outlives this.
    LiveHearing(os::SpeechEngine& engine, Clock now, QObject* parent = nullptr);
    ~LiveHearing() override;

    // False, with a log line, when the speech model is missing; the recording goes on without hearing.
    bool start();
    void stop();
    // The recorder's microphone buffers, from its capture thread: copied and queued, never waited on.
    void append(const AudioBuffer& buffer);

signals:
    void phrase(const QString& phrase);
};
