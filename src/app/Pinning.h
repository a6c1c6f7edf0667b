#pragma once

#include <QByteArray>
#include <QImage>
#include <QObject>
#include <functional>
#include <optional>

class HUD;
class Nudges;
class PinQueue;
class TuneIn;

// A pin made by hand: a region of the screen, then a note. During a recording it joins the recording;
// otherwise it waits in the queue for the next one. Main thread only.
class Pinning : public QObject {
    Q_OBJECT
public:
    using Region = std::function<void(std::optional<QByteArray> jpeg)>;
    struct Needs {
        Nudges& nudges;
        HUD& hud;
        TuneIn& tuneIn;
        PinQueue& queue;
        // Lets the user drag out a region; JPEG data, or nothing when cancelled.
        std::function<void(Region)> selectRegion;
        // Asks for the note for the picture; the answer is nothing when cancelled.
        std::function<void(const QImage&, bool recording, std::function<void(std::optional<QString>)>)>
            askNote;
    };
    explicit Pinning(Needs needs, QObject* parent = nullptr);

    // From the panel, the key or a voice command; does nothing while a pin is being made.
    void addPin();
    bool pinning() const { return m_pinning; }

signals:
    void changed();

private:
    void pinned(const QByteArray& jpeg, double t, const QString& note);
    void done();

    Needs m_needs;
    bool m_pinning = false;
};
