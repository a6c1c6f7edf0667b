#include "support/LocalPlatform.h"
#include "support/Rows.h"

#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>
#include <memory>
#include <sqlite3.h>

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

using testsupport::row;

namespace {

struct Answer {
    int status = 0;
    QByteArray body;
    QByteArray contentType;
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    QJsonArray list() const { return QJsonDocument::fromJson(body).array(); }
};

// One request over real HTTP, waited for on the event loop.
Answer send(const QUrl& url, const QByteArray& method = "GET", const QString& key = {},
            const std::optional<QByteArray>& body = std::nullopt,
            const QByteArray& contentType = "application/json") {
    static QNetworkAccessManager network;
    QNetworkRequest request(url);
    request.setTransferTimeout(20'000);
    if (!key.isEmpty()) request.setRawHeader("Authorization", "Bearer " + key.toUtf8());
    if (body) request.setRawHeader("Content-Type", contentType);
    std::unique_ptr<QNetworkReply> reply(body ? network.sendCustomRequest(request, method, *body)
                                              : network.sendCustomRequest(request, method));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished()) loop.exec();
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll(),
            reply->header(QNetworkRequest::ContentTypeHeader).toByteArray()};
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
    // A fresh device sign-in on the given route prefix.
    QJsonObject startDevice(const QString& prefix = u"/device"_s) {
        return post(prefix + u"/start"_s, {{"client", u"mac"_s}, {"name", u"Orvane for Mac"_s}}, {}).json();
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

    void meDescribesTheKeysAccount_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("callsUrl");
        row("on the platform route", "/api/v1/me", "/api/v1/personal/calls");
        row("on the local app route", "/app/api/platform/me", "/app/api/platform/personal/calls");
    }
    void meDescribesTheKeysAccount() {
        QFETCH(QString, path);
        QFETCH(QString, callsUrl);
        const Answer answer = get(path);
        QCOMPARE(answer.status, 200);
        const QJsonObject me = answer.json();
        QCOMPARE(me["account"_L1]["email"_L1].toString(), u"dev@orvane.test"_s);
        QCOMPARE(me["account"_L1]["name"_L1].toString(), u"Dev"_s);
        QCOMPARE(me["personal"_L1]["calls_url"_L1].toString(), callsUrl);
        QStringList projects;
        for (const QJsonValue p : me["projects"_L1].toArray())
            projects << p["slug"_L1].toString() + QLatin1Char('/') + p["name"_L1].toString() +
                            QLatin1Char('/') + p["seat"_L1].toString();
        QCOMPARE(projects, QStringList({"brevik/Brevik/owner", u"noctal/Noctal/member"_s,
                                        u"client-x/Client X/contact"_s}));
    }

    void keysAreChecked_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        row("account without a key is refused", "/api/v1/me", "", 401, "missing key");
        row("account with an unknown key is refused", "/api/v1/me", "nope", 401, "unknown key");
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

