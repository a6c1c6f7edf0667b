#pragma once

#include "core/Clock.h"
#include "voice/VoiceListener.h"

#include <QByteArray>
#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class API;
class Capture;
class HUD;
class Nudges;
class Pinning;
class PinQueue;
class Session;
class Settings;
class TuneIn;
class VoicePill;

// Push-to-talk: what holding Ctrl+Alt+Space (or clicking Voice) and letting go does, and what becomes of the
// sentence: a pin of the screen, a note, a card, or "Heard …". During a recording the pin or note joins it at
// the moment of the key-down; otherwise it waits in the pin queue. Main thread only.
class VoiceCommands : public QObject {
    Q_OBJECT
public:
    // A round nobody ends stops after this long.
    static constexpr std::chrono::seconds longest{60};
    static inline const QString cardNote = QStringLiteral("Added by voice from the Orvane desktop app.");

    struct Needs {
        Settings& settings;
        Nudges& nudges;
        HUD& hud;
        TuneIn& tuneIn;
        Pinning& pinning;
        PinQueue& queue;
        VoiceListener& listener;
        VoicePill& pill;
        // The primary screen as a JPEG, later on the main thread; nothing when it cannot be read.
        std::function<void(std::function<void(std::optional<QByteArray>)>)> grabScreen;
        Clock now;
    };
    explicit VoiceCommands(Needs needs, QObject* parent = nullptr);
    ~VoiceCommands() override;

    // The key.
    void voiceDown();
    void voiceUp();
    // The Voice buttons: a round by click when none runs, else the end of the running one.
    void click();
    bool held() const { return m_held; }

signals:
    // Pins were queued or a round began or ended: the menu is drawn again.
    void changed();

private:
    void authorized(bool ok, const QString& message, bool byClick);
    void handle(const VoiceHeard& heard);
    void screenshot(const QString& note);
    void saveNote(const QString& text);
    void proposeCard(const QString& text);
    void heardOther(const QString& text);
    QCoro::Task<> addCard(API api, QString workspace, QString title);
    // The recording of the key-down, if it still records.
    Capture* recordingOfKeyDown() const;

    Needs m_needs;
    bool m_held = false;
    bool m_byClick = false;
    QDateTime m_downAt;
    // The recording at the key-down, and its time then: the pin's time.
    std::shared_ptr<Session> m_rec;
    double m_at = 0;
    QString m_partial;
    QTimer m_poll;
};
