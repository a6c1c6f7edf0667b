#include "core/JSONFile.h"
#include "recording/Router.h"
#include "recording/Uploader.h"
#include "support/Await.h"
#include "support/Files.h"
#include "support/LocalPlatform.h"

#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

// Sessions on disk delivered to the local platform over real HTTP: the three steps, resuming after a failure
// at each, the server check, a closed Personal, and the route scores of real projects.
class TestUploaderPlatform : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<QNetworkAccessManager> m_network = API::makeNetwork();
    std::unique_ptr<QTemporaryDir> m_recordings;
    static inline const QByteArray audioBytes = QByteArray(200 * 1024 + 3, 'a');

    LocalPlatform& platform() { return *m_platform; }

    // "brevik", "noctal" or "client-x" on the platform's roots, "personal", or "legacy".
    API api(const QString& dest) const {
        const QString base = m_platform->base();
        if (dest == QLatin1String("personal"))
            return API(*m_network, base + QStringLiteral("/app"), QStringLiteral("dev-key"),
                       base + QStringLiteral("/api/v1/personal"));
        if (dest == QLatin1String("legacy"))
            return API(*m_network, base + QStringLiteral("/legacy/local"), QStringLiteral("legacy-key"));
        return API(*m_network, base + QStringLiteral("/app/p/") + dest, QStringLiteral("dev-key"),
                   base + QStringLiteral("/api/v1/p/") + dest);
    }
    // The path of the calls on the server for a destination of `api`.
    static QString callsPath(const API& api) { return api.url(QStringLiteral("/api/calls")).path(); }

    // A finished call with two screenshots, a pin and, when asked, its audio.
    std::shared_ptr<Session> recorded(bool withAudio = true) {
        auto session =
            Session::create(QStringLiteral("Weekly sync"), QStringLiteral("Meet"), std::nullopt,
                            QDateTime(QDate(2026, 11, 23), QTime(9, 30), Qt::UTC), m_recordings->path());
        session->addShot(1, "shot-1");
        session->addShot(4, "shot-2");
        session->addPin(3, QStringLiteral("the deadline"), "pin-1");
        session->meta.participants = {QStringLiteral("Ivo"), QStringLiteral("Tess")};
        session->meta.ended = session->meta.started.addSecs(1800);
        if (withAudio) {
            testsupport::writeFile(session->url(QStringLiteral("mixed.m4a")), audioBytes);
            session->meta.audioFile = QStringLiteral("mixed.m4a");
        }
        session->save();
        return session;
    }

    // The session as the next attempt finds it on disk.
    static std::shared_ptr<Session> reloaded(const std::shared_ptr<Session>& session) {
        auto loaded = Session::load(session->dir);
        if (!loaded) qFatal("the session is gone from disk");
        return loaded;
    }

    static QString upload(const std::shared_ptr<Session>& session, const API& api,
                          Uploader::Options options = {}) {
        return testsupport::await(Uploader::upload(session, api, QStringLiteral("Dev"), std::move(options)));
    }
    static std::optional<APIError> failedUpload(const std::shared_ptr<Session>& session, const API& api) {
        try {
            upload(session, api);
        } catch (const APIError& error) {
            return error;
        }
        return std::nullopt;
    }

    // How many POSTs went to the path.
    int posts(const QString& path) {
        int count = 0;
        for (const QJsonValue request : platform().requests())
            count += request[QStringLiteral("method")] == QStringLiteral("POST") &&
                     request[QStringLiteral("path")].toString() == path;
        return count;
    }

