#include "Controller.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;

// Live tips on the controller against the local platform over real HTTP, with a recording that records
// nothing and a clock the test moves: when a question goes, what an answer or a failure does to the next
// one, which tips show with which buttons, and where the question goes.
class TestLiveTips : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<Controller> c;
    FakeCapture* m_capture = nullptr;

    LiveTips& tips() { return c->app().tips(); }
    int requestsTo(const QString& tail) {
        int n = 0;
        for (const QJsonValue r : m_platform->requests())
            n += r[u"path"_s].toString().endsWith(tail);
        return n;
    }
    // The home project's live-tip route, where the questions go until a project is suggested.
    QString coachPath() { return c->settings().homeAPI()->url(u"/api/coach/live"_s).path(); }
    bool startRecording() {
        c->app().tuneIn().startRecording(std::nullopt);
        if (!QTest::qWaitFor([&] { return c->app().tuneIn().state() == TuneIn::State::recording; }, 5000))
            return false;
        m_capture = c->captures.last;
        tips().tick(); // the recording's first second: the first question waits a minute from here
        return true;
    }
    void read(const QString& text) {
        m_capture->ocr.append({m_capture->at, u"Safari"_s, text});
        m_capture->at += 1;
    }
    // Moves the clock, ticks, and when that asked, waits for the answer; whether it asked.
    bool tickAfter(int seconds) {
        c->now = c->now.addSecs(seconds);
        const int before = requestsTo(u"/coach/live"_s);
        tips().tick();
        if (!tips().busy()) return false;
        return QTest::qWaitFor([&] { return !tips().busy(); }, 10000) &&
               requestsTo(u"/coach/live"_s) == before + 1;
    }
private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        c = std::make_unique<Controller>(m_platform->base());
        QVERIFY(c->signInAndLoadProjects());
        QVERIFY(startRecording());
    }
    void cleanup() {
        c.reset();
        m_platform.reset();
    }

    void theNextQuestionWaitsAsTheAnswerSays_data() {
        QTest::addColumn<QJsonValue>("nextAfter"); // null: left out
        QTest::addColumn<int>("failure");          // an HTTP status the question gets; 0: none
        QTest::addColumn<int>("wait");             // seconds until the next question; 0: never
        row("a wish of 5 s waits the shortest 30 s", QJsonValue(5), 0, 30);
        row("a wish of 90 s is kept", QJsonValue(90), 0, 90);
        row("an answer without a wish waits a minute", QJsonValue(), 0, 60);
        row("a wish as text counts as none", QJsonValue(u"soon"_s), 0, 60);
        row("a negative wish waits the shortest 30 s", QJsonValue(-4), 0, 30);
        row("a failed question waits two minutes", QJsonValue(5), 500, 120);
        row("a workspace without live tips is not asked again in this recording", QJsonValue(5), 404, 0);
    }
    void theNextQuestionWaitsAsTheAnswerSays() {
        QFETCH(QJsonValue, nextAfter);
        QFETCH(int, failure);
        QFETCH(int, wait);
        QVERIFY(m_platform->setCoach({{u"next_after_s"_s, nextAfter}}));
        if (failure == 404)
            QVERIFY(m_platform->setCoach({{u"closed"_s, true}}));
        else if (failure)
            QVERIFY(m_platform->fault({.path = coachPath(), .status = failure}));

        // No new text: no question, whatever the time.
        QVERIFY(!tickAfter(60));
        read(u"Quarterly numbers"_s);
        QVERIFY(tickAfter(0));
        read(u"More numbers"_s);
        const int shortOf = wait ? wait - 1 : 600;
        QVERIFY(!tickAfter(shortOf));
        if (wait) QVERIFY(tickAfter(1));

        if (failure != 404) return;
        // Off for that recording only.
        QVERIFY(m_platform->setCoach({{u"closed"_s, false}}));
        c->app().tuneIn().stopRecording();
        QVERIFY(QTest::qWaitFor([&] { return c->app().tuneIn().state() == TuneIn::State::idle; }, 5000));
        QVERIFY(startRecording());
        read(u"Fresh text"_s);
        QVERIFY(tickAfter(60));
    }

    void aTipShowsWithWhatItOffers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title"); // empty: no tip
        QTest::addColumn<QStringList>("buttons");
        row("a tip with a card offers to add it", u"Their Pricing page"_s,
            u"Their pricing leads with the annual plan"_s, QStringList{u"Got it"_s, u"Add as card\u2026"_s});
        row("a tip without a card only says it", u"The leaderboard"_s,
            u"The leaderboard filter shipped last week"_s, QStringList{u"Got it"_s});
        row("an answer without a tip shows nothing", u"Weather today"_s, u""_s, QStringList{});
    }
    void aTipShowsWithWhatItOffers() {
        QFETCH(QString, text);
        QFETCH(QString, title);
        QFETCH(QStringList, buttons);
        read(text);
        QVERIFY(tickAfter(60));
        const QList<HUDModel::Row>& feed = c->hud->model().feed();
        QCOMPARE(!feed.isEmpty() && feed.first().kind == FeedItem::Kind::tip, !title.isEmpty());
        QCOMPARE(c->shownNudge() ? c->shownNudge()->title : QString(), title);
        if (title.isEmpty()) return;
        QStringList shown;
        QString primary;
        for (const NudgeButton& b : c->shownNudge()->buttons) {
            shown << b.title;
            if (b.primary) primary = b.title;
        }
        QCOMPARE(shown, buttons);
        QCOMPARE(primary, buttons.last());
        if (buttons.size() < 2) return;
        QVERIFY(c->shownNudge()->message->endsWith(u"\nCard: Compare our pricing page with theirs"_s));
        QVERIFY(c->press(u"Add as card\u2026"_s));
        QCOMPARE(c->shownNudge()->title, u"Where does this card go?"_s);
    }

    void aBlankTipIsNoTip() {
        QVERIFY(m_platform->fault(
            {.path = coachPath(),
             .status = 200,
             .body = "{\"tip\": {\"title\": \"  \", \"body\": \"b\"}, \"next_after_s\": 30}"}));
        read(u"Their pricing page"_s);
        QVERIFY(tickAfter(60));
        QVERIFY(!c->shownNudge());
        QVERIFY(c->hud->model().feed().isEmpty() ||
                c->hud->model().feed().first().kind != FeedItem::Kind::tip);
    }

    void theProjectsAreScoredUntilOneIsSuggested() {
        // A call with two of Brevik's people: the first question scores every project, the next none.
        m_capture->markCall(u"Zoom"_s);
        m_capture->session()->meta.participants = {u"Ivo"_s, u"Tess"_s};
        read(u"Their pricing page"_s);
        QVERIFY(tickAfter(60));
        const int scored = requestsTo(u"/route/score"_s);
        QVERIFY(scored >= 1);
        QVERIFY(m_platform->requests().last()[u"path"_s].toString().contains(u"brevik"_s));
        read(u"More pricing"_s);
        QVERIFY(tickAfter(30));
        QCOMPARE(requestsTo(u"/route/score"_s), scored);
    }
};

QTEST_MAIN(TestLiveTips)
#include "tst_live_tips.moc"
