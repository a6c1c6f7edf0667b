#include "Controller.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"
#include "surfaces/WindowBox.h"
#include "surfaces/WrapView.h"
#include "surfaces/design/OVSection.h"
#include "workday/WrapModel.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;

namespace {
const QString wrapPath = u"/api/v1/p/brevik/workday/wrap"_s;
const QString workdayPath = u"/api/v1/p/brevik/workday"_s;
// What the server is told to do: a scripted job, a fault, or both.
using Arrange = std::function<bool(LocalPlatform&)>;
Arrange script(const QString& outcome, int after, bool highlights = true, std::optional<QString> error = {}) {
    return [=](LocalPlatform& p) { return p.scriptWrap({outcome, after, highlights, error}); };
}
Arrange fault(const QString& method, const QString& path, int status, const QByteArray& body) {
    return [=](LocalPlatform& p) { return p.fault({path, status, body, "application/json", method}); };
}
} // namespace
Q_DECLARE_METATYPE(Arrange)

// "End my day" against the local platform, its jobs scripted and its polls following each other at once.
class TestEndOfDay : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<Controller> m_c;

    int requestsTo(const QString& method, const QString& path) const {
        int n = 0;
        for (const QJsonValue r : m_platform->requests())
            n += r["method"_L1].toString() == method && r["path"_L1].toString() == path;
        return n;
    }
    int polls() const { return requestsTo(u"GET"_s, wrapPath); }
    QStringList headings() const {
        QStringList titles;
        // No meta-object of its own: findChildren can't tell the design's section heads apart.
        for (const QWidget* child :
             m_c->app().windows().window(WrapView::windowKey)->findChildren<QWidget*>())
            if (const auto* section = dynamic_cast<const OVSection*>(child))
                titles.append(section->value().title);
        return titles;
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        m_c = std::make_unique<Controller>(m_platform->base());
        QVERIFY(m_c->signInAndLoadProjects());
    }
    void cleanup() {
        m_c.reset();
        m_platform.reset();
    }

    void theRunEndsAsTheServerAnswers_data() {
        QTest::addColumn<Arrange>("arrange");
        QTest::addColumn<bool>("tracked");
        QTest::addColumn<int>("expectedPolls");
        QTest::addColumn<QString>("expectedError");
        QTest::addColumn<int>("expectedCards");
        const QString update = u"This workspace needs an update before it can end your day."_s;
        row("a job done at the third poll shows the day, the day not tracked", script(u"done"_s, 3), false, 3,
            QString(), 2);
        row("a tracked day goes up first", script(u"done"_s, 2, false), true, 2, QString(), 2);
        row("a job done at the last poll still shows the day", script(u"done"_s, 84), false, 84, QString(),
            2);
        row("a failed job shows the server's words", script(u"error"_s, 2, true, u"The model is busy."_s),
            false, 2, u"The model is busy."_s, 0);
        row("a failed job without words gets the program's", script(u"error"_s, 1), false, 1,
            u"The end-of-day summary failed on the server."_s, 0);
        row("a job never registered ends at the fourth poll", script(u"unstarted"_s, 2), false, 4,
            u"The server did not start the end-of-day summary."_s, 0);
        row("a job never finished ends after 84 polls", script(u"endless"_s, 2), false, 84,
            u"Still running \u2014 the result will be on the board."_s, 0);
        row("a 404 on the day's upload", fault(u"POST"_s, workdayPath, 404, {}), true, 0, update, 0);
        row("a 404 on the start", fault(u"POST"_s, wrapPath, 404, {}), false, 0, update, 0);
        row("a 404 on a poll", fault(u"GET"_s, wrapPath, 404, {}), false, 1, update, 0);
        row("another failure gives its description", fault(u"GET"_s, wrapPath, 500, R"({"error":"busy"})"),
            false, 1, u"busy (HTTP 500)"_s, 0);
        row("an unknown status polls on", fault(u"GET"_s, wrapPath, 200, R"({"status":"queued"})"), false, 3,
            QString(), 2);
        row("cards that are no list are none",
            fault(u"GET"_s, wrapPath, 200, R"({"status":"done","cards":"x"})"), false, 1, QString(), 0);
        row("cards that are no objects are skipped",
            fault(u"GET"_s, wrapPath, 200,
                  R"({"status":"done","cards":[7,"x",null,{"id":"c","title":"C"}]})"),
            false, 1, QString(), 1);
    }
    void theRunEndsAsTheServerAnswers() {
        QFETCH(Arrange, arrange);
        QFETCH(bool, tracked);
        QFETCH(int, expectedPolls);
        QFETCH(QString, expectedError);
        QFETCH(int, expectedCards);
        QVERIFY(arrange(*m_platform));
        m_c->settings().setTrackWorkday(tracked);

        m_c->app().wrapUp();
        const std::shared_ptr<WrapModel> model = m_c->app().endOfDay().model();
        QTRY_VERIFY_WITH_TIMEOUT(!model->running(), 30000);
        QCOMPARE(model->error().value_or(QString()), expectedError);
        QCOMPARE(polls(), expectedPolls);
        QCOMPARE(model->cards().size(), expectedCards);
        QCOMPARE(requestsTo(u"POST"_s, workdayPath), int(tracked));
        // A list the server left empty has no heading.
        QCOMPARE(headings().contains(u"Highlights"_s), !model->highlights().isEmpty());
        QCOMPARE(headings().contains(u"Follow-ups added to your inbox"_s), expectedCards > 0);
    }

    // A second "End my day" takes the window over with a model of its own; the first run writes on to its
    // model, which only its task still holds, and both end whole.
    void aSecondRunTakesTheWindowOver() {
        QVERIFY(m_platform->scriptWrap({u"done"_s, 3}));
        m_c->app().wrapUp();
        const std::weak_ptr<WrapModel> first = m_c->app().endOfDay().model();
        QList<std::pair<bool, bool>> seen; // running, written
        QObject watch;
        connect(first.lock().get(), &WrapModel::changed, &watch, [&seen, model = first.lock().get()] {
            seen.append({model->running(), model->summary() && !model->error()});
        });
        m_c->app().wrapUp();
        const std::shared_ptr<WrapModel> second = m_c->app().endOfDay().model();
        QTRY_VERIFY_WITH_TIMEOUT(!second->running() && !seen.isEmpty() && !seen.last().first, 30000);
        QVERIFY(second->summary() && !second->error());
        QVERIFY(seen.last().second);
        QTRY_VERIFY_WITH_TIMEOUT(first.expired(), 10000);
        QCOMPARE(requestsTo(u"POST"_s, wrapPath), 2);
    }

    // Closing the window is not cancelling: the run polls on to its end, then its model goes.
    void closingTheWindowLeavesTheRunGoing() {
        QVERIFY(m_platform->scriptWrap({u"done"_s, 5}));
        m_c->app().wrapUp();
        const std::weak_ptr<WrapModel> model = m_c->app().endOfDay().model();
        m_c->app().windows().window(WrapView::windowKey)->close();
        QTRY_COMPARE_WITH_TIMEOUT(polls(), 5, 30000);
        QTRY_VERIFY_WITH_TIMEOUT(model.expired(), 10000);
    }

    void withoutAHomeTheSettingsOpen() {
        m_c->settings().signOut();
        QSignalSpy wanted(&m_c->app().endOfDay(), &EndOfDay::settingsWanted);
        m_c->app().wrapUp();
        QCOMPARE(wanted.size(), 1);
        QVERIFY(m_c->app().windows().window(u"settings"_s));
        QVERIFY(!m_c->app().windows().window(WrapView::windowKey));
    }
};

QTEST_MAIN(TestEndOfDay)
#include "tst_end_of_day.moc"