    void appPathsAnswerOnlyTheLocalRoutes_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        row("/api/v1/me is off", QByteArray("GET"), "/api/v1/me", 404);
        row("the app's me answers", QByteArray("GET"), "/app/api/platform/me", 200);
        row("/device is off", QByteArray("POST"), "/device/start", 404);
        row("the app's device route answers", QByteArray("POST"), "/app/api/platform/device/start", 200);
        row("a project's app root answers", QByteArray("GET"), "/app/p/brevik/api/me", 200);
    }
    void appPathsAnswerOnlyTheLocalRoutes() {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(int, status);
        LocalPlatform local(LocalPlatform::Routes::AppPathsOnly);
        QVERIFY2(local.isRunning(), qPrintable(local.error()));
        const Answer answer = send(local.url(path), method, u"dev-key"_s,
                                   method == "POST" ? std::optional<QByteArray>("{}") : std::nullopt);
        QCOMPARE(answer.status, status);
    }

    void oneHandlerSetServesEveryRoot_data() {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("key");
        row("project on the platform", "/api/v1/p/noctal", "dev-key");
        row("Personal on the platform", "/api/v1/personal", "dev-key");
        row("Personal on the app paths", "/app/api/platform/personal", "dev-key");
        row("legacy workspace", "/legacy/local/api", "legacy-key");
    }
    void oneHandlerSetServesEveryRoot() {
        QFETCH(QString, root);
        QFETCH(QString, key);
        QCOMPARE(get(root + u"/me"_s, key).json()["ego"_L1]["name"_L1].toString(), u"Dev"_s);

        const QJsonArray todos = get(root + u"/my/todos"_s, key).list();
        QCOMPARE(todos.size(), 3);
        QVERIFY(todos[0]["id"_L1].isString());
        QVERIFY(todos[1]["id"_L1].isDouble());

        QCOMPARE(post(root + u"/my/todos/2/start"_s, {}, key).status, 200);
        QCOMPARE(post(root + u"/my/todos/T-1/finish"_s, {}, key).status, 200);
        QCOMPARE(post(root + u"/my/todos/99/finish"_s, {}, key).status, 404);

        const Answer task = post(root + u"/tasks"_s, {{"title", u"Ship it"_s}}, key);
        QCOMPARE(task.json()["id"_L1].toInt(), 4);
        QStringList listed;
        for (const QJsonValue todo : get(root + u"/my/todos"_s, key).list())
            listed << todo["title"_L1].toString() + QLatin1Char('=') + todo["status"_L1].toString();
        QCOMPARE(listed, QStringList({u"Review the onboarding flow=in_progress"_s,
                                      u"Send the weekly summary=open"_s, u"Ship it=open"_s}));
    }

    void theWrapRunsThenIsDone() {
        const QString root = u"/api/v1/p/brevik"_s;
        const QString day = u"2026-11-23"_s;
        QCOMPARE(get(root + u"/workday/wrap?day="_s + day).json()["status"_L1].toString(), u"none"_s);
        const QJsonArray spans{QJsonObject{{"app", u"editor"_s}}, QJsonObject{}};
        QCOMPARE(post(root + u"/workday"_s, {{"day", day}, {"spans", spans}}).status, 200);
        QCOMPARE(post(root + u"/workday/wrap"_s, {{"day", day}}).json()["status"_L1].toString(),
                 u"running"_s);
        QCOMPARE(get(root + u"/workday/wrap?day="_s + day).json()["status"_L1].toString(), u"running"_s);
        const QJsonObject done = get(root + u"/workday/wrap?day="_s + day).json();
        QCOMPARE(done["status"_L1].toString(), u"done"_s);
        QCOMPARE(done["summary"_L1].toString(), u"2 spans of work on 2026-11-23."_s);
        QCOMPARE(done["tomorrow"_L1].toArray().size(), 2);
        QCOMPARE(done["cards"_L1].toArray().size(), 2);
    }

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
        QVERIFY2(QRegularExpression(u"^[A-Z]{4}-\\d{4}$"_s).match(userCode).hasMatch(), qPrintable(userCode));
        QCOMPARE(start["verify_url"_L1].toString(), u"/app/device?code="_s + userCode);
        QCOMPARE(start["interval"_L1].toInt(), 1);
        QCOMPARE(start["expires_in"_L1].toInt(), 600);
        QCOMPARE(pollStatus(deviceCode), u"pending"_s);

        const Answer page = get(start["verify_url"_L1].toString(), {});
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains(userCode.toUtf8()));
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

        QJsonObject poll;
        QCOMPARE(pollStatus(deviceCode, &poll), status);
        if (status != QLatin1String("ok")) return;
        QCOMPARE(poll["account"_L1]["email"_L1].toString(), u"dev@orvane.test"_s);
        const QString key = poll["key"_L1].toString();
        QVERIFY(!key.isEmpty());
        QCOMPARE(get(u"/api/v1/me"_s, key).status, 200); // the issued key is an account key
    }

    void aStatementThatFailsHalfwayLeavesNoTransactionOpen() {
        // A trigger of the test's own refuses the approval's second statement, after its first has run.
        sqlite3* db = nullptr;
        QCOMPARE(sqlite3_open((platform().dataDir() + u"/platform.sqlite"_s).toUtf8(), &db), SQLITE_OK);
        const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closer(db, &sqlite3_close);
        sqlite3_busy_timeout(db, 5000); // a transaction left open would hold the file's write lock
        const auto exec = [db](const char* sql) { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr); };
        QCOMPARE(exec("CREATE TRIGGER refuse BEFORE UPDATE OF state ON devices WHEN NEW.state = 1 "
                      "BEGIN SELECT RAISE(ABORT, 'refused'); END"),
                 SQLITE_OK);
        const QJsonObject first = startDevice();
        QVERIFY(!platform().approve(first["user_code"_L1].toString()));
        QCOMPARE(exec("DROP TRIGGER refuse"), SQLITE_OK);

        // The next writes go through, and the refused approval left nothing behind: its code is still
        // pending.
        QCOMPARE(pollStatus(first["device_code"_L1].toString()), u"pending"_s);
        QVERIFY(!startDevice()["user_code"_L1].toString().isEmpty());
        QVERIFY(platform().approve(first["user_code"_L1].toString()));
        QCOMPARE(pollStatus(first["device_code"_L1].toString()), u"ok"_s);
    }

    void aDecidedCodeCannotBeDecidedAgain() {
        const QString userCode = startDevice(u"/app/api/platform/device"_s)["user_code"_L1].toString();
        QVERIFY(platform().deny(userCode));
        QVERIFY(!platform().approve(userCode));
        QVERIFY(!platform().approve(u"ZZZZ-9999"_s));
        QCOMPARE(post(u"/device/poll"_s, {{"device_code", u"dc-unknown"_s}}, {}).status, 404);
    }

    void aFaultServesItsCountThenNormalService_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<int>("count");
        row("a JSON error once", 500, QByteArray(R"({"error":"boom"})"), QByteArray("application/json"), 1);
        row("an HTML page with 200, twice", 200, QByteArray("<html>login</html>"), QByteArray("text/html"),
            2);
    }
    void aFaultServesItsCountThenNormalService() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, contentType);
        QFETCH(int, count);
        QVERIFY(
            platform().fault({"/api/v1/p/brevik/my/todos", status, body, contentType, u"GET"_s, 0ms, count}));
        QCOMPARE(get(u"/api/v1/p/noctal/my/todos"_s).status, 200); // another path is untouched
        for (int i = 0; i < count; ++i) {
            const Answer faulty = get(u"/api/v1/p/brevik/my/todos"_s);
            QCOMPARE(faulty.status, status);
            QCOMPARE(faulty.body, body);
            QVERIFY2(faulty.contentType.startsWith(contentType), faulty.contentType.constData());
        }
        const Answer normal = get(u"/api/v1/p/brevik/my/todos"_s);
        QCOMPARE(normal.status, 200);
        QCOMPARE(normal.list().size(), 3);
    }

    void theRequestLogShowsWhatArrived() {
        QCOMPARE(post(u"/api/v1/personal/tasks"_s, {{"title", u"Logged"_s}}).status, 200);
        QCOMPARE(get(u"/legacy/local/api/me"_s, {}).status, 401);
        const QJsonArray log = platform().requests();
        QCOMPARE(log.size(), 2); // the control routes stay out of it
        const QJsonObject first = log[0].toObject();
        QCOMPARE(first["method"_L1].toString(), u"POST"_s);
        QCOMPARE(first["path"_L1].toString(), u"/api/v1/personal/tasks"_s);
        QCOMPARE(first["headers"_L1]["Authorization"_L1].toString(), u"Bearer dev-key"_s);
        QCOMPARE(first["body_size"_L1].toInt(), int(jsonBody({{"title", u"Logged"_s}}).size()));
        QVERIFY(!log[1]["headers"_L1].toObject().contains(u"Authorization"_s));

        QVERIFY(platform().reset());
        QCOMPARE(platform().requests().size(), 0);
        QCOMPARE(get(u"/api/v1/personal/my/todos"_s).list().size(), 3); // back to the seed
    }

    void anAudioUploadArrivesByteExact() {
        const QString calls = u"/app/p/brevik/api/calls"_s;
        const QString id = post(calls, callPayload(u"Standup"_s)).json()["id"_L1].toString();
        QCOMPARE(id, u"rec:1"_s);
        const QString call = calls + u"/rec%3A1"_s;
        QCOMPARE(post(call + u"/process"_s).status, 409); // nothing to process yet

        QByteArray audio(3 * 1024 * 1024 + 17, Qt::Uninitialized);
        QRandomGenerator random(7);
        random.fillRange(reinterpret_cast<quint32*>(audio.data()), audio.size() / int(sizeof(quint32)));
        const Answer uploaded =
            send(platform().url(call + u"/audio"_s), "POST", u"dev-key"_s, audio, "audio/mp4");
        QCOMPARE(uploaded.status, 200);
        QCOMPARE(uploaded.json()["bytes"_L1].toInteger(), audio.size());
        QFile stored(platform().dataDir() + u"/audio/rec-1.audio"_s);
        QVERIFY(stored.open(QIODevice::ReadOnly));
        QVERIFY(stored.readAll() == audio);

        QCOMPARE(post(call + u"/process"_s).status, 200);
        const QJsonObject detail = get(call).json();
        QCOMPARE(detail["id"_L1].toString(), id);
        QCOMPARE(detail["title"_L1].toString(), u"Standup"_s);
        QCOMPARE(detail["audio_bytes"_L1].toInteger(), audio.size());
        QCOMPARE(get(u"/app/p/noctal/api/calls/rec%3A1"_s).status,
                 404); // calls stay in their project
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

    void theReviewArrivesAfterTheNotesStart() {
        const QString call = u"/api/v1/p/brevik/calls/rec:1"_s;
        QCOMPARE(post(u"/api/v1/p/brevik/calls"_s, callPayload(u"Plan"_s, false)).status, 200);
        QVERIFY(platform().reviewDelay(std::chrono::hours(1)));
        QVERIFY(get(call).json()["review"_L1].isNull());
        QCOMPARE(post(call + u"/process"_s).status, 200);
        const QJsonObject waiting = get(call).json();
        QCOMPARE(waiting["status"_L1].toString(), u"processing"_s);
        QVERIFY(waiting.contains(u"review"_s) && waiting["review"_L1].isNull());
        QVERIFY(!waiting["shots"_L1][0].toObject().contains(u"jpeg"_s));

        QVERIFY(platform().reviewDelay(0ms));
        for (int look = 0; look < 2; ++look) { // once there, it stays
            const QJsonObject detail = get(call).json();
            QCOMPARE(detail["status"_L1].toString(), u"done"_s);
            QStringList states;
            for (const QJsonValue s : detail["review"_L1]["suggestions"_L1].toArray())
                states << s["title"_L1].toString() + QLatin1Char('=') + s["state"_L1].toString(u"-"_s);
            QCOMPARE(states, QStringList({u"Send the notes of Plan to Ivo=open"_s,
                                          u"Book the follow-up=accepted"_s, u"Drop the old draft=dismissed"_s,
                                          u"  =open"_s, u"Write down the decision=-"_s}));
        }
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
        QCOMPARE(calls[0]["state"_L1].toString(),
                 u"processing"_s); // notes anew there
        QCOMPARE(calls[0]["audio_bytes"_L1].toInt(), 5);
        QVERIFY(QFile::exists(platform().dataDir() + u"/audio/rec-2.audio"_s));
    }

    void onlyProjectsScoreRecordings_data() {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("status");
        row("a project", "/app/p/client-x/api", "dev-key", 200);
        row("Personal", "/api/v1/personal", "dev-key", 404);
        row("a legacy workspace", "/legacy/local/api", "legacy-key", 404);
    }
    void onlyProjectsScoreRecordings() {
        QFETCH(QString, root);
        QFETCH(QString, key);
        QFETCH(int, status);
        const Answer answer = post(
            root + u"/route/score"_s,
            {{"title", u"Jonas and Tess"_s}, {"participants", QJsonArray{u"Tess"_s}}, {"text", QString()}},
            key);
        QCOMPARE(answer.status, status);
        if (status != 200) return;
        QCOMPARE(answer.json()["score"_L1].toDouble(), 1.0);
        QCOMPARE(answer.json()["reasons"_L1].toArray(), QJsonArray({"with Tess", u"Jonas in the title"_s}));
    }
};

QTEST_GUILESS_MAIN(TestLocalPlatform)
#include "tst_localplatform.moc"
