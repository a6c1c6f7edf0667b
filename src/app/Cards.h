#pragma once

#include "core/Clock.h"
#include "server/API.h"

#include <QCoroTask>
#include <QObject>
#include <memory>
#include <optional>

class Nudges;
class Session;
class Settings;

// A suggestion, a live tip or a spoken card made into a card: on a project, or in Personal. Where Personal
// takes no tasks yet (or nobody is signed in) the card travels as a private note: a one-second recording with
// one text pin, which stays on disk until Personal takes it.
class Cards : public QObject {
    Q_OBJECT
public:
    // The suggestion of a review that the card comes from.
    struct FromReview {
        QString watch; // the call's id
        QString suggestion;
        API api;
        std::optional<QString> dest; // where the call was filed
    };
    struct Needs {
        Settings& settings;
        Nudges& nudges;
        Clock now;
    };
    explicit Cards(Needs needs, QObject* parent = nullptr);

    // "Where does this card go?", with `suggested` (a destination word) or Personal first.
    void askCard(const QString& title, const std::optional<QString>& why,
                 const std::optional<QString>& suggested, const std::optional<FromReview>& review);
    // Sends the card to `to`, a project's slug or "personal".
    void addCard(const QString& title, const std::optional<QString>& why, const QString& to,
                 const std::optional<FromReview>& review);

signals:
    void changed();
    // The suggestion became a card: it is not asked about again.
    void suggestionTaken(const QString& watch, const QString& suggestion);
    // A private note on disk, for Personal.
    void noteRecorded(std::shared_ptr<Session> session);
    void signInWanted();

private:
    QCoro::Task<> send(QString title, std::optional<QString> why, QString to,
                       std::optional<FromReview> review);
    // False when the note could not be drawn, the one way a card is lost.
    QCoro::Task<bool> addPersonalTask(QString title, std::optional<QString> why);
    bool recordNote(const QString& title, const std::optional<QString>& why);

    Settings& m_settings;
    Nudges& m_nudges;
    Clock m_now;
};
