#pragma once

#include "app/Capture.h"
#include "recording/Session.h"

#include <QObject>
#include <QTimer>

// A recording that records nothing: it starts and stops when the test lets it, and its stop finishes the
// session on disk as the recorder would. What the flow told it is kept for the test to read.
class FakeCapture final : public Capture {
public:
    // What every capture made by one factory shares with the test.
    struct Script {
        std::optional<QString> startError; // the next start fails with this text
        bool micWorks = true;
        Recorder::TrackStates tracks;
        int made = 0;
        FakeCapture* last = nullptr;
    };

    FakeCapture(std::shared_ptr<Session> session, Script& script)
        : m_session(std::move(session)), m_script(script) {
        ++script.made;
        script.last = this;
    }
    ~FakeCapture() override {
        if (m_script.last == this) m_script.last = nullptr;
    }

    static CaptureFactory factory(Script& script) {
        return [&script](std::shared_ptr<Session> session) -> std::unique_ptr<Capture> {
            return std::make_unique<FakeCapture>(std::move(session), script);
        };
    }

    void start(bool withMic, std::function<void(std::optional<QString>)> done) override {
        askedMic = withMic;
        m_micOk = withMic && m_script.micWorks;
        QTimer::singleShot(0, &m_alive,
                           [done = std::move(done), error = m_script.startError] { done(error); });
    }
    void stop(std::function<void(std::shared_ptr<Session>)> done) override {
        ++stops;
        m_session->meta.ended = m_session->meta.started.addSecs(60);
        m_session->save();
        QTimer::singleShot(0, &m_alive, [done = std::move(done), session = m_session] { done(session); });
    }
    std::shared_ptr<Session> session() const override { return m_session; }
    double elapsed() const override { return at; }
    bool micOk() const override { return m_micOk; }
    Counts counts() const override { return {0, pins.size()}; }
    bool isCall() const override { return m_session->meta.isCall(); }
    Recorder::TrackStates trackStates() const override { return m_script.tracks; }
    void noteApp(const QString& name, const QString&, const std::optional<QString>&) override {
        apps.append(name);
    }
    void markCall(const QString& app) override {
        m_session->meta.kind = QStringLiteral("call");
        calls.append(app);
    }
    void setAutoPin(bool on) override { autoPin = on; }
    void addPin(const QByteArray&, const QString& note, double t, bool textOnly) override {
        pins.append(note);
        pinTimes.append(t);
        textOnlyPins.append(textOnly);
    }
    Recorder::LiveSnapshot liveSnapshot(qsizetype since) const override {
        Recorder::LiveSnapshot snapshot;
        snapshot.ocr = ocr.mid(std::min(since, ocr.size()));
        snapshot.ocrCount = ocr.size();
        snapshot.kind = isCall() ? QStringLiteral("call") : QStringLiteral("session");
        snapshot.started = m_session->meta.started;
        snapshot.meta = m_session->meta;
        return snapshot;
    }

    // The recording's timeline, and the text read off the screen so far.
    double at = 0;
    QList<OcrEntry> ocr;
    bool askedMic = false;
    bool autoPin = false;
    int stops = 0;
    QStringList apps;
    QStringList calls;
    QStringList pins;
    QList<double> pinTimes;
    QList<bool> textOnlyPins;

private:
    std::shared_ptr<Session> m_session;
    Script& m_script;
    bool m_micOk = false;
    QObject m_alive;
};
