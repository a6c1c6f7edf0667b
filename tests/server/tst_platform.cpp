#include "server/API.h"
#include "server/DeviceSignIn.h"
#include "server/Platform.h"
#include "support/Rows.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

using testsupport::row;

namespace {
const QString base = u"https://orvane.app/"_s;
} // namespace

// The platform's places and the reading of its sign-in replies; the flow itself runs against the local
// platform in tst_sign_in_platform.
class TestPlatform : public QObject {
    Q_OBJECT
private slots:
    // Settings keep a project by this id: it must come out the same on every run and every machine.
    void projectIdIsStableAndNameBased() {
        const QUuid noctal(u"427b3548-b2d4-524c-ad5c-ababe5136107"_s);
        QCOMPARE(Platform::projectID(base, u"noctal"_s), noctal);
        QCOMPARE(Platform::projectID(u"https://orvane.app"_s, u"noctal"_s), noctal);
        QVERIFY(Platform::projectID(base, u"brevik"_s) != noctal);
    }

    void projectBuildsItsPlaces_data() {
        QTest::addColumn<bool>("appPaths");
        QTest::addColumn<QString>("apiRoot");
        row("on the platform", false, "https://orvane.app/api/v1/p/a%20b");
        row("on a local platform", true, "https://orvane.app/app/p/a%20b/api");
    }
    void projectBuildsItsPlaces() {
        QFETCH(bool, appPaths);
        const Workspace p = Platform::project(base, u"a b"_s, QString(), u"lead"_s, appPaths);
        QCOMPARE(p.server, u"https://orvane.app/app/p/a%20b"_s);
        QTEST(p.apiRoot.value_or(QString()), "apiRoot");
        QCOMPARE(p.name, u"a b"_s); // an empty name falls back to the slug
    }

    void resolve_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("url");
        row("a full URL stands", "https://cdn.example/x", "https://cdn.example/x");
        row("an absolute path goes on the base", "/api/v1/personal/calls",
            "https://orvane.app/api/v1/personal/calls");
        row("a relative path goes on the base", "api/x", "https://orvane.app/api/x");
    }
    void resolve() {
        QFETCH(QString, text);
        QFETCH(QString, url);
        QCOMPARE(Platform::resolve(text, u"https://orvane.app//"_s), QUrl(url));
    }

    void apiUrls_data() {
        QTest::addColumn<QString>("apiRoot"); // empty: none
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("url");
        row("a legacy server takes the path as it is", "", "/api/calls", "https://s.example/api/calls");
        row("an API root replaces /api", "https://p.example/api/v1/p/x/", "/api/calls",
            "https://p.example/api/v1/p/x/calls");
        row("other paths stay on the server", "https://p.example/api/v1/p/x", "/health",
            "https://s.example/health");
    }
    void apiUrls() {
        QFETCH(QString, apiRoot);
        QFETCH(QString, path);
        QFETCH(QString, url);
        QNetworkAccessManager network;
        const API api(network, u"https://s.example/"_s, u"k"_s,
                      apiRoot.isEmpty() ? std::nullopt : std::optional<QString>(apiRoot));
        QCOMPARE(api.url(path), QUrl(url));
        QCOMPARE(api.endpoint(), apiRoot.isEmpty() ? u"https://s.example"_s : api.apiRoot().value());
    }

    void parseStart_data() {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("url"); // empty: rejected
        QTest::addColumn<double>("interval");
        QTest::addColumn<double>("expires");
        row("a relative verify_url goes on the base, with the defaults",
            QByteArray(
                R"({"device_code":"d","user_code":"WXYZ-1234","verify_url":"/app/device?code=WXYZ-1234"})"),
            "https://orvane.app/app/device?code=WXYZ-1234", 3.0, 600.0);
        row("verification_uri_complete is the second choice",
            QByteArray("{\"device_code\":\"d\",\"user_code\":\"U\","
                       "\"verification_uri_complete\":\"https://x.example/v\"}"),
            "https://x.example/v", 3.0, 600.0);
        row("without either the approval page on the base",
            QByteArray(R"({"device_code":7,"user_code":"WXYZ-1234"})"),
            "https://orvane.app/app/device?code=WXYZ-1234", 3.0, 600.0);
        row("a short interval and expiry are raised",
            QByteArray(R"({"device_code":"d","user_code":"U","interval":0.2,"expires_in":5})"),
            "https://orvane.app/app/device?code=U", 1.0, 30.0);
        row("a long interval is capped", QByteArray(R"({"device_code":"d","user_code":"U","interval":300})"),
            "https://orvane.app/app/device?code=U", 30.0, 600.0);
        row("no device code is no start", QByteArray(R"({"user_code":"U"})"), "", 0.0, 0.0);
        row("an empty user code is no start", QByteArray(R"({"device_code":"d","user_code":""})"), "", 0.0,
            0.0);
    }
    void parseStart() {
        QFETCH(QByteArray, reply);
        QFETCH(QString, url);
        const auto start = Platform::parseStart(QJsonDocument::fromJson(reply).object(), base);
        QCOMPARE(start.has_value(), !url.isEmpty());
        if (!start) return;
        QCOMPARE(start->verifyURL, QUrl(url));
        QTEST(start->interval, "interval");
        QTEST(start->expires, "expires");
    }

    void parsePoll_data() {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("text"); // the name signed in, or the failure
        row("pending", QByteArray(R"({"status":"pending"})"), "pending", "");
        row("no status is pending", QByteArray("{}"), "pending", "");
        row("ok with the name trimmed",
            QByteArray(R"({"status":"ok","key":"k","account":{"email":"a@b","name":" Ada "}})"), "ok", "Ada");
        row("approved with a numeric key and a blank name",
            QByteArray(R"({"status":"approved","key":5,"account":{"email":"a@b","name":"  "}})"), "ok", "");
        row("approved without a key fails", QByteArray(R"({"status":"ok","account":{"email":"a@b"}})"),
            "failed", "the server approved the sign-in but sent no key");
        row("expired", QByteArray(R"({"status":"expired"})"), "expired", "");
        row("denied", QByteArray(R"({"status":"denied"})"), "denied", "");
        row("rejected is denied", QByteArray(R"({"status":"rejected"})"), "denied", "");
        row("the server's error is the failure", QByteArray(R"({"status":"odd","error":"try later"})"),
            "failed", "try later");
        row("an unknown status fails", QByteArray(R"({"status":"odd"})"), "failed",
            u"unexpected status \u201codd\u201d"_s);
    }
    void parsePoll() {
        QFETCH(QByteArray, reply);
        QFETCH(QString, text);
        const PollResult result = Platform::parsePoll(QJsonDocument::fromJson(reply).object());
        static const QStringList kinds{"ok", "failed", "pending", "expired", "denied"}; // PollResult's order
        QTEST(kinds.at(int(result.index())), "kind");
        if (const auto* ok = std::get_if<Poll::Ok>(&result)) QCOMPARE(ok->name.value_or(QString()), text);
        if (const auto* failed = std::get_if<Poll::Failed>(&result)) QCOMPARE(failed->message, text);
    }
};

QTEST_GUILESS_MAIN(TestPlatform)
#include "tst_platform.moc"
