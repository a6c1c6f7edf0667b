#include "support/LocalPlatform.h"
#include "support/Rows.h"

#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>
#include <memory>
#include <sqlite3.h>

using namespace Qt::Literals::StringLiterals;

using testsupport::row;

namespace {

struct Answer {
    int status = 0;
    QByteArray body;
    QByteArray contentType;
    QByteArray location;
    QByteArray setCookie;
    QByteArray disposition;
    qint64 length = -1; // the declared Content-Length
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    QJsonArray list() const { return QJsonDocument::fromJson(body).array(); }
};

// One request over real HTTP, waited for on the event loop. Redirects and cookies are the test's to follow.
Answer send(const QUrl& url, const QByteArray& method = "GET", const QString& key = {},
            const std::optional<QByteArray>& body = std::nullopt,
            const QByteArray& contentType = "application/json", const QByteArray& cookie = {}) {
    static QNetworkAccessManager network;
    QNetworkRequest request(url);
    request.setTransferTimeout(20'000);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    if (!key.isEmpty()) request.setRawHeader("Authorization", "Bearer " + key.toUtf8());
    if (!cookie.isEmpty()) request.setRawHeader("Cookie", cookie);
    if (body) request.setRawHeader("Content-Type", contentType);
    std::unique_ptr<QNetworkReply> reply(body ? network.sendCustomRequest(request, method, *body)
                                              : network.sendCustomRequest(request, method));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished()) loop.exec();
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
            reply->readAll(),
            reply->header(QNetworkRequest::ContentTypeHeader).toByteArray(),
            reply->rawHeader("Location"),
            reply->rawHeader("Set-Cookie"),
            reply->rawHeader("Content-Disposition"),
            reply->header(QNetworkRequest::ContentLengthHeader).toLongLong()};
}

