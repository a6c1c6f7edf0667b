#pragma once

#include "core/FeedItem.h"
#include "recording/Recorder.h"

#include <QString>
#include <functional>
#include <memory>
#include <optional>

class Session;
class SerialQueue;

// One recording as the tuning-in flow drives it: started once, stopped once. The app's is a Recorder; tests
// give one that records nothing. Main thread, but for the callbacks' own notes.
class Capture {
public:
    virtual ~Capture() = default;

    // Starts recording; `done` runs later on the main thread with the error's text when it failed.
    virtual void start(bool withMic, std::function<void(std::optional<QString> error)> done) = 0;
    // Finishes the tracks and saves the session off the main thread; `done` runs later on the main thread.
    virtual void stop(std::function<void(std::shared_ptr<Session>)> done) = 0;

    virtual std::shared_ptr<Session> session() const = 0;
    // Seconds on the recording's timeline.
    virtual double elapsed() const = 0;
    virtual bool micOk() const = 0;
    // Screenshots kept and pins added so far.
    struct Counts {
        qsizetype shots = 0;
        qsizetype pins = 0;
    };
    virtual Counts counts() const = 0;
    virtual bool isCall() const = 0;
    virtual Recorder::TrackStates trackStates() const = 0;
    virtual void noteApp(const QString& name, const QString& appId, const std::optional<QString>& title) = 0;
    virtual void markCall(const QString& app) = 0;
    virtual void setAutoPin(bool on) = 0;
    // A text-only pin is a note drawn as a card, not a picture of the screen.
    virtual void addPin(const QByteArray& jpeg, const QString& note, double t, bool textOnly) = 0;
    // What was noted so far, with the text read off the screen from index `since` on.
    virtual Recorder::LiveSnapshot liveSnapshot(qsizetype since) const = 0;

    // The capture stopped by itself, with the reason. Main thread.
    std::function<void(const QString&)> onStreamError;
    // A line for the recording panel's feed. Main thread.
    std::function<void(FeedItem::Kind, const QString&)> onEvent;
    // The microphone's level (RMS), for the meter. The capture's thread: quick, and no calls back.
    std::function<void(float)> onMicLevel;
    // Every microphone buffer, for live hearing; set before `start`. The capture's thread: quick, and no
    // calls back.
    std::function<void(const AudioBuffer&)> onMicBuffer;
};

using CaptureFactory = std::function<std::unique_ptr<Capture>(std::shared_ptr<Session>)>;

// A Capture over the app's Recorder; its stop waits for the queues and the mix on a thread of its own.
class RecorderCapture : public Capture {
public:
    RecorderCapture(std::shared_ptr<Session> session, Recorder::Sources sources);
    ~RecorderCapture() override;

    void start(bool withMic, std::function<void(std::optional<QString>)> done) override;
    void stop(std::function<void(std::shared_ptr<Session>)> done) override;
    std::shared_ptr<Session> session() const override { return m_recorder->session(); }
    double elapsed() const override { return m_recorder->elapsed(); }
    bool micOk() const override { return m_recorder->micOk(); }
    Counts counts() const override;
    bool isCall() const override;
    Recorder::TrackStates trackStates() const override { return m_recorder->trackStates(); }
    void noteApp(const QString& name, const QString& appId, const std::optional<QString>& title) override {
        m_recorder->noteApp(name, appId, title);
    }
    void markCall(const QString& app) override { m_recorder->markCall(app); }
    void setAutoPin(bool on) override { m_recorder->autoPinOn = on; }
    void addPin(const QByteArray& jpeg, const QString& note, double t, bool textOnly) override {
        m_recorder->addPin(jpeg, note, t, textOnly);
    }
    Recorder::LiveSnapshot liveSnapshot(qsizetype since) const override {
        return m_recorder->liveSnapshot(since);
    }

private:
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
    std::shared_ptr<Recorder> m_recorder;
    std::unique_ptr<SerialQueue> m_saver;
};
