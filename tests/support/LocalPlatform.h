#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>
#include <chrono>
#include <optional>

// A built orvane-localplatform on a free port with a fresh data folder, for one test; stopped in the
// destructor. The control helpers answer synchronously, so a test sets up a fault or an approval and goes
// straight on.
class LocalPlatform {
public:
    enum class Routes { Platform, AppPathsOnly };

    struct Fault {
        QString path;   // exact, or a prefix ending in "*"
        int status = 0; // 0: the real answer, after the delay
        QByteArray body;
        QByteArray contentType = "application/json";
        QString method; // empty: any
        std::chrono::milliseconds delay{0};
        int count = 1;
        // The answer waits until a request to this path (exact, or a prefix ending in "*") has arrived, for
        // at most 10 s, else it is a 504: two requests are under way at once, whatever the timing.
        QString holdUntil;
    };

    // How every destination's end-of-day jobs go until the next script or reset, counted in the polls of
    // GET /api/workday/wrap since the job's POST (a new POST counts anew). "done": running before poll
    // `after`, then done with summary, highlights (left out when false), tomorrow and cards, the first done
    // answer adding each card with a title as an open to-do there; "error": running, then
    // {"status": "error"} with `error` when given; "unstarted": the POST is answered, every poll says "none";
    // "endless": running at every poll. A day never started says "none". Without a script: done at poll 2.
    struct WrapScript {
        QString outcome = QStringLiteral("done");
        int after = 2;
        bool highlights = true;
        std::optional<QString> error;
    };

    explicit LocalPlatform(Routes routes = Routes::Platform);
    ~LocalPlatform();
    LocalPlatform(const LocalPlatform&) = delete;
    LocalPlatform& operator=(const LocalPlatform&) = delete;

    // False when the server did not come up; error() says why.
    bool isRunning() const { return m_port != 0; }
    const QString& error() const { return m_error; }
    // "http://127.0.0.1:<port>"
    QString base() const;
    QUrl url(const QString& path) const { return QUrl(base() + path); }
    QString dataDir() const { return m_data.path(); }

    bool fault(const Fault& fault);
    bool approve(const QString& userCode, const QString& email = {});
    bool deny(const QString& userCode);
    // "old": a release without the work-day routes, which then answer 404; "current": every route.
    bool setGeneration(const QString& generation);
    bool reset();
    // What arrived so far: method, path, headers, body_size.
    QJsonArray requests();

    // A closed Personal answers 404 on its calls and as a move's destination.
    bool closePersonal(bool closed = true);
    // While closed, POST /api/tasks on Personal answers 404; its calls and to-dos stay open.
    bool closePersonalTasks(bool closed = true);
    // How long after the notes start a call's detail carries its review; 2 s until a test sets it.
    bool reviewDelay(std::chrono::milliseconds delay);
    // The calls on the server, oldest first: id ("rec:<n>"), scope ("project:<slug>", "personal:<account>",
    // "legacy:<name>"), title, state (created, uploaded, processing, done), audio_bytes, and the number of
    // shots and pins.
    QJsonArray calls();
    bool scriptWrap(const WrapScript& script);
    // Live tips: "closed" (a 404 on them) and "next_after_s" (any JSON value, null to leave it out) of every
    // answer from now on; the keys left out stay as they are.
    bool setCoach(const QJsonObject& settings);
    // Every to-do of a scope ("project:brevik", "personal:1", "legacy:local"), done ones too, oldest first:
    // id (as text), title, status, notes and source (null when none was sent), inbox.
    QJsonArray todos(const QString& scope);
    // The live web sessions, oldest first: id (the ov_sess cookie's value), account, and via, "form" or
    // "app-session" (the one-time link).
    QJsonArray webSessions();

private:
    struct ControlReply {
        int status = 0;
        QByteArray body;
    };
    ControlReply control(const QByteArray& method, const QString& path, const QJsonObject& body = {});

    QTemporaryDir m_data;
    QProcess m_process;
    int m_port = 0;
    QString m_error;
};