private slots:
    void init() {
        m_recordings = std::make_unique<QTemporaryDir>();
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    void aSessionArrivesInThreeSteps_data() {
        QTest::addColumn<QString>("dest");
        QTest::addColumn<bool>("withAudio");
        QTest::addColumn<bool>("keepFiles");
        QTest::addColumn<QString>("scope");
        QTest::newRow("to a project") << "brevik" << true << false << "project:brevik";
        QTest::newRow("to Personal") << "personal" << true << false << "personal:1";
        // A screenshot lost from disk is left out, and the rest goes.
        QTest::newRow("without audio or one screenshot") << "brevik" << false << true << "project:brevik";
    }
    void aSessionArrivesInThreeSteps() {
        QFETCH(QString, dest);
        QFETCH(bool, withAudio);
        QFETCH(bool, keepFiles);
        QFETCH(QString, scope);
        const auto session = recorded(withAudio);
        if (!withAudio) QVERIFY(QFile::remove(session->url(QStringLiteral("shots/001.jpg"))));
        QStringList progress;
        const QString id = upload(session, api(dest),
                                  {true, keepFiles, [&progress](const QString& text) { progress << text; }});

        QCOMPARE(id, QStringLiteral("rec:1"));
        QStringList expected{QStringLiteral("Uploading 2 screenshots, 1 pins\u2026")};
        if (withAudio) expected << QStringLiteral("Uploading audio\u2026");
        expected << QStringLiteral("Starting notes\u2026");
        QCOMPARE(progress, expected);

        const QJsonArray calls = platform().calls();
        QCOMPARE(calls.size(), 1);
        const QJsonObject call = calls[0].toObject();
        QCOMPARE(call[QStringLiteral("scope")].toString(), scope);
        QCOMPARE(call[QStringLiteral("title")].toString(), QStringLiteral("Weekly sync"));
        QCOMPARE(call[QStringLiteral("state")].toString(), QStringLiteral("processing"));
        QCOMPARE(call[QStringLiteral("audio_bytes")].toInteger(), withAudio ? audioBytes.size() : 0);
        QCOMPARE(call[QStringLiteral("shots")].toInt(), withAudio ? 2 : 1);
        QCOMPARE(call[QStringLiteral("pins")].toInt(), 1);
        if (withAudio)
            QCOMPARE(QFileInfo(platform().dataDir() + QStringLiteral("/audio/rec-1.audio")).size(),
                     audioBytes.size());

        QCOMPARE(QDir(session->dir).exists(), keepFiles);
        if (!keepFiles) return;
        const SessionMeta meta = reloaded(session)->meta;
        QCOMPARE(meta.callId, id);
        QCOMPARE(meta.uploadedServer, api(dest).endpoint());
        QCOMPARE(meta.audioUploaded, withAudio);
        QVERIFY(meta.processed);
        QCOMPARE(meta.lastError, std::nullopt);
        QVERIFY(!QFile::exists(session->url(QStringLiteral("payload.json"))));
    }

    void aFailedStepIsTheNextAttemptsStart_data() {
        QTest::addColumn<QString>("step"); // the path under the call's root, "" for the create
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("error");
        QTest::addColumn<int>("creates");
        QTest::addColumn<int>("audios");
        QTest::newRow("the create fails")
            << "" << 500 << QByteArray(R"({"error":"disk full"})") << "disk full (HTTP 500)" << 2 << 1;
        QTest::newRow("the create answers without an id")
            << "" << 200 << QByteArray(R"({"ok":true})") << "server returned no call id" << 2 << 1;
        QTest::newRow("the audio fails")
            << "/rec:1/audio" << 502 << QByteArray(R"({"error":"proxy"})") << "proxy (HTTP 502)" << 1 << 2;
        QTest::newRow("the process fails")
            << "/rec:1/process" << 503 << QByteArray(R"({"error":"busy"})") << "busy (HTTP 503)" << 1 << 1;
    }
    void aFailedStepIsTheNextAttemptsStart() {
        QFETCH(QString, step);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        QFETCH(int, creates);
        QFETCH(int, audios);
        const API brevik = api(QStringLiteral("brevik"));
        const QString calls = callsPath(brevik);
        QVERIFY(platform().fault({calls + step, status, body, "application/json", QStringLiteral("POST")}));

        const auto session = recorded();
        const std::optional<APIError> failure = failedUpload(session, brevik);
        QVERIFY(failure);
        QCOMPARE(failure->errorDescription(), error);
        const SessionMeta saved = reloaded(session)->meta;
        QCOMPARE(saved.lastError, error);
        QCOMPARE(saved.callId.has_value(), !step.isEmpty());
        QCOMPARE(saved.audioUploaded, step.endsWith(QLatin1String("/process")));
        QVERIFY(!saved.processed);

        // A failed create made no call; any later failure left the one call that the retry goes on with.
        QCOMPARE(upload(reloaded(session), brevik), QStringLiteral("rec:1"));
        QVERIFY(!QDir(session->dir).exists());
        QCOMPARE(posts(calls), creates);
        QCOMPARE(posts(calls + QStringLiteral("/rec:1/audio")), audios);
        const QJsonArray onServer = platform().calls();
        QCOMPARE(onServer.size(), 1);
        QCOMPARE(onServer[0][QStringLiteral("state")].toString(), QStringLiteral("processing"));
        QCOMPARE(onServer[0][QStringLiteral("audio_bytes")].toInteger(), audioBytes.size());
    }

    void progressOnAnotherServerIsStartedAnew_data() {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<int>("callsOnServer");
        QTest::newRow("the same project goes on") << "brevik"
                                                  << "brevik" << 1;
        QTest::newRow("re-routed to a legacy workspace") << "personal"
                                                         << "legacy" << 2;
    }
    void progressOnAnotherServerIsStartedAnew() {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QFETCH(int, callsOnServer);
        const auto session = recorded();
        QVERIFY(platform().fault({callsPath(api(first)) + QStringLiteral("/rec:1/process"), 500}));
        QVERIFY(failedUpload(session, api(first)));

        const QString id = upload(reloaded(session), api(second));
        const QJsonArray calls = platform().calls();
        QCOMPARE(calls.size(), callsOnServer);
        QCOMPARE(id, calls.last()[QStringLiteral("id")].toString());
        QCOMPARE(calls.last()[QStringLiteral("state")].toString(), QStringLiteral("processing"));
        QCOMPARE(calls.last()[QStringLiteral("audio_bytes")].toInteger(), audioBytes.size());
    }

    void aClosedPersonalKeepsTheRecording() {
        QVERIFY(platform().closePersonal());
        const auto session = recorded();
        const std::optional<APIError> failure = failedUpload(session, api(QStringLiteral("personal")));
        QVERIFY(failure);
        QVERIFY(failure->isMissing());
        const SessionMeta saved = reloaded(session)->meta;
        QCOMPARE(saved.callId, std::nullopt);
        QCOMPARE(saved.lastError, QStringLiteral("Personal is not open yet (HTTP 404)"));
        QCOMPARE(platform().calls().size(), 0);

        QVERIFY(platform().closePersonal(false));
        QCOMPARE(upload(reloaded(session), api(QStringLiteral("personal"))), QStringLiteral("rec:1"));
        QVERIFY(!QDir(session->dir).exists());
    }

    // Noctal's server fails and the legacy workspace's older server lacks the endpoint: both are left out.
    void projectsAreScoredByTheirServers() {
        QVERIFY(platform().fault(
            {api(QStringLiteral("noctal")).url(QStringLiteral("/api/route/score")).path(), 500}));
        QList<std::pair<Workspace, API>> pairs;
        for (const auto& [slug, name] : QList<std::pair<QString, QString>>{
                 {"brevik", "Brevik"}, {"noctal", "Noctal"}, {"client-x", "Client X"}}) {
            Workspace ws = Workspace::make(name, api(slug).server());
            ws.slug = slug;
            pairs.append({ws, api(slug)});
        }
        pairs.append({Workspace::make(QStringLiteral("Local"), api(QStringLiteral("legacy")).server()),
                      api(QStringLiteral("legacy"))});
        const QList<RouteResult> scored = testsupport::await(Router::scoreAll(
            pairs, QStringLiteral("Weekly"), QStringLiteral("Meet"), {"Ivo Petrov", "tess"}, {}));
        QStringList shown;
        for (const RouteResult& result : scored)
            shown << QStringLiteral("%1 %2% %3")
                         .arg(result.ws.name)
                         .arg(result.percent())
                         .arg(result.reasons.join(" | "));
        QCOMPARE(shown, (QStringList{"Brevik 90% with Ivo, Tess", "Client X 70% with Tess"}));
    }
};

QTEST_GUILESS_MAIN(TestUploaderPlatform)
#include "tst_uploader_platform.moc"
