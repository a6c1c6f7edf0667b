#include "core/Workspace.h"
#include "support/Rows.h"

#include <QJsonDocument>
#include <QTest>

using testsupport::row;

class TestWorkspace : public QObject {
    Q_OBJECT
private slots:
    void serverAddress_data() {
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("base");
        QTest::addColumn<bool>("local"); // a local server needs no key
        row("trailing slashes and blanks go", "  https://a.example/app/// \n", "https://a.example/app",
            false);
        row("127.0.0.1 is local", "http://127.0.0.1:8080", "http://127.0.0.1:8080", true);
        row("localhost is local", "http://localhost/", "http://localhost", true);
        row("::1 is local", "http://[::1]:3000", "http://[::1]:3000", true);
        row("a name under .localhost is local", "http://team.localhost", "http://team.localhost", true);
        row("localhost as a label of a public name is not", "https://localhost.example.com",
            "https://localhost.example.com", false);
        row("no URL is not local", "not a url", "not a url", false);
    }
    void serverAddress() {
        QFETCH(QString, server);
        const Workspace ws = Workspace::make(QStringLiteral("A"), server);
        QTEST(ws.base(), "base");
        QTEST(ws.isLocal(), "local");
    }

    void decodingTakesNewFieldsAsOptional() {
        const QUuid id = QUuid::createUuid();
        const Workspace ws = Workspace::fromJson(QJsonObject{
            {"id", id.toString(QUuid::WithoutBraces)}, {"name", "Old"}, {"server", "https://old.example"}});
        QCOMPARE(ws.id, id);
        QVERIFY(!ws.isProject());
        QVERIFY(!ws.apiRoot);
        QVERIFY_THROWS_EXCEPTION(Json::DecodeError, Workspace::fromJson(QJsonObject{{"name", "No id"}}));
    }
};

QTEST_GUILESS_MAIN(TestWorkspace)
#include "tst_workspace.moc"
