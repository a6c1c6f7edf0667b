#pragma once

#include "core/Clock.h"
#include "core/Workspace.h"
#include "server/API.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QSet>
#include <memory>
#include <optional>

class Filing;
class Notify;
class Nudges;
class Session;
class Settings;
class UploadStatus;

// Sending decided sessions to their destination, and picking up what was left: the pending sessions one after
// another, and the recordings that wait for Personal to open.
class Uploads : public QObject {
    Q_OBJECT
public:
    struct Needs {
        Settings& settings;
        Nudges& nudges;
        Notify& notify;
        UploadStatus& status;
        // Pending sessions go through the question first; a session it is deciding is left alone.
        Filing& filing;
        Clock now;
    };
    explicit Uploads(Needs needs, QObject* parent = nullptr);

    void uploadSession(std::shared_ptr<Session> session);
    void uploadPersonal(std::shared_ptr<Session> session, bool quiet);
    // Finishes the oldest pending session nobody is working on, then the next, until one fails.
    void retryUploads();
    // Probes Personal with one waiting recording, at most every 30 minutes unless forced; the rest follow
    // once it is open.
    void retryPersonal(bool force);
    // Tells the user that a finished recording waits for a sign-in.
    void signInNudge(const Session& session);

    bool uploading(const QString& dir) const { return m_uploading.contains(dir); }

signals:
    // A call is on the server; its review can be watched.
    void uploaded(const QString& id, const API& api, const std::optional<QUrl>& link,
                  const std::optional<QString>& dest, const QString& title);
    // An upload of the session in this folder ended, either way.
    void uploadEnded(const QString& dir);
    void signInWanted();

private:
    // Where a send goes: a workspace of the settings, or the account's Personal space.
    struct Target {
        std::optional<Workspace> ws;
        bool personal = false;
        // How the menu, the notification and the log name it; empty for a workspace no longer listed.
        QString name() const;
        // The destination word the last filed recording keeps, when there is one.
        std::optional<QString> dest() const;
    };
    void start(std::shared_ptr<Session> session, API api, Target target, bool quiet);
    QCoro::Task<> send(std::shared_ptr<Session> session, API api, Target target, bool quiet);
    QCoro::Task<std::optional<QString>> selfName(const Target& target, const API& api);
    void keepForPersonal(Session& session, bool quiet);
    void continueRetries();
    QCoro::Task<> retryPersonalTask(QList<std::shared_ptr<Session>> waiting, bool quiet);
    QCoro::Task<> whenNotUploading(QString dir);

    Settings& m_settings;
    Nudges& m_nudges;
    Notify& m_notify;
    UploadStatus& m_status;
    Filing& m_filing;
    Clock m_now;
    QSet<QString> m_uploading;   // one upload task per session at most
    bool m_retrying = false;     // retryUploads goes on when the busy sets drain
    QDateTime m_lastPersonalTry; // null: never
};
