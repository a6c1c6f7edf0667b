#include "core/FiledRef.h"
#include "core/Workspace.h"

#include <QJsonDocument>
#include <QTest>

class TestWorkspace : public QObject {
    Q_OBJECT
private slots:
    void base_data() {
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("base");
        QTest::newRow("as it is") << "https://a.example"
                                  << "https://a.example";
        QTest::newRow("one slash") << "https://a.example/"
                                   << "https://a.example";
        QTest::newRow("several slashes") << "https://a.example/app///"
                                         << "https://a.example/app";
        QTest::newRow("blanks and slashes") << "  https://a.example// \n"
                                            << "https://a.example";
    }
    void base() {
        QFETCH(QString, server);
        QFETCH(QString, base);
        QCOMPARE(Workspace::make(QStringLiteral("A"), server).base(), base);
    }

    void isLocal_data() {
        QTest::addColumn<QString>("server");
        QTest::addColumn<bool>("local");
        QTest::newRow("127.0.0.1") << "http://127.0.0.1:8080" << true;
        QTest::newRow("localhost") << "http://localhost/" << true;
        QTest::newRow("::1") << "http://[::1]:3000" << true;
        QTest::newRow("under .localhost") << "http://team.localhost" << true;
        QTest::newRow("public host") << "https://brevik.orvane.app" << false;
        QTest::newRow("localhost as a label") << "https://localhost.example.com" << false;
        QTest::newRow("no URL") << "not a url" << false;
    }
    void isLocal() {
        QFETCH(QString, server);
        QFETCH(bool, local);
        QCOMPARE(Workspace::make(QStringLiteral("A"), server).isLocal(), local);
    }

    void decodingTakesNewFieldsAsOptional() {
        const QUuid id = QUuid::createUuid();
        const QJsonObject old{
            {"id", id.toString(QUuid::WithoutBraces)}, {"name", "Old"}, {"server", "https://old.example"}};
        const Workspace ws = Workspace::fromJson(old);
        QCOMPARE(ws.id, id);
        QVERIFY(!ws.isProject());
        QVERIFY(!ws.apiRoot);
        const QJsonObject withoutId{{"name", "No id"}, {"server", "x"}};
        QVERIFY_THROWS_EXCEPTION(Json::DecodeError, Workspace::fromJson(withoutId));
    }

    void roundTripsEveryField() {
        Workspace ws =
            Workspace::make(QStringLiteral("Team"), QStringLiteral("https://p.example/app/p/team"));
        ws.slug = QStringLiteral("team");
        ws.seat = QStringLiteral("lead");
        ws.apiRoot = QStringLiteral("https://p.example/api/v1/p/team");
        QCOMPARE(Workspace::fromJson(ws.toJson()), ws);
        // Identifiers are written upper-case, as the secret store's accounts are named.
        const QString id = ws.toJson().toObject().value("id").toString();
        QCOMPARE(id, id.toUpper());
    }

    void filedRefStoresSecondsSince2001() {
        const FiledRef ref{QStringLiteral("rec:1"), QStringLiteral("Standup"), FiledRef::personal,
                           QDateTime(QDate(2001, 1, 1), QTime(0, 1, 40), Qt::UTC)};
        const QJsonObject o = ref.toJson().toObject();
        QCOMPARE(o.value("at").toDouble(), 100.0);
        QCOMPARE(FiledRef::fromJson(o), ref);
    }
};

QTEST_GUILESS_MAIN(TestWorkspace)
#include "tst_workspace.moc"