// Runs SQL on the server's own SQLite file beside it, to change what no route changes.
int execOnServer(const LocalPlatform& platform, const char* sql) {
    sqlite3* db = nullptr;
    if (sqlite3_open((platform.dataDir() + u"/platform.sqlite"_s).toUtf8(), &db) != SQLITE_OK) return -1;
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closer(db, &sqlite3_close);
    sqlite3_busy_timeout(db, 5000); // a transaction left open by the server would hold the write lock
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

QByteArray jsonBody(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// The least a call is created with: its title, times, people, images and whether audio follows.
QJsonObject callPayload(const QString& title, bool expectAudio = true) {
    return {{"title", title},
            {"started", u"2026-11-23T09:00:00.000Z"_s},
            {"ended", u"2026-11-23T09:30:00.000Z"_s},
            {"participants", QJsonArray{u"Ivo"_s}},
            {u"shots"_s, QJsonArray{QJsonObject{{"t", 1}, {"jpeg", u"AAAA"_s}}}},
            {"pins", QJsonArray{}},
            {"expect_audio", expectAudio}};
}

} // namespace

class TestLocalPlatform : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;

    LocalPlatform& platform() { return *m_platform; }
    Answer get(const QString& path, const QString& key = u"dev-key"_s) {
        return send(platform().url(path), "GET", key);
    }
    Answer post(const QString& path, const QJsonObject& body = {}, const QString& key = u"dev-key"_s) {
        return send(platform().url(path), "POST", key, jsonBody(body));
    }
    // A fresh device sign-in.
    QJsonObject startDevice() {
        return post(u"/device/start"_s, {{"client", u"mac"_s}, {"name", u"Orvane for Mac"_s}}, {}).json();
    }
    // A page as a browser with this cookie asks for it.
    Answer browse(const QString& path, const QByteArray& cookie = {}) {
        return send(platform().url(path), "GET", {}, std::nullopt, {}, cookie);
    }
    // "ov_sess=<id>" of a new session from the one-time link.
    QByteArray signInByLink() {
        const Answer link =
            browse(post(u"/auth/app-session"_s, {{"client", u"mac"_s}}).json()["url"_L1].toString());
        return link.setCookie.split(';').first();
    }
    QString pollStatus(const QString& deviceCode, QJsonObject* reply = nullptr) {
        const QJsonObject answer = post(u"/device/poll"_s, {{"device_code", deviceCode}}, {}).json();
        if (reply) *reply = answer;
        return answer.value(u"status"_s).toString();
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    void keysAreChecked_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        row("account without a key is refused", "/api/v1/me", "", 401, "missing key");
        row("the legacy key is no account key", "/api/v1/me", "legacy-key", 401, "unknown key");
        row("an unknown project is missing", "/api/v1/p/nowhere/me", "dev-key", 404, "no project nowhere");
        row("the account key is no legacy key", "/legacy/local/api/me", "dev-key", 401, "unknown key");
        row("the legacy key opens its workspace", "/legacy/local/api/me", "legacy-key", 200, "");
    }
    void keysAreChecked() {
        QFETCH(QString, path);
        QFETCH(QString, key);
        QFETCH(int, status);
        QFETCH(QString, error);
        const Answer answer = get(path, key);
        QCOMPARE(answer.status, status);
        QCOMPARE(answer.json()["error"_L1].toString(), error);
    }

    // Decided on the control route or on the page the browser shows; once decided, a code stays so.
    void deviceSignInRoundTrip_data() {
        QTest::addColumn<QString>("decision");
        QTest::addColumn<QString>("status");
        row("approved by the control route", "control approve", "ok");
        row("approved on the page", "page approve", "ok");
        row("denied by the control route", "control deny", "denied");
        row("declined on the page", "page decline", "denied");
    }
    void deviceSignInRoundTrip() {
        QFETCH(QString, decision);
        QFETCH(QString, status);
        const QJsonObject start = startDevice();
        const QString userCode = start["user_code"_L1].toString();
        const QString deviceCode = start["device_code"_L1].toString();
        QCOMPARE(pollStatus(deviceCode), u"pending"_s);
        const Answer page = get(start["verify_url"_L1].toString(), {});
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("action=\"/app/device/approve?code=" + userCode.toUtf8() + "\""));

        if (decision == QLatin1String("control approve"))
            QVERIFY(platform().approve(userCode));
        else if (decision == QLatin1String("control deny"))
            QVERIFY(platform().deny(userCode));
        else
            QCOMPARE(send(platform().url(u"/app/device/"_s + decision.section(QLatin1Char(' '), 1) +
                                         u"?code="_s + userCode),
                          "POST", {}, QByteArray())
                         .status,
                     200);
        QVERIFY(!platform().approve(userCode));

        QJsonObject poll;
        QCOMPARE(pollStatus(deviceCode, &poll), status);
        if (status != QLatin1String("ok")) return;
        QCOMPARE(poll["account"_L1]["email"_L1].toString(), u"dev@orvane.test"_s);
        QCOMPARE(get(u"/api/v1/me"_s, poll["key"_L1].toString()).status,
                 200); // the issued key is an account key
    }

    void unknownCodesAreRefused() {
        QVERIFY(!platform().approve(u"ZZZZ-9999"_s));
        QCOMPARE(post(u"/device/poll"_s, {{"device_code", u"dc-unknown"_s}}, {}).status, 404);
    }

    void aStatementThatFailsHalfwayLeavesNoTransactionOpen() {
        // A trigger of the test's own refuses the approval's second statement, after its first has run.
        QCOMPARE(execOnServer(platform(), "CREATE TRIGGER refuse BEFORE UPDATE OF state ON devices "
                                          "WHEN NEW.state = 1 BEGIN SELECT RAISE(ABORT, 'refused'); END"),
                 SQLITE_OK);
        const QJsonObject first = startDevice();
        QVERIFY(!platform().approve(first["user_code"_L1].toString()));
        QCOMPARE(execOnServer(platform(), "DROP TRIGGER refuse"), SQLITE_OK);

        // The next writes go through, and the refused approval left nothing behind: its code is still
        // pending.
        QCOMPARE(pollStatus(first["device_code"_L1].toString()), u"pending"_s);
        QVERIFY(!startDevice()["user_code"_L1].toString().isEmpty());
        QVERIFY(platform().approve(first["user_code"_L1].toString()));
        QCOMPARE(pollStatus(first["device_code"_L1].toString()), u"ok"_s);
    }

    void aCallNeedsItsPayloadsKeys_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value"); // undefined: left out
        row("without a title", "title", QJsonValue(QJsonValue::Undefined));
        row("shots not a list", "shots", QJsonValue(3));
        row("expect_audio as text", "expect_audio", QJsonValue(u"yes"_s));
    }
    void aCallNeedsItsPayloadsKeys() {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QJsonObject payload = callPayload(u"Broken"_s);
        if (value.isUndefined())
            payload.remove(key);
        else
            payload.insert(key, value);
        const Answer answer = post(u"/api/v1/personal/calls"_s, payload);
        QCOMPARE(answer.status, 400);
        QCOMPARE(answer.json()["error"_L1].toString(), key + " is missing or of the wrong type");
        QCOMPARE(platform().calls().size(), 0);
    }

    void aMoveGivesTheCallANewIdThere_data() {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<bool>("personalClosed");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("scope"); // where the call is afterwards
        row("project to Personal", "/api/v1/p/brevik", "personal", false, 200, "personal:1");
        row("Personal to a project", "/app/api/platform/personal", "noctal", false, 200, "project:noctal");
        row("into a closed Personal", "/api/v1/p/brevik", "personal", true, 404, "project:brevik");
        row("to a project without a seat", "/api/v1/p/brevik", "nowhere", false, 422, "project:brevik");
        row("to where it is", "/api/v1/p/brevik", "brevik", false, 409, "project:brevik");
        row("an older server cannot move", "/legacy/local/api", "personal", false, 404, "legacy:local");
    }
    void aMoveGivesTheCallANewIdThere() {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(bool, personalClosed);
        QFETCH(int, status);
        QFETCH(QString, scope);
        const QString key = from.startsWith(QLatin1String("/legacy")) ? u"legacy-key"_s : u"dev-key"_s;
        const QString call = from + u"/calls/rec:1"_s;
        QCOMPARE(post(from + u"/calls"_s, callPayload(u"Moving"_s), key).status, 200);
        QCOMPARE(
            send(platform().url(call + u"/audio"_s), "POST", key, QByteArray("sound"), "audio/mp4").status,
            200);
        QCOMPARE(post(call + u"/process"_s, {}, key).status, 200);
        QVERIFY(platform().closePersonal(personalClosed));

        const Answer moved = post(call + u"/move"_s, {{"to", to}}, key);
        QCOMPARE(moved.status, status);
        const QJsonArray calls = platform().calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0]["scope"_L1].toString(), scope);
        if (status != 200) return;
        QCOMPARE(moved.json()["id"_L1].toString(), u"rec:2"_s);
        QCOMPARE(moved.json()["call"_L1]["id"_L1].toString(), u"rec:2"_s);
        QCOMPARE(get(call, key).status, 404);
        QCOMPARE(calls[0]["state"_L1].toString(), u"processing"_s); // notes anew there
        QCOMPARE(calls[0]["audio_bytes"_L1].toInt(), 5);
        QVERIFY(QFile::exists(platform().dataDir() + u"/audio/rec-2.audio"_s));
    }

    // Decisions on a call's review suggestions, "accept 1" or "dismiss 3", in order: accepting makes the card
    // once, a contrary decision is refused, and the review shows the state reached.
    void reviewSuggestionsAreDecidedOnce_data() {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QStringList>("decisions");
        QTest::addColumn<QList<int>>("statuses");
        QTest::addColumn<QString>("state"); // of the last suggestion decided, in the review afterwards
        QTest::addColumn<int>("cards");     // to-dos added to the call's scope
        row("an open one accepted twice makes one card", "/api/v1/p/brevik",
            QStringList{u"accept 1"_s, u"accept 1"_s}, QList<int>{200, 200}, "accepted", 1);
        row("one accepted from the start makes none", "/api/v1/personal", QStringList{u"accept 2"_s},
            QList<int>{200}, "accepted", 0);
        row("an accepted one is not dismissed", "/api/v1/p/brevik",
            QStringList{u"accept 1"_s, u"dismiss 1"_s}, QList<int>{200, 409}, "accepted", 1);
        row("a dismissed one is not accepted", "/api/v1/p/brevik",
            QStringList{u"dismiss 4"_s, u"dismiss 4"_s, u"accept 4"_s}, QList<int>{200, 200, 409},
            "dismissed", 0);
        row("the one with a text id dismissed from the start", "/api/v1/p/brevik", QStringList{u"accept 3"_s},
            QList<int>{409}, "dismissed", 0);
        row("an unknown suggestion", "/api/v1/p/brevik", QStringList{u"accept 5"_s}, QList<int>{404}, "", 0);
        row("an older server has no decisions", "/legacy/local/api", QStringList{u"accept 1"_s},
            QList<int>{404}, "open", 0);
    }
    void reviewSuggestionsAreDecidedOnce() {
        QFETCH(QString, root);
        QFETCH(QStringList, decisions);
        QFETCH(QList<int>, statuses);
        QFETCH(QString, state);
        QFETCH(int, cards);
        const QString key = root.startsWith(QLatin1String("/legacy")) ? u"legacy-key"_s : u"dev-key"_s;
        const QString scope = root.contains(u"personal"_s) ? u"personal:1"_s
                              : root.contains(u"legacy"_s) ? u"legacy:local"_s
                                                           : u"project:brevik"_s;
        QVERIFY(platform().reviewDelay(std::chrono::milliseconds(0)));
        QCOMPARE(post(root + u"/calls/rec:1/review/1/accept"_s, {}, key).status, 404); // no call yet
        QCOMPARE(post(root + u"/calls"_s, callPayload(u"Plan"_s, false), key).status, 200);
        QCOMPARE(post(root + u"/calls/rec:1/process"_s, {}, key).status, 200);

        QString sid;
        for (qsizetype i = 0; i < decisions.size(); ++i) {
            const QStringList words = decisions[i].split(u' ');
            sid = words[1];
            QCOMPARE(post(root + u"/calls/rec:1/review/"_s + sid + u'/' + words[0], {}, key).status,
                     statuses[i]);
        }
        QCOMPARE(platform().todos(scope).size(), 3 + cards);
        if (cards) QCOMPARE(platform().todos(scope).last()["title"_L1], u"Send the notes of Plan to Ivo"_s);
        QString shown;
        for (const QJsonValue suggestion :
             get(root + u"/calls/rec:1"_s, key).json()["review"_L1]["suggestions"_L1].toArray())
            if (suggestion["i"_L1].toVariant().toString() == sid) shown = suggestion["state"_L1].toString();
        QCOMPARE(shown, state);
    }

    // A task keeps what it was sent; Personal's task route alone can be closed.
    void tasksAreStoredAsSent_data() {
        QTest::addColumn<QString>("root");
        QTest::addColumn<bool>("tasksClosed");
        QTest::addColumn<QJsonObject>("body");
        QTest::addColumn<int>("status");
        const QJsonObject card{
            {"title", u"Ship it"_s}, {"notes", u"agreed"_s}, {"inbox", true}, {"source", u"mac"_s}};
        const QJsonObject plain{{"title", u"Ship it"_s}, {"notes", u""_s}};
        row("a project's card while Personal's tasks are closed", "/api/v1/p/brevik", true, card, 200);
        row("Personal's plain task", "/api/v1/personal", false, plain, 200);
        row("Personal with its tasks closed", "/app/api/platform/personal", true, plain, 404);
        row("inbox that is no flag", "/api/v1/p/brevik", false, QJsonObject{{"title", u"x"_s}, {"inbox", 1}},
            400);
    }
    void tasksAreStoredAsSent() {
        QFETCH(QString, root);
        QFETCH(bool, tasksClosed);
        QFETCH(QJsonObject, body);
        QFETCH(int, status);
        const QString scope = root.contains(u"personal"_s) ? u"personal:1"_s : u"project:brevik"_s;
        QVERIFY(platform().closePersonalTasks(tasksClosed));

        QCOMPARE(post(root + u"/tasks"_s, body).status, status);
        QCOMPARE(get(root + u"/my/todos"_s).status, 200); // to-dos stay open
        const QJsonArray todos = platform().todos(scope);
        QCOMPARE(todos.size(), status == 200 ? 4 : 3);
        if (status != 200) return;
        QJsonObject stored = body;
        stored.insert(u"id"_s, u"4"_s);
        stored.insert(u"status"_s, u"open"_s);
        if (!body.contains("inbox"_L1)) stored.insert(u"inbox"_s, false);
        if (!body.contains("source"_L1)) stored.insert(u"source"_s, QJsonValue());
        QCOMPARE(todos.last().toObject(), stored);
    }

    // Each poll's status as scripted, the follow-ups joining the to-dos once however often "done" is read,
    // and a new start counting anew.
    void wrapJobsGoAsScripted_data() {
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<int>("after");
        QTest::addColumn<bool>("highlights");
        QTest::addColumn<QJsonValue>("error"); // undefined: none scripted
        QTest::addColumn<QStringList>("polls");
        const QJsonValue none(QJsonValue::Undefined);
        const QStringList doneAtThree{u"running"_s, u"running"_s, u"done"_s, u"done"_s};
        row("done at the third poll with highlights", "done", 3, true, none, doneAtThree);
        row("done at the first poll without highlights", "done", 1, false, none,
            QStringList{u"done"_s, u"done"_s});
        row("an error with its text", "error", 2, true, QJsonValue(u"the writer is down"_s),
            QStringList{u"running"_s, u"error"_s, u"error"_s});
        row("an error without text", "error", 1, true, none, QStringList{u"error"_s});
        row("a job that never starts", "unstarted", 1, true, none, QStringList(4, u"none"_s));
        row("a job that never ends", "endless", 1, true, none, QStringList(4, u"running"_s));
    }
    void wrapJobsGoAsScripted() {
        QFETCH(QString, outcome);
        QFETCH(int, after);
        QFETCH(bool, highlights);
        QFETCH(QJsonValue, error);
        QFETCH(QStringList, polls);
        LocalPlatform::WrapScript script{outcome, after, highlights, std::nullopt};
        if (error.isString()) script.error = error.toString();
        QVERIFY(platform().scriptWrap(script));
        const QString wrap = u"/api/v1/p/brevik/workday/wrap"_s;
        const QString poll = wrap + u"?day=2026-11-23"_s;
        const auto followUps = [&] {
            qsizetype count = 0;
            for (const QJsonValue todo : platform().todos(u"project:brevik"_s))
                count += todo["title"_L1] == u"Follow up on today's calls"_s && todo["inbox"_L1].toBool();
            return count;
        };

        QCOMPARE(get(poll).json()["status"_L1].toString(), u"none"_s); // never started
        QCOMPARE(post(wrap, {{"day", u"2026-11-23"_s}}).json()["status"_L1].toString(), u"running"_s);
        for (const QString& expected : polls) {
            const QJsonObject reply = get(poll).json();
            QCOMPARE(reply["status"_L1].toString(), expected);
            if (expected == QLatin1String("done")) {
                QCOMPARE(reply.contains("highlights"_L1), highlights);
                QCOMPARE(reply["cards"_L1].toArray().size(), 2);
            }
            if (expected == QLatin1String("error")) QCOMPARE(reply.value("error"_L1), error);
        }
        QCOMPARE(followUps(), polls.contains(u"done"_s) ? 1 : 0);

        QCOMPARE(post(wrap, {{"day", u"2026-11-23"_s}}).status, 200);
        QCOMPARE(get(poll).json()["status"_L1].toString(), polls.first());
    }

    // The key buys a relative link that signs the browser in once and lands where it was asked to, on this
    // site only.
    void theAppSessionLinkSignsInOnce_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("next"); // undefined: left out
        QTest::addColumn<bool>("expired");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("landing"); // where the link goes
        const QJsonValue none(QJsonValue::Undefined);
        row("lands on the page asked for", "dev-key", QJsonValue(u"/app/p/brevik/?a=1"_s), false, 200,
            "/app/p/brevik/?a=1");
        row("lands on the board home without a next", "dev-key", none, false, 200, "/app");
        row("a protocol-relative next lands home", "dev-key", QJsonValue(u"//evil.example/app"_s), false, 200,
            "/app");
        row("a next with a backslash lands home", "dev-key", QJsonValue(u"/\\evil.example/app"_s), false, 200,
            "/app");
        row("an absolute next lands home", "dev-key", QJsonValue(u"https://evil.example/"_s), false, 200,
            "/app");
        row("an expired link goes to the sign-in form", "dev-key", none, true, 200, "/signin?next=/app");
        row("a legacy workspace key is refused", "legacy-key", none, false, 401, "");
    }
    void theAppSessionLinkSignsInOnce() {
        QFETCH(QString, key);
        QFETCH(QJsonValue, next);
        QFETCH(bool, expired);
        QFETCH(int, status);
        QFETCH(QString, landing);
        QJsonObject body{{"client", u"mac"_s}};
        if (!next.isUndefined()) body.insert(u"next"_s, next);
        const Answer granted = post(u"/auth/app-session"_s, body, key);
        QCOMPARE(granted.status, status);
        if (status != 200) {
            QVERIFY(granted.json().contains("error"_L1));
            return;
        }
        const QString link = granted.json()["url"_L1].toString();
        QVERIFY(link.startsWith("/auth/app?t="_L1));
        if (expired) QCOMPARE(execOnServer(platform(), "UPDATE app_tokens SET expires_at = 0"), SQLITE_OK);

        const Answer signedIn = browse(link);
        QCOMPARE(signedIn.status, 302);
        QCOMPARE(signedIn.location, landing.toUtf8());
        const QJsonArray sessions = platform().webSessions();
        QCOMPARE(sessions.size(), expired ? 0 : 1);
        if (sessions.isEmpty()) return;
        const QByteArray id = sessions[0]["id"_L1].toString().toUtf8();
        QCOMPARE(signedIn.setCookie, "ov_sess=" + id + "; Path=/; HttpOnly; SameSite=Lax");
        QCOMPARE(sessions[0].toObject(),
                 (QJsonObject{{"id", QString::fromUtf8(id)}, {"account", 1}, {"via", u"app-session"_s}}));
        QCOMPARE(browse(link).location, "/signin?next=/app"_ba); // used up
    }

    // Without a live session a board page sends the browser to sign in, naming itself to come back to.
    void boardPagesNeedASession_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("shows");
        row("the home without a cookie", "/app", false, "/signin?next=/app", "");
        row("a board's query goes along", "/app/p/brevik/?light=1", false,
            "/signin?next=/app/p/brevik/%3Flight%3D1", "");
        row("a recording's id goes along encoded", "/app/r/rec:7", false, "/signin?next=/app/r/rec%3A7", "");
        row("a board on the dark ground", "/app/p/brevik/", true, "",
            "<title>Board brevik</title>|background:rgb(7, 8, 11)|id=\"download-cut\"");
        row("a recording on the light ground", "/app/r/rec:7?light=1", true, "",
            "<title>Recording rec:7</title>|background:rgb(251, 251, 250)|id=\"signout\"");
    }
    void boardPagesNeedASession() {
        QFETCH(QString, path);
        QFETCH(bool, signedIn);
        QFETCH(QString, location);
        QFETCH(QString, shows);
        const QByteArray cookie = signedIn ? signInByLink() : QByteArray();
        const Answer answer = browse(path, cookie);
        QCOMPARE(answer.status, location.isEmpty() ? 200 : 302);
        QCOMPARE(answer.location, location.toUtf8());
        for (const QString& part : shows.split(u'|', Qt::SkipEmptyParts))
            QVERIFY2(answer.body.contains(part.toUtf8()), qPrintable(part));
        QCOMPARE(platform().requests().last()["headers"_L1]["Cookie"_L1].toString().toUtf8(), cookie);
    }

    void theSignInFormSignsInAnyAccountWithAPassword_data() {
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<QByteArray>("location"); // empty: the form again
        row("the account's e-mail goes to next",
            "email=dev%40orvane.test&password=x&next=%2Fapp%2Fr%2F7%3Flight%3D1"_ba, "/app/r/7?light=1"_ba);
        row("an empty password shows the form again",
            "email=dev%40orvane.test&password=&next=%2Fapp%2Fr%2F7"_ba, QByteArray());
        row("an unknown e-mail shows the form again",
            "email=nobody%40orvane.test&password=x&next=%2Fapp%2Fr%2F7"_ba, QByteArray());
    }
    void theSignInFormSignsInAnyAccountWithAPassword() {
        QFETCH(QByteArray, fields);
        QFETCH(QByteArray, location);
        QVERIFY(browse(u"/signin?next=%2Fapp%2Fr%2F7"_s).body.contains(R"(name="next" value="/app/r/7")"));
        const Answer answer =
            send(platform().url(u"/signin"_s), "POST", {}, fields, "application/x-www-form-urlencoded");
        QCOMPARE(answer.status, location.isEmpty() ? 200 : 303);
        QCOMPARE(answer.location, location);
        const QJsonArray sessions = platform().webSessions();
        QCOMPARE(sessions.size(), location.isEmpty() ? 0 : 1);
        if (location.isEmpty()) {
            QVERIFY(answer.body.contains("That e-mail and password do not sign in."));
            QVERIFY(answer.body.contains(R"(name="next" value="/app/r/7")"));
            return;
        }
        QCOMPARE(sessions[0]["via"_L1].toString(), u"form"_s);
        QVERIFY(answer.setCookie.startsWith("ov_sess=" + sessions[0]["id"_L1].toString().toUtf8() + ";"));
    }

    // Either sign-out ends the session its cookie names and no other; the app's answers 200 all the same.
    void signingOutEndsTheNamedSession_data() {
        QTest::addColumn<QString>("route");
        QTest::addColumn<bool>("own"); // the cookie sent names the session, else one that never was
        row("the page's sign-out", "/signout", true);
        row("the app's sign-out", "/auth/signout", true);
        row("the app's sign-out of an unknown session", "/auth/signout", false);
    }
    void signingOutEndsTheNamedSession() {
        QFETCH(QString, route);
        QFETCH(bool, own);
        const QByteArray cookie = signInByLink();
        signInByLink(); // another browser's, which stays
        QJsonArray after = platform().webSessions();
        if (own) after.removeFirst();
        const QByteArray sent = own ? cookie : "ov_sess=unknown"_ba;
        if (route == "/signout"_L1) {
            const Answer answer = browse(route, sent);
            QCOMPARE(answer.location, "/signin?out=1"_ba);
            QCOMPARE(answer.setCookie, "ov_sess=; Path=/; Max-Age=0; HttpOnly; SameSite=Lax"_ba);
            QVERIFY(browse(QString::fromUtf8(answer.location)).body.contains("You are signed out."));
        } else {
            const Answer answer = send(platform().url(route), "POST", {}, "{}"_ba, "application/json", sent);
            QCOMPARE(answer.status, 200);
            QCOMPARE(answer.body, "{}"_ba);
        }
        QCOMPARE(platform().webSessions(), after);
        QCOMPARE(browse(u"/app"_s, cookie).status, own ? 302 : 200);
    }

    // Both downloads come as attachments; the cut one declares a megabyte and breaks off after far less. (Qt
    // may call the cut reply finished without an error, so the bytes tell.)
    void downloadsComeAsAttachments() {
        const Answer notes = browse(u"/app/files/notes.pdf"_s);
        QCOMPARE(notes.disposition, R"(attachment; filename="notes.pdf")"_ba);
        QVERIFY(notes.body.startsWith("%PDF-") && notes.body.size() == notes.length);
        const Answer cut = browse(u"/app/files/cut.bin"_s);
        QCOMPARE(cut.disposition, R"(attachment; filename="cut.bin")"_ba);
        QCOMPARE(cut.length, 1024 * 1024);
        QVERIFY(cut.body.size() > 0 && cut.body.size() < cut.length);
    }
};

QTEST_GUILESS_MAIN(TestLocalPlatform)
#include "tst_localplatform.moc"
