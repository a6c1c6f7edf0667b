#include "support/Await.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"
#include "workday/TodoStore.h"

#include <QNetworkAccessManager>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using testsupport::row;

using Faults = QList<LocalPlatform::Fault>;
Q_DECLARE_METATYPE(Faults)

// "Up next" gathered from two projects of the local platform over real HTTP: what a destination that lacks the
// route, fails or answers late does to the list.
class TestTodoStore : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<QNetworkAccessManager> m_network = API::makeNetwork();

    TodoStore::Target project(const QString& slug, const QString& name) const {
        Workspace ws{QUuid::createUuidV5(QUuid(), slug), name, m_platform->base() + u"/app/p/"_s + slug, slug,
                     u"owner"_s, m_platform->base() + u"/api/v1/p/"_s + slug};
        return {ws, API(*m_network, ws.server, u"dev-key"_s, ws.apiRoot)};
    }
    QList<TodoStore::Target> targets(const QString& which) const {
        QList<TodoStore::Target> list;
        for (const QChar c : which)
            list.append(c == u'A' ? project(u"brevik"_s, u"A"_s) : project(u"noctal"_s, u"B"_s));
        return list;
    }
    static QString todosOf(const QString& slug) { return u"/api/v1/p/"_s + slug + u"/my/todos"_s; }
    // The destination of each item, in order: "AAABBB".
    static QString owners(const TodoStore& store) {
        QString out;
        for (const Todo& todo : store.items())
            out += todo.ws ? todo.ws->name : u"?"_s;
        return out;
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    void theListThroughEachDestinationsAnswer_data() {
        QTest::addColumn<QString>("first"); // the targets of a good refresh before, if any
        QTest::addColumn<QString>("which");
        QTest::addColumn<Faults>("faults");
        QTest::addColumn<QString>("owners");
        QTest::addColumn<QStringList>("outdated");
        QTest::addColumn<bool>("needsUpdate");
        QTest::addColumn<QString>("error");
        const LocalPlatform::Fault missingB{todosOf(u"noctal"_s), 404, R"({"error":"no route"})"};
        row("both answer: the items of A, then of B", u""_s, u"AB"_s, Faults{}, u"AAABBB"_s, QStringList{}, false,
            u""_s);
        row("B lacks the route beside A: A's items, B named", u""_s, u"AB"_s, Faults{missingB}, u"AAA"_s,
            QStringList{u"B"_s}, false, u""_s);
        row("the only destination lacks the route", u""_s, u"B"_s, Faults{missingB}, u""_s, QStringList{u"B"_s},
            true, u""_s);
        row("a 500 from B after a good refresh keeps B's items", u"AB"_s, u"AB"_s,
            Faults{{todosOf(u"noctal"_s), 500, R"({"error":"database is down"})"}}, u"AAABBB"_s, QStringList{},
            false, u"B: database is down (HTTP 500)"_s);
        row("the order is the targets' when A answers last", u""_s, u"AB"_s,
            Faults{{todosOf(u"brevik"_s), 0, {}, {}, {}, 400ms}}, u"AAABBB"_s, QStringList{}, false, u""_s);
        row("a page of HTML from B is a failure with nothing to keep", u""_s, u"AB"_s,
            Faults{{todosOf(u"noctal"_s), 200, "<html><body>Sign in</body></html>", "text/html"}}, u"AAA"_s,
            QStringList{}, false, u"B: unexpected response (not JSON) from 127.0.0.1 (HTTP 200)"_s);
        row("a bare list with numeric, missing and repeated ids", u""_s, u"B"_s,
            Faults{{todosOf(u"noctal"_s), 200,
                    R"([{"id": 7, "title": "Seven"}, {"title": "no id"}, {"id": 7, "title": "Seven again"},
                        {"id": "x", "title": "<b>bold</b>"}])"}},
            u"BB"_s, QStringList{}, false, u""_s);
    }
    void theListThroughEachDestinationsAnswer() {
        QFETCH(QString, first);
        QFETCH(QString, which);
        QFETCH(Faults, faults);
        QFETCH(QString, owners);
        QFETCH(QStringList, outdated);
        QFETCH(bool, needsUpdate);
        QFETCH(QString, error);
        TodoStore store;
        if (!first.isEmpty()) testsupport::await(store.refresh(targets(first)));
        for (const LocalPlatform::Fault& fault : faults)
            QVERIFY(m_platform->fault(fault));
        testsupport::await(store.refresh(targets(which)));
        QCOMPARE(this->owners(store), owners);
        QCOMPARE(store.outdated(), outdated);
        QCOMPARE(store.needsUpdate(), needsUpdate);
        QCOMPARE(store.error().value_or(QString()), error);
        QVERIFY(store.loaded());
    }

    // The old setup's items never show beside the new one's, not even while the new one answers; no targets
    // at all clear everything but the time of the last load.
    void anotherSetupClearsTheListAtOnce() {
        TodoStore store;
        testsupport::await(store.refresh(targets(u"AB"_s)));
        const QDateTime loaded = *store.loaded();
        QVERIFY(m_platform->fault({todosOf(u"brevik"_s), 0, {}, {}, {}, 300ms}));
        QCoro::Task<> refreshing = store.refresh(targets(u"A"_s));
        QVERIFY(store.items().isEmpty());
        testsupport::await(std::move(refreshing));
        QCOMPARE(owners(store), u"AAA"_s);

        testsupport::await(store.refresh({}));
        QVERIFY(store.items().isEmpty() && store.servers().isEmpty() && !store.error());
        QVERIFY(*store.loaded() >= loaded);
    }
};

QTEST_MAIN(TestTodoStore)
#include "tst_todo_store.moc"
