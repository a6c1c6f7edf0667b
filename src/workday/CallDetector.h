#pragma once

#include "core/Clock.h"
#include "os/AudioSystem.h"
#include "os/WindowSystem.h"
#include "workday/CallHit.h"

#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <functional>
#include <optional>

class MicUsage;
class Windows;

// Notices a call by who holds the microphone and what windows are called: its start while nothing records,
// and 20 quiet seconds during a recording that began from a call. Lives on the main thread.
class CallDetector : public QObject {
    Q_OBJECT
public:
    static constexpr int tickSeconds = 3;
    static constexpr double quietSeconds = 20;

    CallDetector(MicUsage& mic, Windows& windows, Clock clock = systemNow, QObject* parent = nullptr);

    std::function<bool()> isRecording = [] { return false; };
    std::function<bool()> recordingUsesMic = [] { return false; };
    std::function<bool()> recordingFromCall = [] { return false; };
    std::function<bool()> enabled = [] { return true; };
    std::function<void(const CallHit&)> onCallStart = [](const CallHit&) {};
    std::function<void()> onCallEnded = [] {};

    // (Re)starts the 3-second tick.
    void start();
    void tick();
    // The call going on now, or nothing.
    std::optional<CallHit> identify();
    // The same, with the processes of a reading of the sound server already made.
    std::optional<CallHit> identify(const std::optional<QList<os::InputClient>>& procs);
    // A recording starts: a new watch for its end.
    void resetForRecording();
    // A recording stopped: the microphone session going on now brings no offer.
    void suppressCurrent();

    bool micWasOn() const { return m_micWasOn; }
    // A call was noticed outside a recording (offered, or left running after its recording stopped) and the
    // microphone is still on: the call goes on.
    bool offered() const { return m_offered; }
    const std::optional<QDateTime>& quietSince() const { return m_quietSince; }
    bool endPrompted() const { return m_endPrompted; }

private:
    void watchForEnd();
    void watchForStart();
    std::optional<CallHit> browserScan(const QList<os::Window>& windows) const;

    MicUsage& m_mic;
    Windows& m_windows;
    Clock m_clock;
    QTimer m_timer;
    bool m_micWasOn = false;
    bool m_offered = false;
    std::optional<QDateTime> m_quietSince;
    bool m_endPrompted = false;
};
