#include "server/DeviceSignIn.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {
const QString base = QStringLiteral("https://orvane.app/");
} // namespace

// Reading the platform's sign-in replies; the flow itself runs against the local platform in
// tests/integration.
class TestDeviceSignIn : public QObject {
    Q_OBJECT
private slots:
    void parseStart_data() {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("url"); // empty: rejected
        QTest::addColumn<double>("interval");
        QTest::addColumn<double>("expires");
        QTest::newRow("relative verify_url, defaults")
            << QByteArray("{\"device_code\":\"d\",\"user_code\":\"WXYZ-1234\",\"verify_url\":\"/app/"
                          "device?code=WXYZ-1234\"}")
            << "https://orvane.app/app/device?code=WXYZ-1234" << 3.0 << 600.0;
        QTest::newRow("second choice") << QByteArray("{\"device_code\":\"d\",\"user_code\":\"U\","
                                                     "\"verification_uri_complete\":\"https://x.example/v\"}")
                                       << "https://x.example/v" << 3.0 << 600.0;
        QTest::newRow("neither: the approval page on the base")
            << QByteArray("{\"device_code\":7,\"user_code\":\"WXYZ-1234\"}")
            << "https://orvane.app/app/device?code=WXYZ-1234" << 3.0 << 600.0;
        QTest::newRow("short interval and expiry are raised")
            << QByteArray("{\"device_code\":\"d\",\"user_code\":\"U\",\"interval\":0.2,\"expires_in\":5}")
            << "https://orvane.app/app/device?code=U" << 1.0 << 30.0;
        QTest::newRow("long interval is capped")
            << QByteArray("{\"device_code\":\"d\",\"user_code\":\"U\",\"interval\":300}")
            << "https://orvane.app/app/device?code=U" << 30.0 << 600.0;
        QTest::newRow("no device code") << QByteArray("{\"user_code\":\"U\"}") << "" << 0.0 << 0.0;
        QTest::newRow("empty user code")
            << QByteArray("{\"device_code\":\"d\",\"user_code\":\"\"}") << "" << 0.0 << 0.0;
    }
    void parseStart() {
        QFETCH(QByteArray, reply);
        QFETCH(QString, url);
        QFETCH(double, interval);
        QFETCH(double, expires);
        const auto start = Platform::parseStart(QJsonDocument::fromJson(reply).object(), base);
        QCOMPARE(start.has_value(), !url.isEmpty());
        if (!start) return;
        QCOMPARE(start->verifyURL, QUrl(url));
        QCOMPARE(start->interval, interval);
        QCOMPARE(start->expires, expires);
    }

    void parsePoll_data() {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("text");
        QTest::newRow("pending") << QByteArray("{\"status\":\"pending\"}") << "pending"
                                 << "";
        QTest::newRow("no status") << QByteArray("{}") << "pending"
                                   << "";
        QTest::newRow("ok")
            << QByteArray(
                   "{\"status\":\"ok\",\"key\":\"k\",\"account\":{\"email\":\"a@b\",\"name\":\" Ada \"}}")
            << "ok"
            << "Ada";
        QTest::newRow("approved, blank name")
            << QByteArray(
                   "{\"status\":\"approved\",\"key\":5,\"account\":{\"email\":\"a@b\",\"name\":\"  \"}}")
            << "ok"
            << "";
        QTest::newRow("approved without key")
            << QByteArray("{\"status\":\"ok\",\"account\":{\"email\":\"a@b\"}}") << "failed"
            << "the server approved the sign-in but sent no key";
        QTest::newRow("expired") << QByteArray("{\"status\":\"expired\"}") << "expired"
                                 << "";
        QTest::newRow("denied") << QByteArray("{\"status\":\"denied\"}") << "denied"
                                << "";
        QTest::newRow("rejected") << QByteArray("{\"status\":\"rejected\"}") << "denied"
                                  << "";
        QTest::newRow("server's error")
            << QByteArray("{\"status\":\"odd\",\"error\":\"try later\"}") << "failed"
            << "try later";
        QTest::newRow("unknown status") << QByteArray("{\"status\":\"odd\"}") << "failed"
                                        << QStringLiteral("unexpected status \u201codd\u201d");
    }
    void parsePoll() {
        QFETCH(QByteArray, reply);
        QFETCH(QString, kind);
        QFETCH(QString, text);
        const PollResult result = Platform::parsePoll(QJsonDocument::fromJson(reply).object());
        const QString seen = std::visit(
            [](const auto& r) -> QString {
                using R = std::decay_t<decltype(r)>;
                if constexpr (std::is_same_v<R, Poll::Ok>)
                    return QStringLiteral("ok");
                else if constexpr (std::is_same_v<R, Poll::Failed>)
                    return QStringLiteral("failed");
                else if constexpr (std::is_same_v<R, Poll::Pending>)
                    return QStringLiteral("pending");
                else if constexpr (std::is_same_v<R, Poll::Expired>)
                    return QStringLiteral("expired");
                else
                    return QStringLiteral("denied");
            },
            result);
        QCOMPARE(seen, kind);
        if (const auto* ok = std::get_if<Poll::Ok>(&result)) QCOMPARE(ok->name.value_or(QString()), text);
        if (const auto* failed = std::get_if<Poll::Failed>(&result)) QCOMPARE(failed->message, text);
    }
};

QTEST_GUILESS_MAIN(TestDeviceSignIn)
#include "tst_device_sign_in.moc"
