#pragma once

#include "app/Capture.h"
#include "core/Clock.h"
#include "os/CapturePermission.h"
#include "workday/CallHit.h"

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>

class CallDetector;
class HUD;
class LiveHearing;
class MicUsage;
class Nudges;
class Prompter;
class Session;
class Settings;
class Windows;

// How a recording starts and ends: the permission stages, the session and its capture, the panel, the
// one-second tick, the call offer and the wrap-up. The state is idle, starting, recording or saving, derived
// from what is under way. Main thread only.
class TuneIn : public QObject {
    Q_OBJECT
public:
    enum class State { idle, starting, recording, saving };

    struct Needs {
        Settings& settings;
        Nudges& nudges;
        Prompter& prompter;
        os::CapturePermission& permission;
        HUD& hud;
        CallDetector& detector;
        MicUsage& mic;
        Windows& windows;
        CaptureFactory capture;
        // The real probe of the screen, for when the preflight says no.
        std::function<bool()> screenWorks;
        Clock now;
        // Key phrases of what the user says; none where speech is left out.
        LiveHearing* hearing = nullptr;
    };
    explicit TuneIn(Needs needs, QObject* parent = nullptr);
    ~TuneIn() override;

    // The one way in; does nothing unless idle. With a hit the recording is a call.
    void startRecording(const std::optional<CallHit>& hit);
    // Does nothing without a recording or while saving.
    void stopRecording();
    // The record key: wraps up a recording, tunes in when idle, and does nothing in between.
    void toggleRecording();
    // The call detector's callbacks.
    void callDetected(const CallHit& hit);
    void callEnded();
    // The one-second tick of a recording; its timer runs while a recording does.
    void tick();

    State state() const;
    // Something is starting, recording or saving: the call detector's "recording".
    bool busy() const { return state() != State::idle; }
    bool recordingUsesMic() const { return m_capture && m_capture->micOk(); }
    bool recordingFromCall() const { return m_fromCall; }
    // The running recording, for pins and live tips.
    Capture* capture() const { return m_capture.get(); }

signals:
    // The state changed: the status and the menu are drawn again.
    void changed();
    // Every second of a recording.
    void ticked();
    // The recording is saved and finished on disk; its way on is the owner's to choose.
    void saved(std::shared_ptr<Session> session);

private:
    // Why a recording runs without the microphone, for the words of its nudge.
    enum class NoMic { missing, denied };

    void startWithMic(const std::optional<CallHit>& hit);
    void begin(const std::optional<CallHit>& hit, bool mic);
    void started(const std::optional<CallHit>& hit, const std::optional<QString>& error);
    void withoutMic(const std::optional<CallHit>& hit, NoMic why);
    void permissionAlert(const QString& title, const QString& text, os::CapturePermission::Pane pane);
    void onStreamError(const QString& text);
    void checkForCall();
    void showTrackHealth();
    void sampleRecordingApp();
    // Hears the microphone when the recording has it and the setting allows; whether it runs.
    bool startHearing();

    Settings& m_settings;
    Nudges& m_nudges;
    Prompter& m_prompter;
    os::CapturePermission& m_permission;
    HUD& m_hud;
    CallDetector& m_detector;
    MicUsage& m_mic;
    Windows& m_windows;
    CaptureFactory m_makeCapture;
    std::function<bool()> m_screenWorks;
    Clock m_now;
    LiveHearing* m_hearing;

    std::unique_ptr<Capture> m_capture;  // set while recording
    std::unique_ptr<Capture> m_starting; // set while its start is under way
    std::unique_ptr<Capture> m_saving;   // set while its save is under way
    bool m_probing = false;              // the screen probe runs
    bool m_fromCall = false;
    std::optional<NoMic> m_noMic;
    QTimer m_recTimer;
    int m_recTicks = 0;
};
