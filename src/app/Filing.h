#pragma once

#include "core/Clock.h"
#include "core/FiledRef.h"
#include "core/Workspace.h"
#include "recording/Router.h"
#include "server/API.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QSet>
#include <memory>
#include <optional>

class Browser;
class Notify;
class Nudges;
class Session;
class Settings;
class UploadStatus;

// Where a finished session goes: scoring it against the destinations, the question "Where does this go?" with
// its default after `askSeconds`, applying the answer, and moving the last filed recording afterwards.
class Filing : public QObject {
    Q_OBJECT
public:
    // One answer to "Where does this go?".
    struct Choice {
        bool personal = false;
        std::optional<Workspace> ws; // nothing for Personal
        QString label;
        bool suggested = false; // the primary button, first in the list
        bool operator==(const Choice&) const = default;
    };

    struct Needs {
        Settings& settings;
        Nudges& nudges;
        Notify& notify;
        Browser& browser;
        UploadStatus& status;
        Clock now;
        double askSeconds = 120;
    };
    explicit Filing(Needs needs, QObject* parent = nullptr);

    // The session's way after the recording: scored and asked, decided for the user, or straight on to
    // upload.
    void finish(std::shared_ptr<Session> session);
    QList<Choice> whereChoices(const Session& session) const;
    void askWhere(std::shared_ptr<Session> session);
    // A late answer, for a session decided meanwhile, does nothing.
    void choose(const Session& session, const Choice& choice);
    void applyPersonal(std::shared_ptr<Session> session, const QString& why);
    void applyProject(std::shared_ptr<Session> session, const Workspace& ws,
                      std::optional<RouteResult> result, bool isAuto);
    // Offers to move the last filed recording elsewhere.
    void askMove();
    void move(FiledRef filed, QString to);

    // The session is being scored or waits for an answer.
    bool deciding(const QString& dir) const { return m_routing.contains(dir) || m_routeScores.contains(dir); }
    bool routing() const { return !m_routing.isEmpty(); }
    // The sessions whose question is open, by folder.
    QList<QString> openQuestions() const { return m_routeScores.keys(); }
    // Why the open question of that folder suggests what it does.
    std::optional<QString> suggestionReason(const QString& dir) const {
        const auto found = m_routeSuggest.constFind(dir);
        return found != m_routeSuggest.constEnd() ? std::optional(found->reason) : std::nullopt;
    }

signals:
    // The session's way is settled (on disk): it can be sent.
    void decided(std::shared_ptr<Session> session);
    // A scoring run ended; the session may have been decided or asked.
    void routed(const QString& dir);
    void questionsChanged();
    void moved(const FiledRef& filed);

private:
    QCoro::Task<> route(std::shared_ptr<Session> session, QList<std::pair<Workspace, API>> connected);
    void scheduleDefaultDecision(const QString& dir);
    void settle(std::shared_ptr<Session> session);
    void askNext();
    QCoro::Task<> sendMove(FiledRef filed, QString to, API api);

    Settings& m_settings;
    Nudges& m_nudges;
    Notify& m_notify;
    Browser& m_browser;
    UploadStatus& m_status;
    Clock m_now;
    double m_askSeconds;
    QSet<QString> m_routing;                          // scoring runs, by folder
    QHash<QString, QList<RouteResult>> m_routeScores; // asked, not decided
    QHash<QString, Suggestion> m_routeSuggest;
};
