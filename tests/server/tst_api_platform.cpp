#include "server/API.h"
#include "server/Platform.h"
#include "support/Await.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using testsupport::row;

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
    API project() const {
        return API(*m_network, m_platform->base() + u"/app/p/brevik"_s, u"dev-key"_s,
                   m_platform->base() + u"/api/v1/p/brevik"_s);
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    void toDosAreListedStartedAndFinished() {
        const QJsonObject reply = testsupport::await(project().json("GET", u"/api/my/todos"_s));
        QCOMPARE(reply.keys(), QStringList{u"items"_s}); // a JSON list arrives under "items"
        const QList<Todo> todos = testsupport::await(project().todos());
        QCOMPARE(todos.size(), 3);
        QCOMPARE(todos[1].id, u"2"_s); // a numeric id reads as its text
        QCOMPARE(todos[1].effort, u"3"_s);
        testsupport::await(project().startTodo(todos[1].id));
        testsupport::await(project().finishTodo(todos[0].id));
        QStringList states;
        for (const Todo& todo : testsupport::await(project().todos()))
            states << todo.id + QLatin1Char('=') + todo.status;
        QCOMPARE(states, QStringList({u"2=in_progress"_s, u"3=open"_s}));
        const std::optional<APIError> unknown = failureOf(project().finishTodo(u"99"_s));
        QVERIFY(unknown && unknown->isMissing());
    }

    void failuresBecomeAPIErrors_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QString>("description");
        QTest::addColumn<bool>("missing");
        row("a JSON error gives the server's text", 500, QByteArray(R"({"error":"boom"})"),
            QByteArray("application/json"), "boom (HTTP 500)", false);
        row("a 404 without JSON gives the standard phrase", 404, QByteArray("gone"), QByteArray("text/plain"),
            "not found (HTTP 404)", true);
        row("an HTML page with 200 is no answer", 200, QByteArray("<html><body>hello</body></html>"),
            QByteArray("text/html"), "unexpected response (not JSON) from 127.0.0.1 (HTTP 200)", false);
    }
    void failuresBecomeAPIErrors() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, contentType);
        QVERIFY(platform().fault({u"/api/v1/p/brevik/my/todos"_s, status, body, contentType}));
        const std::optional<APIError> error = failureOf(project().todos());
        QVERIFY(error);
        QCOMPARE(error->status, status);
        QTEST(error->errorDescription(), "description");
        QTEST(error->isMissing(), "missing");
        QCOMPARE(testsupport::await(project().todos()).size(), 3); // the fault was used up
    }

    void theKeyGoesInAuthorizationOnlyWhenThereIsOne_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("status");
        row("with a key", "legacy-key", 0);
        row("with an empty key", "", 401);
    }
    void theKeyGoesInAuthorizationOnlyWhenThereIsOne() {
        QFETCH(QString, key);
        const std::optional<APIError> error =
            failureOf(API(*m_network, m_platform->base() + u"/legacy/local"_s, key).me());
        QTEST(error ? error->status : 0, "status");
        const QJsonArray log = platform().requests();
        QCOMPARE(log.size(), 1);
        const QJsonObject headers = log[0][u"headers"_s].toObject();
        QCOMPARE(headers[u"Authorization"_s].toString(), key.isEmpty() ? QString() : u"Bearer "_s + key);
        QCOMPARE(headers.contains(u"Authorization"_s), !key.isEmpty());
        QCOMPARE(headers[u"User-Agent"_s].toString(), u"Orvane-mac/1.0"_s);
        QCOMPARE(headers[u"Accept"_s].toString(), u"application/json"_s);
    }

    void noAnswerIsStatusZero_data() {
        QTest::addColumn<bool>("closedPort");
        row("a reply slower than the request's timeout", false);
        row("a closed port", true);
    }
    void noAnswerIsStatusZero() {
        QFETCH(bool, closedPort);
        QVERIFY(platform().fault({u"/api/v1/p/brevik/my/todos"_s, 0, {}, {}, {}, 2500ms}));
        // Port 9 lies below the ports the system hands out, so nothing there answers, not even this client.
        const API api = closedPort ? API(*m_network, u"http://127.0.0.1:9"_s, u"k"_s) : project();
        const std::optional<APIError> error =
            failureOf(api.json("GET", u"/api/my/todos"_s, std::nullopt, 1s));
        QVERIFY(error);
        QCOMPARE(error->status, 0);
        QVERIFY(!error->message.isEmpty());
        QCOMPARE(error->errorDescription(), error->message);
    }

    void createTaskSendsNotesOnlyWhenThereAreSome_data() {
        QTest::addColumn<std::optional<QString>>("notes");
        QTest::addColumn<QJsonObject>("sent");
        const QJsonObject title{{u"title"_s, "Plan"}};
        row("no notes", std::optional<QString>(), title);
        row("empty notes", std::optional<QString>(QString()), title);
        row("some notes", std::optional<QString>(u"from the call"_s),
            QJsonObject{{u"title"_s, "Plan"}, {u"notes"_s, "from the call"}});
    }
    void createTaskSendsNotesOnlyWhenThereAreSome() {
        QFETCH(std::optional<QString>, notes);
        QFETCH(QJsonObject, sent);
        QCOMPARE(testsupport::await(project().createTask(u"Plan"_s, notes)), u"4"_s);
        // The log holds sizes, not bodies: the compact body with or without "notes" tells them apart.
        QCOMPARE(platform().requests()[0][u"body_size"_s].toInt(),
                 int(QJsonDocument(sent).toJson(QJsonDocument::Compact).size()));
    }

    void theWrapRunsThenIsDone() {
        const QString day = u"2026-11-23"_s;
        QCOMPARE(testsupport::await(project().startWrap(day)), u"running"_s);
        QCOMPARE(testsupport::await(project().wrapStatus(day)).status, u"running"_s);
        const WrapStatus done = testsupport::await(project().wrapStatus(day));
        QCOMPARE(done.status, u"done"_s);
        QCOMPARE(done.summary, u"0 spans of work on 2026-11-23."_s);
        QCOMPARE(done.cards.size(), 2);
        QCOMPARE(done.cards[1], std::pair(u"2"_s, u"2"_s)); // a card without title
    }

    // A local platform answers only its /app routes: the account falls back to them, and so do the projects.
    void meFallsBackToTheAppRoutesOfALocalPlatform() {
        LocalPlatform local(LocalPlatform::Routes::AppPathsOnly);
        QVERIFY2(local.isRunning(), qPrintable(local.error()));
        const auto [account, projects] =
            testsupport::await(Platform::me(*m_network, local.base(), u"dev-key"_s));
        QCOMPARE(account.email, u"dev@orvane.test"_s);
        QCOMPARE(account.personalRoot, local.base() + u"/app/api/platform/personal"_s);
        QCOMPARE(projects.size(), 2); // the contact seat is left out
        QCOMPARE(projects[1].slug, u"noctal"_s);
        QStringList asked;
        for (const QJsonValue entry : local.requests())
            asked << entry[u"path"_s].toString();
        QCOMPARE(asked, QStringList({u"/api/v1/me"_s, u"/app/api/platform/me"_s}));

        const API brevik(*m_network, projects[0].server, u"dev-key"_s, projects[0].apiRoot);
        QCOMPARE(testsupport::await(brevik.me()), u"Dev"_s);
    }
};

QTEST_GUILESS_MAIN(TestAPIPlatform)
#include "tst_api_platform.moc"
