#pragma once

#include "core/Clock.h"
#include "core/FeedItem.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>
#include <optional>

// What the recording panel shows: how long the recording runs, the feed of what Orvane picks up, and whether
// each track hears anything. A plain model, tested without a screen; the panel draws it. Main thread.
class HUDModel : public QObject {
    Q_OBJECT
public:
    enum class Mode { pill, card, dot };
    // A track's health as the panel shows it: sound, silent for a spell, or not recording at all.
    enum class Track { sound, silent, off };
    struct Row {
        QUuid id;
        FeedItem::Kind kind;
        QString text;
        QDateTime at;
    };
    static constexpr int keep = 6;

    explicit HUDModel(Clock now, QObject* parent = nullptr);

    // "pill", "card", "dot"; nothing for any other text.
    static QString modeName(Mode mode);
    static std::optional<Mode> modeNamed(const QString& name);

    // A new recording: its start, whether the microphone records, an empty feed, both tracks sounding.
    void reset(const QDateTime& started, bool micOk);
    // Trimmed; an empty text, or a repeat of the newest row, adds nothing. At most `keep` rows, newest first.
    void add(FeedItem::Kind kind, const QString& text);
    void set(Mode mode);
    void setHearing(bool hearing);
    void setListening(bool listening);
    // Each track's health at a tick; an `info` row once per silent spell, and once when the sound returns.
    void setTracks(Track system, Track mic);

    Mode mode() const { return m_mode; }
    const QDateTime& started() const { return m_started; }
    const QList<Row>& feed() const { return m_feed; }
    bool micOk() const { return m_micOk; }
    bool hearing() const { return m_hearing; }
    bool listening() const { return m_listening; }
    Track system() const { return m_system; }
    Track mic() const { return m_mic; }
    // A track that records hears nothing: the pill and the dot turn amber.
    bool anySilent() const { return m_system == Track::silent || m_mic == Track::silent; }

signals:
    void changed();
    void modeChanged(HUDModel::Mode mode);
    // A row was added: the live meter pulses.
    void rowAdded();
    // The panel's buttons.
    void stopWanted();
    void pinWanted();
    void voiceWanted();

private:
    Clock m_now;
    Mode m_mode = Mode::pill;
    QDateTime m_started;
    QList<Row> m_feed;
    bool m_micOk = false;
    bool m_hearing = false;
    bool m_listening = false;
    Track m_system = Track::sound;
    Track m_mic = Track::off;
};
