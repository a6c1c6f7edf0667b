#include "support/LocalPlatform.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

using namespace std::chrono_literals;

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
    return {
        {QStringLiteral("title"), title},
        {QStringLiteral("started"), QStringLiteral("2026-11-23T09:00:00.000Z")},
        {QStringLiteral("ended"), QStringLiteral("2026-11-23T09:30:00.000Z")},
        {QStringLiteral("participants"), QJsonArray{QStringLiteral("Ivo")}},
        {QStringLiteral("shots"),
         QJsonArray{QJsonObject{{QStringLiteral("t"), 1}, {QStringLiteral("jpeg"), QStringLiteral("AAAA")}}}},
        {QStringLiteral("pins"), QJsonArray{}},
        {QStringLiteral("expect_audio"), expectAudio}};
}

} // namespace

class TestLocalPlatform : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;

    LocalPlatform& platform() { return *m_platform; }
    Answer get(const QString& path, const QString& key = QStringLiteral("dev-key")) {
        return send(platform().url(path), "GET", key);
    }
    Answer post(const QString& path, const QJsonObject& body = {},
                const QString& key = QStringLiteral("dev-key")) {
        return send(platform().url(path), "POST", key, jsonBody(body));
    }
    // A fresh device sign-in on the given route prefix.
    QJsonObject startDevice(const QString& prefix = QStringLiteral("/device")) {
        return post(prefix + QStringLiteral("/start"),
                    {{QStringLiteral("client"), QStringLiteral("mac")},
                     {QStringLiteral("name"), QStringLiteral("Orvane for Mac")}},
                    {})
            .json();
    }
    QString pollStatus(const QString& deviceCode, QJsonObject* reply = nullptr) {
        const QJsonObject answer =
            post(QStringLiteral("/device/poll"), {{QStringLiteral("device_code"), deviceCode}}, {}).json();
        if (reply) *reply = answer;
        return answer.value(QStringLiteral("status")).toString();
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
        QTest::newRow("on the platform route") << "/api/v1/me"
                                               << "/api/v1/personal/calls";
        QTest::newRow("on the local app route") << "/app/api/platform/me"
                                                << "/app/api/platform/personal/calls";
    }
    void meDescribesTheKeysAccount() {
        QFETCH(QString, path);
        QFETCH(QString, callsUrl);
        const Answer answer = get(path);
        QCOMPARE(answer.status, 200);
        const QJsonObject me = answer.json();
        QCOMPARE(me[QStringLiteral("account")][QStringLiteral("email")].toString(),
                 QStringLiteral("dev@orvane.test"));
        QCOMPARE(me[QStringLiteral("account")][QStringLiteral("name")].toString(), QStringLiteral("Dev"));
        QCOMPARE(me[QStringLiteral("personal")][QStringLiteral("calls_url")].toString(), callsUrl);
        QStringList projects;
        for (const QJsonValue p : me[QStringLiteral("projects")].toArray())
            projects << p[QStringLiteral("slug")].toString() + QLatin1Char('/') +
                            p[QStringLiteral("name")].toString() + QLatin1Char('/') +
                            p[QStringLiteral("seat")].toString();
        QCOMPARE(projects,
                 QStringList({QStringLiteral("brevik/Brevik/owner"), QStringLiteral("noctal/Noctal/member"),
                              QStringLiteral("client-x/Client X/contact")}));
    }

    void keysAreChecked_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        QTest::newRow("account without a key is refused") << "/api/v1/me"
                                                          << "" << 401 << "missing key";
        QTest::newRow("account with an unknown key is refused") << "/api/v1/me"
                                                                << "nope" << 401 << "unknown key";
        QTest::newRow("the legacy key is no account key") << "/api/v1/me"
                                                          << "legacy-key" << 401 << "unknown key";
        QTest::newRow("project without a key is refused") << "/api/v1/p/brevik/me"
                                                          << "" << 401 << "missing key";
        QTest::newRow("an unknown project is missing") << "/api/v1/p/nowhere/me"
                                                       << "dev-key" << 404 << "no project nowhere";
        QTest::newRow("the account key is no legacy key") << "/legacy/local/api/me"
                                                          << "dev-key" << 401 << "unknown key";
        QTest::newRow("the legacy key opens its workspace") << "/legacy/local/api/me"
                                                            << "legacy-key" << 200 << "";
        QTest::newRow("Personal takes the account key") << "/api/v1/personal/me"
                                                        << "dev-key" << 200 << "";
    }
    void keysAreChecked() {
        QFETCH(QString, path);
        QFETCH(QString, key);
        QFETCH(int, status);
        QFETCH(QString, error);
        const Answer answer = get(path, key);
        QCOMPARE(answer.status, status);
        QCOMPARE(answer.json()[QStringLiteral("error")].toString(), error);
    }

    void appPathsAnswerOnlyTheLocalRoutes_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::newRow("/api/v1/me is off") << QByteArray("GET") << "/api/v1/me" << 404;
        QTest::newRow("the app's me answers") << QByteArray("GET") << "/app/api/platform/me" << 200;
        QTest::newRow("/device is off") << QByteArray("POST") << "/device/start" << 404;
        QTest::newRow("the app's device route answers")
            << QByteArray("POST") << "/app/api/platform/device/start" << 200;
        QTest::newRow("a project's /api/v1 root is off") << QByteArray("GET") << "/api/v1/p/brevik/me" << 404;
        QTest::newRow("a project's app root answers") << QByteArray("GET") << "/app/p/brevik/api/me" << 200;
        QTest::newRow("Personal's app root answers")
            << QByteArray("GET") << "/app/api/platform/personal/me" << 200;
    }
    void appPathsAnswerOnlyTheLocalRoutes() {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(int, status);
        LocalPlatform local(LocalPlatform::Routes::AppPathsOnly);
        QVERIFY2(local.isRunning(), qPrintable(local.error()));
        const Answer answer = send(local.url(path), method, QStringLiteral("dev-key"),
                                   method == "POST" ? std::optional<QByteArray>("{}") : std::nullopt);
        QCOMPARE(answer.status, status);
    }

    void oneHandlerSetServesEveryRoot_data() {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("key");
        QTest::newRow("project on the platform") << "/api/v1/p/noctal"
                                                 << "dev-key";
        QTest::newRow("project on the app paths") << "/app/p/noctal/api"
                                                  << "dev-key";
        QTest::newRow("Personal on the platform") << "/api/v1/personal"
                                                  << "dev-key";
        QTest::newRow("Personal on the app paths") << "/app/api/platform/personal"
                                                   << "dev-key";
        QTest::newRow("legacy workspace") << "/legacy/local/api"
                                          << "legacy-key";
    }
    void oneHandlerSetServesEveryRoot() {
        QFETCH(QString, root);
        QFETCH(QString, key);
        QCOMPARE(get(root + QStringLiteral("/me"), key)
                     .json()[QStringLiteral("ego")][QStringLiteral("name")]
                     .toString(),
                 QStringLiteral("Dev"));

        const QJsonArray todos = get(root + QStringLiteral("/my/todos"), key).list();
        QCOMPARE(todos.size(), 3);
        QVERIFY(todos[0][QStringLiteral("id")].isString());
        QVERIFY(todos[1][QStringLiteral("id")].isDouble());

        QCOMPARE(post(root + QStringLiteral("/my/todos/2/start"), {}, key).status, 200);
        QCOMPARE(post(root + QStringLiteral("/my/todos/T-1/finish"), {}, key).status, 200);
        QCOMPARE(post(root + QStringLiteral("/my/todos/99/finish"), {}, key).status, 404);

        const Answer task = post(root + QStringLiteral("/tasks"),
                                 {{QStringLiteral("title"), QStringLiteral("Ship it")}}, key);
        QCOMPARE(task.json()[QStringLiteral("id")].toInt(), 4);
        QStringList listed;
        for (const QJsonValue todo : get(root + QStringLiteral("/my/todos"), key).list())
            listed << todo[QStringLiteral("title")].toString() + QLatin1Char('=') +
                          todo[QStringLiteral("status")].toString();
        QCOMPARE(listed, QStringList({QStringLiteral("Review the onboarding flow=in_progress"),
                                      QStringLiteral("Send the weekly summary=open"),
                                      QStringLiteral("Ship it=open")}));
    }

    void theWrapRunsThenIsDone() {
        const QString root = QStringLiteral("/api/v1/p/brevik");
        const QString day = QStringLiteral("2026-11-23");
        QCOMPARE(get(root + QStringLiteral("/workday/wrap?day=") + day)
                     .json()[QStringLiteral("status")]
                     .toString(),
                 QStringLiteral("none"));
        const QJsonArray spans{QJsonObject{{QStringLiteral("app"), QStringLiteral("editor")}}, QJsonObject{}};
        QCOMPARE(post(root + QStringLiteral("/workday"),
                      {{QStringLiteral("day"), day}, {QStringLiteral("spans"), spans}})
                     .status,
                 200);
        QCOMPARE(post(root + QStringLiteral("/workday/wrap"), {{QStringLiteral("day"), day}})
                     .json()[QStringLiteral("status")]
                     .toString(),
                 QStringLiteral("running"));
        QCOMPARE(get(root + QStringLiteral("/workday/wrap?day=") + day)
                     .json()[QStringLiteral("status")]
                     .toString(),
                 QStringLiteral("running"));
        const QJsonObject done = get(root + QStringLiteral("/workday/wrap?day=") + day).json();
        QCOMPARE(done[QStringLiteral("status")].toString(), QStringLiteral("done"));
        QCOMPARE(done[QStringLiteral("summary")].toString(),
                 QStringLiteral("2 spans of work on 2026-11-23."));
        QCOMPARE(done[QStringLiteral("tomorrow")].toArray().size(), 2);
        QCOMPARE(done[QStringLiteral("cards")].toArray().size(), 2);
    }

    void deviceSignInRoundTrip_data() {
        QTest::addColumn<QString>("decision");
        QTest::addColumn<QString>("status");
        QTest::newRow("approved by the control route") << "control approve"
                                                       << "ok";
        QTest::newRow("approved on the page") << "page approve"
                                              << "ok";
        QTest::newRow("denied by the control route") << "control deny"
                                                     << "denied";
        QTest::newRow("declined on the page") << "page decline"
                                              << "denied";
    }
    void deviceSignInRoundTrip() {
        QFETCH(QString, decision);
        QFETCH(QString, status);
        const QJsonObject start = startDevice();
        const QString userCode = start[QStringLiteral("user_code")].toString();
        const QString deviceCode = start[QStringLiteral("device_code")].toString();
        QVERIFY2(QRegularExpression(QStringLiteral("^[A-Z]{4}-\\d{4}$")).match(userCode).hasMatch(),
                 qPrintable(userCode));
        QCOMPARE(start[QStringLiteral("verify_url")].toString(),
                 QStringLiteral("/app/device?code=") + userCode);
        QCOMPARE(start[QStringLiteral("interval")].toInt(), 1);
        QCOMPARE(start[QStringLiteral("expires_in")].toInt(), 600);
        QCOMPARE(pollStatus(deviceCode), QStringLiteral("pending"));

        const Answer page = get(start[QStringLiteral("verify_url")].toString(), {});
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains(userCode.toUtf8()));
        QVERIFY(page.body.contains("action=\"/app/device/approve?code=" + userCode.toUtf8() + "\""));

        if (decision == QLatin1String("control approve"))
            QVERIFY(platform().approve(userCode));
        else if (decision == QLatin1String("control deny"))
            QVERIFY(platform().deny(userCode));
        else
            QCOMPARE(
                send(platform().url(QStringLiteral("/app/device/") + decision.section(QLatin1Char(' '), 1) +
                                    QStringLiteral("?code=") + userCode),
                     "POST", {}, QByteArray())
                    .status,
                200);

        QJsonObject poll;
        QCOMPARE(pollStatus(deviceCode, &poll), status);
        if (status != QLatin1String("ok")) return;
        QCOMPARE(poll[QStringLiteral("account")][QStringLiteral("email")].toString(),
                 QStringLiteral("dev@orvane.test"));
        const QString key = poll[QStringLiteral("key")].toString();
        QVERIFY(!key.isEmpty());
        QCOMPARE(get(QStringLiteral("/api/v1/me"), key).status, 200); // the issued key is an account key
    }

    void aDecidedCodeCannotBeDecidedAgain() {
        const QString userCode =
            startDevice(QStringLiteral("/app/api/platform/device"))[QStringLiteral("user_code")].toString();
        QVERIFY(platform().deny(userCode));
        QVERIFY(!platform().approve(userCode));
        QVERIFY(!platform().approve(QStringLiteral("ZZZZ-9999")));
        QCOMPARE(post(QStringLiteral("/device/poll"),
                      {{QStringLiteral("device_code"), QStringLiteral("dc-unknown")}}, {})
                     .status,
                 404);
    }

    void aFaultServesItsCountThenNormalService_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<int>("count");
        QTest::newRow("a JSON error once")
            << 500 << QByteArray(R"({"error":"boom"})") << QByteArray("application/json") << 1;
        QTest::newRow("an HTML page with 200, twice")
            << 200 << QByteArray("<html>login</html>") << QByteArray("text/html") << 2;
        QTest::newRow("a plain 404 once") << 404 << QByteArray("gone") << QByteArray("text/plain") << 1;
    }
    void aFaultServesItsCountThenNormalService() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, contentType);
        QFETCH(int, count);
        QVERIFY(platform().fault({QStringLiteral("/api/v1/p/brevik/my/todos"), status, body, contentType,
                                  QStringLiteral("GET"), 0ms, count}));
        QCOMPARE(get(QStringLiteral("/api/v1/p/noctal/my/todos")).status, 200); // another path is untouched
        for (int i = 0; i < count; ++i) {
            const Answer faulty = get(QStringLiteral("/api/v1/p/brevik/my/todos"));
            QCOMPARE(faulty.status, status);
            QCOMPARE(faulty.body, body);
            QVERIFY2(faulty.contentType.startsWith(contentType), faulty.contentType.constData());
        }
        const Answer normal = get(QStringLiteral("/api/v1/p/brevik/my/todos"));
        QCOMPARE(normal.status, 200);
        QCOMPARE(normal.list().size(), 3);
    }

    void aDelayWithoutStatusAnswersNormallyAfterIt() {
        QVERIFY(platform().fault({QStringLiteral("/api/v1/*"), 0, {}, {}, {}, 300ms, 1}));
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(get(QStringLiteral("/api/v1/me")).status, 200);
        QVERIFY(clock.elapsed() >= 300);
        clock.restart();
        QCOMPARE(get(QStringLiteral("/api/v1/me")).status, 200);
        QVERIFY(clock.elapsed() < 300);
    }

    void theRequestLogShowsWhatArrived() {
        QCOMPARE(post(QStringLiteral("/api/v1/personal/tasks"),
                      {{QStringLiteral("title"), QStringLiteral("Logged")}})
                     .status,
                 200);
        QCOMPARE(get(QStringLiteral("/legacy/local/api/me"), {}).status, 401);
        const QJsonArray log = platform().requests();
        QCOMPARE(log.size(), 2); // the control routes stay out of it
        const QJsonObject first = log[0].toObject();
        QCOMPARE(first[QStringLiteral("method")].toString(), QStringLiteral("POST"));
        QCOMPARE(first[QStringLiteral("path")].toString(), QStringLiteral("/api/v1/personal/tasks"));
        QCOMPARE(first[QStringLiteral("headers")][QStringLiteral("Authorization")].toString(),
                 QStringLiteral("Bearer dev-key"));
        QCOMPARE(first[QStringLiteral("body_size")].toInt(),
                 int(jsonBody({{QStringLiteral("title"), QStringLiteral("Logged")}}).size()));
        QVERIFY(!log[1][QStringLiteral("headers")].toObject().contains(QStringLiteral("Authorization")));

        QVERIFY(platform().reset());
        QCOMPARE(platform().requests().size(), 0);
        QCOMPARE(get(QStringLiteral("/api/v1/personal/my/todos")).list().size(), 3); // back to the seed
    }

    void anAudioUploadArrivesByteExact() {
        const QString calls = QStringLiteral("/app/p/brevik/api/calls");
        const QString id =
            post(calls, callPayload(QStringLiteral("Standup"))).json()[QStringLiteral("id")].toString();
        QCOMPARE(id, QStringLiteral("rec:1"));
        const QString call = calls + QStringLiteral("/rec%3A1");
        QCOMPARE(post(call + QStringLiteral("/process")).status, 409); // nothing to process yet

        QByteArray audio(3 * 1024 * 1024 + 17, Qt::Uninitialized);
        QRandomGenerator random(7);
        random.fillRange(reinterpret_cast<quint32*>(audio.data()), audio.size() / int(sizeof(quint32)));
        const Answer uploaded = send(platform().url(call + QStringLiteral("/audio")), "POST",
                                     QStringLiteral("dev-key"), audio, "audio/mp4");
        QCOMPARE(uploaded.status, 200);
        QCOMPARE(uploaded.json()[QStringLiteral("bytes")].toInteger(), audio.size());
        QFile stored(platform().dataDir() + QStringLiteral("/audio/rec-1.audio"));
        QVERIFY(stored.open(QIODevice::ReadOnly));
        QVERIFY(stored.readAll() == audio);

        QCOMPARE(post(call + QStringLiteral("/process")).status, 200);
        const QJsonObject detail = get(call).json();
        QCOMPARE(detail[QStringLiteral("id")].toString(), id);
        QCOMPARE(detail[QStringLiteral("title")].toString(), QStringLiteral("Standup"));
        QCOMPARE(detail[QStringLiteral("audio_bytes")].toInteger(), audio.size());
        QCOMPARE(get(QStringLiteral("/app/p/noctal/api/calls/rec%3A1")).status,
                 404); // calls stay in their project
    }

    void aCallNeedsItsPayloadsKeys_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value"); // undefined: left out
        QTest::newRow("without a title") << "title" << QJsonValue(QJsonValue::Undefined);
        QTest::newRow("shots not a list") << "shots" << QJsonValue(3);
        QTest::newRow("expect_audio as text") << "expect_audio" << QJsonValue(QStringLiteral("yes"));
    }
    void aCallNeedsItsPayloadsKeys() {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QJsonObject payload = callPayload(QStringLiteral("Broken"));
        if (value.isUndefined())
            payload.remove(key);
        else
            payload.insert(key, value);
        const Answer answer = post(QStringLiteral("/api/v1/personal/calls"), payload);
        QCOMPARE(answer.status, 400);
        QCOMPARE(answer.json()[QStringLiteral("error")].toString(), key + " is missing or of the wrong type");
        QCOMPARE(platform().calls().size(), 0);
    }

    void theReviewArrivesAfterTheNotesStart() {
        const QString call = QStringLiteral("/api/v1/p/brevik/calls/rec:1");
        QCOMPARE(
            post(QStringLiteral("/api/v1/p/brevik/calls"), callPayload(QStringLiteral("Plan"), false)).status,
            200);
        QVERIFY(platform().reviewDelay(std::chrono::hours(1)));
        QVERIFY(get(call).json()[QStringLiteral("review")].isNull());
        QCOMPARE(post(call + QStringLiteral("/process")).status, 200);
        const QJsonObject waiting = get(call).json();
        QCOMPARE(waiting[QStringLiteral("status")].toString(), QStringLiteral("processing"));
        QVERIFY(waiting.contains(QStringLiteral("review")) && waiting[QStringLiteral("review")].isNull());
        QVERIFY(!waiting[QStringLiteral("shots")][0].toObject().contains(QStringLiteral("jpeg")));

        QVERIFY(platform().reviewDelay(0ms));
        for (int look = 0; look < 2; ++look) { // once there, it stays
            const QJsonObject detail = get(call).json();
            QCOMPARE(detail[QStringLiteral("status")].toString(), QStringLiteral("done"));
            QStringList states;
            for (const QJsonValue s :
                 detail[QStringLiteral("review")][QStringLiteral("suggestions")].toArray())
                states << s[QStringLiteral("title")].toString() + QLatin1Char('=') +
                              s[QStringLiteral("state")].toString(QStringLiteral("-"));
            QCOMPARE(states,
                     QStringList({QStringLiteral("Send the notes of Plan to Ivo=open"),
                                  QStringLiteral("Book the follow-up=accepted"),
                                  QStringLiteral("Drop the old draft=dismissed"), QStringLiteral("  =open"),
                                  QStringLiteral("Write down the decision=-")}));
        }
    }

    void aMoveGivesTheCallANewIdThere_data() {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<bool>("personalClosed");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("scope"); // where the call is afterwards
        QTest::newRow("project to Personal") << "/api/v1/p/brevik"
                                             << "personal" << false << 200 << "personal:1";
        QTest::newRow("Personal to a project") << "/app/api/platform/personal"
                                               << "noctal" << false << 200 << "project:noctal";
        QTest::newRow("into a closed Personal") << "/api/v1/p/brevik"
                                                << "personal" << true << 404 << "project:brevik";
        QTest::newRow("to a project without a seat") << "/api/v1/p/brevik"
                                                     << "nowhere" << false << 422 << "project:brevik";
        QTest::newRow("to where it is") << "/api/v1/p/brevik"
                                        << "brevik" << false << 409 << "project:brevik";
        QTest::newRow("an older server cannot move") << "/legacy/local/api"
                                                     << "personal" << false << 404 << "legacy:local";
    }
    void aMoveGivesTheCallANewIdThere() {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(bool, personalClosed);
        QFETCH(int, status);
        QFETCH(QString, scope);
        const QString key = from.startsWith(QLatin1String("/legacy")) ? QStringLiteral("legacy-key")
                                                                      : QStringLiteral("dev-key");
        const QString call = from + QStringLiteral("/calls/rec:1");
        QCOMPARE(post(from + QStringLiteral("/calls"), callPayload(QStringLiteral("Moving")), key).status,
                 200);
        QCOMPARE(send(platform().url(call + QStringLiteral("/audio")), "POST", key, QByteArray("sound"),
                      "audio/mp4")
                     .status,
                 200);
        QCOMPARE(post(call + QStringLiteral("/process"), {}, key).status, 200);
        QVERIFY(platform().closePersonal(personalClosed));

        const Answer moved = post(call + QStringLiteral("/move"), {{QStringLiteral("to"), to}}, key);
        QCOMPARE(moved.status, status);
        const QJsonArray calls = platform().calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0][QStringLiteral("scope")].toString(), scope);
        if (status != 200) return;
        QCOMPARE(moved.json()[QStringLiteral("id")].toString(), QStringLiteral("rec:2"));
        QCOMPARE(moved.json()[QStringLiteral("call")][QStringLiteral("id")].toString(),
                 QStringLiteral("rec:2"));
        QCOMPARE(get(call, key).status, 404);
        QCOMPARE(calls[0][QStringLiteral("state")].toString(),
                 QStringLiteral("processing")); // notes anew there
        QCOMPARE(calls[0][QStringLiteral("audio_bytes")].toInt(), 5);
        QVERIFY(QFile::exists(platform().dataDir() + QStringLiteral("/audio/rec-2.audio")));
    }

    void onlyProjectsScoreRecordings_data() {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("status");
        QTest::newRow("a project") << "/app/p/client-x/api"
                                   << "dev-key" << 200;
        QTest::newRow("Personal") << "/api/v1/personal"
                                  << "dev-key" << 404;
        QTest::newRow("a legacy workspace") << "/legacy/local/api"
                                            << "legacy-key" << 404;
    }
    void onlyProjectsScoreRecordings() {
        QFETCH(QString, root);
        QFETCH(QString, key);
        QFETCH(int, status);
        const Answer answer = post(root + QStringLiteral("/route/score"),
                                   {{QStringLiteral("title"), QStringLiteral("Jonas and Tess")},
                                    {QStringLiteral("participants"), QJsonArray{QStringLiteral("Tess")}},
                                    {QStringLiteral("text"), QString()}},
                                   key);
        QCOMPARE(answer.status, status);
        if (status != 200) return;
        QCOMPARE(answer.json()[QStringLiteral("score")].toDouble(), 1.0);
        QCOMPARE(answer.json()[QStringLiteral("reasons")].toArray(),
                 QJsonArray({QStringLiteral("with Tess"), QStringLiteral("Jonas in the title")}));
    }
};

QTEST_GUILESS_MAIN(TestLocalPlatform)
#include "tst_localplatform.moc"
