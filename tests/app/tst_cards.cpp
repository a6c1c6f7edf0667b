#include "Controller.h"
#include "core/Strings.h"
#include "support/Await.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"
#include "surfaces/ScreenNudgeDisplay.h"
#include "surfaces/design/OVButton.h"

#include <QJsonArray>
#include <QProcess>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

// Cards and to-dos against the local platform over real HTTP: where a card lands, how it travels when
// Personal takes no tasks, and what the user reads when the server says no.
class TestCards : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;

    int requestsTo(const QString& method, const QString& tail) {
        int n = 0;
        for (const QJsonValue r : m_platform->requests())
            n += r[u"method"_s].toString() == method && r[u"path"_s].toString().endsWith(tail);
        return n;
    }
    static QStringList titles(const QJsonArray& todos) {
        QStringList out;
        for (const QJsonValue t : todos)
            out << t[u"title"_s].toString();
        return out;
    }
    // A processed call on `dest` whose review the controller watches until it is in.
    std::optional<Cards::FromReview> reviewed(Controller& c, const QString& dest) {
        const std::optional<API> api = c.settings().api(dest);
        if (!api) return std::nullopt;
        const QString now = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
        const QJsonObject created =
            testsupport::await(api->json("POST", u"/api/calls"_s,
                                         QJsonObject{{u"title"_s, u"Weekly sync"_s},
                                                     {u"started"_s, now},
                                                     {u"ended"_s, now},
                                                     {u"participants"_s, QJsonArray{}},
                                                     {u"shots"_s, QJsonArray{}},
                                                     {u"pins"_s, QJsonArray{}},
                                                     {u"expect_audio"_s, false}}));
        const QString id = created[u"id"_s].toString();
        testsupport::await(api->json("POST", u"/api/calls/%1/process"_s.arg(urlComponent(id))));
        c.app().reviews().watchReview(id, *api, std::nullopt, dest, u"Weekly sync"_s);
        if (!QTest::qWaitFor(
                [&] {
                    c.app().reviews().pollReviews();
                    return !c.app().reviews().reviews().isEmpty() && c.app().reviews().reviews()[0].ready;
                },
                10000))
            return std::nullopt;
        const Reviews::OpenSuggestion& first = c.app().reviews().reviews()[0].suggestions.first();
        return Cards::FromReview{id, first.i, *api, dest};
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        QVERIFY(m_platform->reviewDelay(std::chrono::milliseconds(0)));
    }
    void cleanup() { m_platform.reset(); }

    void aCardLandsWhereItIsSent_data() {
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("reviewIn"); // where the suggestion's call was filed; empty: no review
        QTest::addColumn<QString>("personal"); // open, tasks-closed (no task route), closed (nothing yet)
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<QString>("scope"); // where a to-do of the card's title appears; empty: none
        QTest::addColumn<int>("noteCalls"); // one-pin recordings that reached Personal
        QTest::addColumn<int>("notesKept"); // private notes waiting on disk
        QTest::addColumn<QString>("nudge");
        row("a card for the project its review is in is accepted there", u"brevik"_s, u"brevik"_s, u"open"_s,
            true, u"project:brevik"_s, 0, 0, u"Added to Brevik \u00B7 New from chat"_s);
        row("a card for another project is a task there", u"noctal"_s, u"brevik"_s, u"open"_s, true,
            u"project:noctal"_s, 0, 0, u"Added to Noctal \u00B7 New from chat"_s);
        row("a card for Personal is a task there, never an accept", u"personal"_s, u"personal"_s, u"open"_s,
            true, u"personal:1"_s, 0, 0, u"Added to your day (Personal)"_s);
        row("Personal without tasks: a private note, sent as a recording", u"personal"_s, u""_s,
            u"tasks-closed"_s, true, u""_s, 1, 0, u"Added to your day (Personal)"_s);
        row("Personal not open yet: the note waits on this computer", u"personal"_s, u""_s, u"closed"_s, true,
            u""_s, 0, 1, u""_s);
        row("signed out: the note waits on this computer", u"personal"_s, u""_s, u"open"_s, false, u""_s, 0,
            1, u""_s);
    }
    void aCardLandsWhereItIsSent() {
        QFETCH(QString, to);
        QFETCH(QString, reviewIn);
        QFETCH(QString, personal);
        QFETCH(bool, signedIn);
        QFETCH(QString, scope);
        QFETCH(int, noteCalls);
        QFETCH(int, notesKept);
        QFETCH(QString, nudge);
        Controller c(m_platform->base());
        if (signedIn) QVERIFY(c.signInAndLoadProjects());
        std::optional<Cards::FromReview> review;
        if (!reviewIn.isEmpty()) QVERIFY((review = reviewed(c, reviewIn)));
        QVERIFY(m_platform->closePersonalTasks(personal != u"open"_s));
        QVERIFY(m_platform->closePersonal(personal == u"closed"_s));
        const QString title = review ? c.app().reviews().reviews()[0].suggestions.first().title
                                     : u"Call the printer about the proofs"_s;

        c.app().cards().addCard(title, u"they asked twice"_s, to, review);
        if (!nudge.isEmpty()) {
            QTRY_VERIFY_WITH_TIMEOUT(c.services.nudges->kind() == u"cardDone"_s, 10000);
            QCOMPARE(c.shownNudge()->title, nudge);
            QCOMPARE(c.shownNudge()->message, title);
        }
        const bool accepted = review && review->dest == to && to != u"personal"_s;
        QCOMPARE(requestsTo(u"POST"_s, u"/accept"_s), accepted ? 1 : 0);
        if (!scope.isEmpty()) {
            const QJsonArray todos = m_platform->todos(scope);
            QCOMPARE(titles(todos).count(title), 1);
            if (to != u"personal"_s && !accepted) {
                QCOMPARE(todos.last()[u"inbox"_s].toBool(), true);
                QCOMPARE(todos.last()[u"source"_s].toString(), u"mac"_s);
                QCOMPARE(todos.last()[u"notes"_s].toString(), u"they asked twice"_s);
            }
        }
        // A card from a review is not asked about again.
        if (review)
            QVERIFY(c.app().reviews().reviews()[0].suggestions.isEmpty() ||
                    c.app().reviews().reviews()[0].suggestions.first().i != review->suggestion);

        QTRY_COMPARE_WITH_TIMEOUT(m_platform->calls().size() - (review ? 1 : 0), noteCalls, 10000);
        if (noteCalls) {
            const QJsonValue note = m_platform->calls().last();
            QCOMPARE(note[u"scope"_s].toString(), u"personal:1"_s);
            QCOMPARE(note[u"title"_s].toString(), u"Note \u00B7 "_s + title);
            QCOMPARE(note[u"pins"_s].toInt(), 1);
        }
        QTRY_COMPARE_WITH_TIMEOUT(Session::pending().size(), notesKept, 10000);
        if (notesKept) {
            const std::shared_ptr<Session> kept = Session::pending().first();
            QCOMPARE(kept->meta.pins.size(), 1);
            QCOMPARE(kept->meta.pins[0].note, title + u" \u2014 they asked twice"_s);
            QVERIFY(kept->meta.personal.value_or(false) && kept->meta.routeDone.value_or(false));
        }
    }

    void aRefusedCardSaysSoAndKeepsTheSuggestion() {
        Controller c(m_platform->base());
        QVERIFY(c.signInAndLoadProjects());
        const std::optional<Cards::FromReview> review = reviewed(c, u"brevik"_s);
        QVERIFY(review);
        QVERIFY(m_platform->fault(
            {u"/api/v1/p/brevik/calls/*"_s, 500, R"({"error":"try later"})", {}, u"POST"_s}));
        c.app().cards().addCard(u"Send the notes"_s, std::nullopt, u"brevik"_s, review);
        QTRY_VERIFY_WITH_TIMEOUT(c.services.nudges->kind() == u"cardDone"_s, 10000);
        QCOMPARE(c.shownNudge()->title, u"Couldn\u2019t add the card"_s);
        QCOMPARE(c.shownNudge()->message, u"try later (HTTP 500)"_s);
        QCOMPARE(c.app().reviews().reviews()[0].suggestions.first().i, review->suggestion);
    }

    // The question on a real X server: a click on a destination sends the card there.
    void aClickOnTheQuestionSendsTheCard() {
        if (QGuiApplication::platformName() != QLatin1String("xcb")) QSKIP("needs an X server");
        auto display = std::make_unique<ScreenNudgeDisplay>([] { return Motion(true); });
        ScreenNudgeDisplay* screen = display.get();
        Controller c(m_platform->base(), 120, std::move(display));
        QVERIFY(c.signInAndLoadProjects());
        c.app().cards().askCard(u"Call the printer"_s, std::nullopt, u"brevik"_s, std::nullopt);
        QPointer<QWidget> panel = screen->panel();
        QVERIFY(panel && QTest::qWaitForWindowExposed(panel, 5000));
        QStringList labels;
        OVButton* noctal = nullptr;
        for (OVButton* b : panel->findChildren<OVButton*>()) {
            labels << b->text();
            if (b->text() == u"Noctal \u2014 New from chat"_s) noctal = b;
        }
        labels.removeAll(u"\u2715"_s); // the close button
        // The proposal first, then Personal and the other projects in their order.
        QCOMPARE(labels.first(), u"Brevik \u2014 New from chat"_s);
        QVERIFY(labels.contains(u"Personal \u2014 my day (private)"_s));
        QVERIFY(noctal);
        // Where the X server has the panel, which is what a click goes by (Qt may not have heard of its place
        // yet), and the button's place inside it.
        QProcess where;
        where.start(u"xdotool"_s, {u"getwindowgeometry"_s, u"--shell"_s, QString::number(panel->winId())});
        QVERIFY(where.waitForFinished(5000));
        QPoint origin;
        for (const QByteArray& line : where.readAllStandardOutput().split('\n')) {
            if (line.startsWith("X=")) origin.setX(line.mid(2).toInt());
            if (line.startsWith("Y=")) origin.setY(line.mid(2).toInt());
        }
        const QPoint at = origin + noctal->mapTo(panel, noctal->rect().center());
        QCOMPARE(QProcess::execute(u"xdotool"_s, {u"mousemove"_s, QString::number(at.x()),
                                                  QString::number(at.y()), u"click"_s, u"1"_s}),
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(
            titles(m_platform->todos(u"project:noctal"_s)).contains(u"Call the printer"_s), 10000);
    }

    void aToDoStartsOrFinishesWhereItCameFrom_data() {
        QTest::addColumn<bool>("fromProject"); // else it has no destination: the home one
        QTest::addColumn<int>("status");       // a fault on the action; 0: none
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("nudge");
        QTest::addColumn<QString>("message");
        const QString forty = u"Review the onboarding flow for the beta!"_s;
        const QString fortyOne = forty + u"?"_s;
        row("a project's to-do starts there", true, 0, forty, u""_s, u""_s);
        row("a to-do without a destination is finished at home", false, 0, forty, u""_s, u""_s);
        row("a server without the route asks for an update", true, 404, fortyOne,
            u"Couldn\u2019t update \u201c%1\u2026\u201d"_s.arg(fortyOne.left(39)),
            u"This workspace needs an update."_s);
        row("another failure says what it was", true, 500, forty,
            u"Couldn\u2019t update \u201c%1\u201d"_s.arg(forty), u"busy (HTTP 500)"_s);
    }
    void aToDoStartsOrFinishesWhereItCameFrom() {
        QFETCH(bool, fromProject);
        QFETCH(int, status);
        QFETCH(QString, title);
        QFETCH(QString, nudge);
        QFETCH(QString, message);
        Controller c(m_platform->base());
        QVERIFY(c.signInAndLoadProjects());
        c.app().todos().refreshTodos();
        QTRY_VERIFY_WITH_TIMEOUT(c.app().todos().store().loaded(), 10000);
        Todo todo = c.app().todos().store().items().first();
        todo.title = title;
        if (!fromProject) todo.ws.reset();
        const bool start = fromProject;
        const QString scope = u"project:"_s + (fromProject ? *todo.ws->slug : *c.settings().home()->slug);
        if (status)
            QVERIFY(m_platform->fault({u"/api/v1/p/*"_s, status, R"({"error":"busy"})", {}, u"POST"_s}));
        const int fetched = requestsTo(u"GET"_s, u"/my/todos"_s);
        c.app().todos().todoAction(todo, start);
        // Either way the list is fetched again, from every project.
        QTRY_COMPARE_WITH_TIMEOUT(requestsTo(u"GET"_s, u"/my/todos"_s), 2 * fetched, 10000);
        if (status) {
            QVERIFY(c.shownNudge());
            QCOMPARE(c.shownNudge()->title, nudge);
            QCOMPARE(c.shownNudge()->message, message);
            return;
        }
        QString state;
        for (const QJsonValue t : m_platform->todos(scope))
            if (t[u"id"_s].toString() == todo.id) state = t[u"status"_s].toString();
        QCOMPARE(state, start ? u"in_progress"_s : u"done"_s);
    }
};

QTEST_MAIN(TestCards)
#include "tst_cards.moc"
