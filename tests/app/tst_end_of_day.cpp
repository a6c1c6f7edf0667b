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
const QString needsUpdate = u"This workspace needs an update before it can end your day."_s;

struct Seen {
    bool running;
    std::optional<QString> summary;
    std::optional<QString> error;
};

} // namespace

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
    // Runs "End my day" and waits for the run to end.
    std::shared_ptr<WrapModel> ranToTheEnd() {
        m_c->app().wrapUp();
        std::shared_ptr<WrapModel> model = m_c->app().endOfDay().model();
        if (model && !QTest::qWaitFor([&] { return !model->running(); }, 30000)) return nullptr;
        return model;
    }
    QStringList headings() const {
        QStringList titles;
        if (QWidget* window = m_c->app().windows().window(WrapView::windowKey))
            // No meta-object of its own: findChildren can't tell the design's section heads apart.
            for (const QWidget* child : window->findChildren<QWidget*>())
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
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<int>("after");
        QTest::addColumn<bool>("withHighlights");
        QTest::addColumn<std::optional<QString>>("serverError");
        QTest::addColumn<int>("expectedPolls");
        QTest::addColumn<QString>("expectedError");
        QTest::addColumn<QStringList>("expectedHeadings");
        const QStringList all{u"Highlights"_s, u"Tomorrow"_s, u"Follow-ups added to your inbox"_s};
        const std::optional<QString> none;
        row("a job done at the third poll shows the day", u"done"_s, 3, true, none, 3, QString(), all);
        row("a day without highlights shows no such heading", u"done"_s, 2, false, none, 2, QString(),
            all.mid(1));
        row("a job done at the last poll still shows the day", u"done"_s, 84, true, none, 84, QString(), all);
        row("a failed job shows the server's words", u"error"_s, 2, true,
            std::optional(u"The model is busy."_s), 2, u"The model is busy."_s, QStringList());
        row("a failed job without words gets the program's", u"error"_s, 1, true, none, 1,
            u"The end-of-day summary failed on the server."_s, QStringList());
        row("a job never registered ends at the fourth poll", u"unstarted"_s, 2, true, none, 4,
            u"The server did not start the end-of-day summary."_s, QStringList());
        row("a job never finished ends after 84 polls", u"endless"_s, 2, true, none, 84,
            u"Still running \u2014 the result will be on the board."_s, QStringList());
    }
    void theRunEndsAsTheServerAnswers() {
        QFETCH(QString, outcome);
        QFETCH(int, after);
        QFETCH(bool, withHighlights);
        QFETCH(std::optional<QString>, serverError);
        QFETCH(int, expectedPolls);
        QFETCH(QString, expectedError);
        QFETCH(QStringList, expectedHeadings);
        QVERIFY(m_platform->scriptWrap({outcome, after, withHighlights, serverError}));

        const std::shared_ptr<WrapModel> model = ranToTheEnd();
        QVERIFY(model);
        QCOMPARE(polls(), expectedPolls);
        QCOMPARE(model->error().value_or(QString()), expectedError);
        QCOMPARE(model->summary().has_value(), expectedError.isEmpty());
        QCOMPARE(headings(), expectedHeadings);
        if (expectedError.isEmpty()) {
            // A card without a title is shown by its id.
            QCOMPARE(model->cards(), (QList<WrapModel::Card>{{u"card-1"_s, u"Follow up on today's calls"_s},
                                                             {u"2"_s, u"2"_s}}));
            QCOMPARE(model->board(), QUrl(m_c->settings().home()->base() + u"/#/board"_s));
        }
    }

    void aFailedCallEndsTheRunAtOnce_data() {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("expectedPolls");
        QTest::addColumn<QString>("expectedError");
        row("a 404 on the work-day upload", u"POST"_s, workdayPath, 404, 0, needsUpdate);
        row("a 404 on the start", u"POST"_s, wrapPath, 404, 0, needsUpdate);
        row("a 404 on a poll", u"GET"_s, wrapPath, 404, 1, needsUpdate);
        row("another failure gives its description", u"GET"_s, wrapPath, 500, 1, u"busy (HTTP 500)"_s);
    }
    void aFailedCallEndsTheRunAtOnce() {
        QFETCH(QString, method);
        QFETCH(QString, path);
        QFETCH(int, status);
        QFETCH(int, expectedPolls);
        QFETCH(QString, expectedError);
        m_c->settings().setTrackWorkday(true);
        QVERIFY(m_platform->fault({path, status, R"({"error":"busy"})", "application/json", method}));

        const std::shared_ptr<WrapModel> model = ranToTheEnd();
        QVERIFY(model);
        QCOMPARE(model->error(), std::optional(expectedError));
        QCOMPARE(polls(), expectedPolls);
        // Nothing runs on after the failure.
        QCOMPARE(requestsTo(u"POST"_s, wrapPath), path == workdayPath ? 0 : 1);
    }

    // What a server may answer besides the statuses the flow knows, read past rather than failed on.
    void anOddReplyIsReadPast_data() {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("expectedPolls");
        QTest::addColumn<QList<WrapModel::Card>>("expectedCards");
        row("an unknown status polls on", QByteArray(R"({"status":"queued"})"), 3,
            QList<WrapModel::Card>{{u"card-1"_s, u"Follow up on today's calls"_s}, {u"2"_s, u"2"_s}});
        row("cards that are no list are none", QByteArray(R"({"status":"done","summary":"s","cards":"x"})"),
            1, QList<WrapModel::Card>());
        row("cards that are no objects are skipped",
            QByteArray(R"({"status":"done","summary":"s","cards":[7,"x",null,{"id":"c","title":"Call"}]})"),
            1, QList<WrapModel::Card>{{u"c"_s, u"Call"_s}});
    }
    void anOddReplyIsReadPast() {
        QFETCH(QByteArray, reply);
        QFETCH(int, expectedPolls);
        QFETCH(QList<WrapModel::Card>, expectedCards);
        QVERIFY(m_platform->fault({wrapPath, 200, reply, "application/json", u"GET"_s}));

        const std::shared_ptr<WrapModel> model = ranToTheEnd();
        QVERIFY(model);
        QCOMPARE(model->error(), std::nullopt);
        QCOMPARE(polls(), expectedPolls);
        QCOMPARE(model->cards(), expectedCards);
    }

    void theDayGoesUpFirstOnlyWhenTracked_data() {
        QTest::addColumn<bool>("tracked");
        QTest::addColumn<QStringList>("phases");
        const QString writing = u"Writing your end-of-day summary \u2014 this takes 1\u20133 minutes\u2026"_s;
        row("tracked: uploading, then writing", true,
            QStringList{u"Uploading today\u2019s activity\u2026"_s, writing});
        row("not tracked: straight to writing", false, QStringList{writing});
    }
    void theDayGoesUpFirstOnlyWhenTracked() {
        QFETCH(bool, tracked);
        QFETCH(QStringList, phases);
        m_c->settings().setTrackWorkday(tracked);
        QStringList seen;
        QObject watch;
        m_c->app().wrapUp();
        const std::shared_ptr<WrapModel> model = m_c->app().endOfDay().model();
        // The first phase is set before wrapUp returns; the rest follow.
        seen.append(model->phase());
        connect(model.get(), &WrapModel::changed, &watch, [&] {
            if (seen.last() != model->phase()) seen.append(model->phase());
        });
        QTRY_VERIFY_WITH_TIMEOUT(!model->running(), 30000);
        QCOMPARE(seen, phases);
        QCOMPARE(requestsTo(u"POST"_s, workdayPath), tracked ? 1 : 0);
        QCOMPARE(model->error(), std::nullopt);
    }

    // A second "End my day" takes the window over with a model of its own; the first run writes on to its
    // model, which only its task still holds, and both end whole.
    void aSecondRunTakesTheWindowOver() {
        QVERIFY(m_platform->scriptWrap({u"done"_s, 3}));
        QList<Seen> first;
        QObject watch;
        m_c->app().wrapUp();
        QWidget* window = m_c->app().windows().window(WrapView::windowKey);
        QVERIFY(window);
        std::weak_ptr<WrapModel> firstModel = m_c->app().endOfDay().model();
        connect(firstModel.lock().get(), &WrapModel::changed, &watch, [&, model = firstModel.lock().get()] {
            first.append({model->running(), model->summary(), model->error()});
        });

        m_c->app().wrapUp();
        const std::shared_ptr<WrapModel> second = m_c->app().endOfDay().model();
        QCOMPARE(m_c->app().windows().window(WrapView::windowKey), window);
        QCOMPARE(window->findChildren<WrapView*>().size(), 1);
        QCOMPARE(window->windowTitle(), u"End my day"_s);

        QTRY_VERIFY_WITH_TIMEOUT(!second->running(), 30000);
        QTRY_VERIFY_WITH_TIMEOUT(!first.isEmpty() && !first.last().running, 30000);
        QVERIFY(second->summary() && !second->error());
        QVERIFY(first.last().summary && !first.last().error);
        QTRY_VERIFY_WITH_TIMEOUT(firstModel.expired(), 10000);
        QCOMPARE(requestsTo(u"POST"_s, wrapPath), 2);
    }

    // Closing the window is not cancelling: the run polls on to its end, then its model goes.
    void closingTheWindowLeavesTheRunGoing() {
        QVERIFY(m_platform->scriptWrap({u"done"_s, 5}));
        m_c->app().wrapUp();
        const std::weak_ptr<WrapModel> model = m_c->app().endOfDay().model();
        QWidget* window = m_c->app().windows().window(WrapView::windowKey);
        QVERIFY(window);
        window->close();
        QVERIFY(!m_c->app().windows().window(WrapView::windowKey));
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
        QVERIFY(!m_c->app().endOfDay().model());
    }
};

QTEST_MAIN(TestEndOfDay)
#include "tst_end_of_day.moc"
