#include "server/API.h"
#include "server/Platform.h"
#include "support/Await.h"
#include "support/LocalPlatform.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTest>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// The APIError that the call ends with; nothing when it succeeds.
template <typename T> std::optional<APIError> failureOf(QCoro::Task<T> task) {
    try {
        testsupport::await(std::move(task));
    } catch (const APIError& error) {
        return error;
    }
    return std::nullopt;
}

} // namespace

// The app's HTTP client against the local platform over real HTTP: its reply rules, headers and failures.
class TestAPIPlatform : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<QNetworkAccessManager> m_network = API::makeNetwork();

    LocalPlatform& platform() { return *m_platform; }
    API project(const QString& key = QStringLiteral("dev-key")) const {
        return API(*m_network, m_platform->base() + QStringLiteral("/app/p/brevik"), key,
                   m_platform->base() + QStringLiteral("/api/v1/p/brevik"));
    }
    API legacy(const QString& key) const {
        return API(*m_network, m_platform->base() + QStringLiteral("/legacy/local"), key);
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    void aJsonListArrivesUnderItems() {
        const QJsonObject reply = testsupport::await(project().json("GET", QStringLiteral("/api/my/todos")));
        QCOMPARE(reply.keys(), QStringList{QStringLiteral("items")});
        const QList<Todo> todos = testsupport::await(project().todos());
        QCOMPARE(todos.size(), 3);
        QCOMPARE(todos[0].id, QStringLiteral("T-1"));
        QCOMPARE(todos[1].id, QStringLiteral("2")); // a numeric id reads as its text
        QCOMPARE(todos[1].effort, QStringLiteral("3"));
    }

    void failuresBecomeAPIErrors_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("description");
        QTest::addColumn<bool>("missing");
        QTest::newRow("a JSON error gives the server's text")
            << 500 << QByteArray(R"({"error":"boom"})") << QByteArray("application/json") << "boom"
            << "boom (HTTP 500)" << false;
        QTest::newRow("a 404 without JSON gives the standard phrase")
            << 404 << QByteArray("gone") << QByteArray("text/plain") << "not found"
            << "not found (HTTP 404)" << true;
        QTest::newRow("an HTML page with 200 is no answer")
            << 200 << QByteArray("<html><body>hello</body></html>") << QByteArray("text/html")
            << "unexpected response (not JSON) from 127.0.0.1"
            << "unexpected response (not JSON) from 127.0.0.1 (HTTP 200)" << false;
    }
    void failuresBecomeAPIErrors() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, contentType);
        QFETCH(QString, message);
        QFETCH(QString, description);
        QFETCH(bool, missing);
        QVERIFY(platform().fault({QStringLiteral("/api/v1/p/brevik/my/todos"), status, body, contentType}));
        const std::optional<APIError> error = failureOf(project().todos());
        QVERIFY(error);
        QCOMPARE(error->status, status);
        QCOMPARE(error->message, message);
        QCOMPARE(error->errorDescription(), description);
        QCOMPARE(error->isMissing(), missing);
        QCOMPARE(testsupport::await(project().todos()).size(), 3); // the fault was used up
    }

    void theKeyGoesInAuthorizationOnlyWhenThereIsOne_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("status");
        QTest::newRow("with a key") << "legacy-key" << 0;
        QTest::newRow("with an empty key") << "" << 401;
    }
    void theKeyGoesInAuthorizationOnlyWhenThereIsOne() {
        QFETCH(QString, key);
        QFETCH(int, status);
        const std::optional<APIError> error = failureOf(legacy(key).me());
        QCOMPARE(error ? error->status : 0, status);
        const QJsonArray log = platform().requests();
        QCOMPARE(log.size(), 1);
        const QJsonObject headers = log[0][QStringLiteral("headers")].toObject();
        QCOMPARE(headers.contains(QStringLiteral("Authorization")), !key.isEmpty());
        if (!key.isEmpty())
            QCOMPARE(headers[QStringLiteral("Authorization")].toString(), QStringLiteral("Bearer ") + key);
        QCOMPARE(headers[QStringLiteral("User-Agent")].toString(), QStringLiteral("Orvane-mac/1.0"));
        QCOMPARE(headers[QStringLiteral("Accept")].toString(), QStringLiteral("application/json"));
    }

    void noAnswerIsStatusZero_data() {
        QTest::addColumn<bool>("closedPort");
        QTest::newRow("a reply slower than the request's timeout") << false;
        QTest::newRow("a closed port") << true;
    }
    void noAnswerIsStatusZero() {
        QFETCH(bool, closedPort);
        std::optional<APIError> error;
        if (closedPort) {
            // A port held by a socket that never listens: connections are refused, and no other socket can
            // take it meanwhile (a freed port can become a client's own source port and connect to itself).
            const int held = ::socket(AF_INET, SOCK_STREAM, 0);
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            socklen_t length = sizeof address;
            QVERIFY(::bind(held, reinterpret_cast<sockaddr*>(&address), length) == 0);
            QVERIFY(::getsockname(held, reinterpret_cast<sockaddr*>(&address), &length) == 0);
            const API api(*m_network, QStringLiteral("http://127.0.0.1:%1").arg(ntohs(address.sin_port)),
                          QStringLiteral("k"));
            error = failureOf(api.json("GET", QStringLiteral("/api/my/todos")));
            ::close(held);
        } else {
            QVERIFY(platform().fault({QStringLiteral("/api/v1/p/brevik/my/todos"), 0, {}, {}, {}, 2500ms}));
            error = failureOf(project().json("GET", QStringLiteral("/api/my/todos"), std::nullopt, 1s));
        }
        QVERIFY(error);
        QCOMPARE(error->status, 0);
        QVERIFY(!error->message.isEmpty());
        QCOMPARE(error->errorDescription(), error->message);
    }

    void createTaskSendsNotesOnlyWhenThereAreSome_data() {
        QTest::addColumn<std::optional<QString>>("notes");
        QTest::addColumn<QJsonObject>("sent");
        QTest::newRow("no notes") << std::optional<QString>()
                                  << QJsonObject{{QStringLiteral("title"), "Plan"}};
        QTest::newRow("empty notes") << std::optional<QString>(QString())
                                     << QJsonObject{{QStringLiteral("title"), "Plan"}};
        QTest::newRow("some notes") << std::optional<QString>(QStringLiteral("from the call"))
                                    << QJsonObject{{QStringLiteral("title"), "Plan"},
                                                   {QStringLiteral("notes"), "from the call"}};
    }
    void createTaskSendsNotesOnlyWhenThereAreSome() {
        QFETCH(std::optional<QString>, notes);
        QFETCH(QJsonObject, sent);
        QCOMPARE(testsupport::await(project().createTask(QStringLiteral("Plan"), notes)),
                 QStringLiteral("4"));
        // The log holds sizes, not bodies: the compact body with or without "notes" tells them apart.
        QCOMPARE(platform().requests()[0][QStringLiteral("body_size")].toInt(),
                 int(QJsonDocument(sent).toJson(QJsonDocument::Compact).size()));
    }

    void theWrapRunsThenIsDone() {
        const QString day = QStringLiteral("2026-11-23");
        QCOMPARE(testsupport::await(project().startWrap(day)), QStringLiteral("running"));
        QCOMPARE(testsupport::await(project().wrapStatus(day)).status, QStringLiteral("running"));
        const WrapStatus done = testsupport::await(project().wrapStatus(day));
        QCOMPARE(done.status, QStringLiteral("done"));
        QCOMPARE(done.summary, QStringLiteral("0 spans of work on 2026-11-23."));
        QCOMPARE(done.cards.size(), 2);
        QCOMPARE(done.cards[1], std::pair(QStringLiteral("2"), QStringLiteral("2"))); // a card without title
    }

    void meFallsBackToTheAppRoutesOfALocalPlatform() {
        LocalPlatform local(LocalPlatform::Routes::AppPathsOnly);
        QVERIFY2(local.isRunning(), qPrintable(local.error()));
        const auto [account, projects] =
            testsupport::await(Platform::me(*m_network, local.base(), QStringLiteral("dev-key")));
        QCOMPARE(account.email, QStringLiteral("dev@orvane.test"));
        QCOMPARE(account.name, QStringLiteral("Dev"));
        QCOMPARE(account.personalRoot, local.base() + QStringLiteral("/app/api/platform/personal"));
        QCOMPARE(projects.size(), 2); // the contact seat is left out
        QCOMPARE(projects[0].apiRoot, local.base() + QStringLiteral("/app/p/brevik/api"));
        QCOMPARE(projects[1].slug, QStringLiteral("noctal"));

        QStringList asked;
        for (const QJsonValue entry : local.requests())
            asked << entry[QStringLiteral("path")].toString();
        QCOMPARE(asked, QStringList({QStringLiteral("/api/v1/me"), QStringLiteral("/app/api/platform/me")}));

        // The project the fall-back built answers on its root.
        const API brevik(*m_network, projects[0].server, QStringLiteral("dev-key"), projects[0].apiRoot);
        QCOMPARE(testsupport::await(brevik.me()), QStringLiteral("Dev"));
    }
};

QTEST_GUILESS_MAIN(TestAPIPlatform)
#include "tst_api_platform.moc"
