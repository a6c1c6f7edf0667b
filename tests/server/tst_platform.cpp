#include "server/API.h"
#include "server/Platform.h"

#include <QCryptographicHash>
#include <QNetworkAccessManager>
#include <QTest>

class TestPlatform : public QObject {
    Q_OBJECT
private slots:
    void projectIdIsStableAndNameBased() {
        const QUuid id = Platform::projectID(QStringLiteral("https://orvane.app/"), QStringLiteral("noctal"));
        QCOMPARE(id, Platform::projectID(QStringLiteral("https://orvane.app"), QStringLiteral("noctal")));
        QVERIFY(id != Platform::projectID(QStringLiteral("https://orvane.app"), QStringLiteral("brevik")));
        QCOMPARE(int(id.version()), 5);
        QCOMPARE(id.variant(), QUuid::DCE);
        // The leading bytes are the digest's own, beyond the version nibble.
        const QByteArray digest =
            QCryptographicHash::hash("orvane.project|https://orvane.app|noctal", QCryptographicHash::Sha256);
        QCOMPARE(id.toRfc4122().left(6), digest.left(6));
    }

    void projectBuildsItsPlaces_data() {
        QTest::addColumn<bool>("appPaths");
        QTest::addColumn<QString>("apiRoot");
        QTest::newRow("platform") << false << "https://orvane.app/api/v1/p/a%20b";
        QTest::newRow("local platform") << true << "https://orvane.app/app/p/a%20b/api";
    }
    void projectBuildsItsPlaces() {
        QFETCH(bool, appPaths);
        QFETCH(QString, apiRoot);
        const Workspace p = Platform::project(QStringLiteral("https://orvane.app/"), QStringLiteral("a b"),
                                              QString(), QStringLiteral("lead"), appPaths);
        QCOMPARE(p.server, QStringLiteral("https://orvane.app/app/p/a%20b"));
        QCOMPARE(p.apiRoot, apiRoot);
        QCOMPARE(p.slug, QStringLiteral("a b"));
        QCOMPARE(p.name, QStringLiteral("a b")); // an empty name falls back to the slug
        QCOMPARE(p.seat, QStringLiteral("lead"));
    }

    void resolve_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("url");
        QTest::newRow("full URL") << "https://cdn.example/x"
                                  << "https://cdn.example/x";
        QTest::newRow("absolute path") << "/api/v1/personal/calls"
                                       << "https://orvane.app/api/v1/personal/calls";
        QTest::newRow("relative path") << "api/x"
                                       << "https://orvane.app/api/x";
    }
    void resolve() {
        QFETCH(QString, text);
        QFETCH(QString, url);
        QCOMPARE(Platform::resolve(text, QStringLiteral("https://orvane.app//")), QUrl(url));
    }

    void apiUrls_data() {
        QTest::addColumn<QString>("apiRoot"); // empty: none
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("url");
        QTest::newRow("legacy") << ""
                                << "/api/calls"
                                << "https://s.example/api/calls";
        QTest::newRow("root replaces /api") << "https://p.example/api/v1/p/x/"
                                            << "/api/calls"
                                            << "https://p.example/api/v1/p/x/calls";
        QTest::newRow("other paths stay on the server") << "https://p.example/api/v1/p/x"
                                                        << "/health"
                                                        << "https://s.example/health";
    }
    void apiUrls() {
        QFETCH(QString, apiRoot);
        QFETCH(QString, path);
        QFETCH(QString, url);
        QNetworkAccessManager network;
        const API api(network, QStringLiteral("https://s.example/"), QStringLiteral("k"),
                      apiRoot.isEmpty() ? std::nullopt : std::optional<QString>(apiRoot));
        QCOMPARE(api.url(path), QUrl(url));
        QCOMPARE(api.endpoint(),
                 apiRoot.isEmpty() ? QStringLiteral("https://s.example") : api.apiRoot().value());
    }
};

QTEST_GUILESS_MAIN(TestPlatform)
#include "tst_platform.moc"
