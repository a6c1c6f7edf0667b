#include "Controller.h"
#include "support/LocalPlatform.h"
#include "workday/CallDetector.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>

// The activity tick on the flows' clock: a break is offered only to someone at work with nothing else on
// screen, and the work day goes up at most every fifteen minutes, against the local platform.
class TestActivity : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;

    int workdayPosts() const {
        int n = 0;
        for (const QJsonValue r : m_platform->requests())
            n += r[QStringLiteral("method")].toString() == QLatin1String("POST") &&
                 r[QStringLiteral("path")].toString().endsWith(QLatin1String("/workday"));
        return n;
    }
    // Ticks as the timer does, every 15 seconds of the flows' clock.
    static void work(Controller& c, int minutes) {
        for (int i = 0; i < minutes * 4; ++i) {
            c.now = c.now.addSecs(15);
            c.app().activity().activityTick();
        }
    }
    static bool offersBreak(Controller& c) {
        return c.shownNudge() && c.shownNudge()->title.startsWith(QStringLiteral("Time for a break"));
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    void aBreakComesOnlyToSomeoneAtWorkWithAClearScreen_data() {
        QTest::addColumn<double>("idle");
        QTest::addColumn<QString>("busy"); // what holds the break back, then ends
        QTest::addColumn<bool>("offered");
        QTest::newRow("at work with a clear screen") << 0.0 << "" << true;
        QTest::newRow("away for five minutes") << 300.0 << "" << false;
        QTest::newRow("another nudge is up") << 0.0 << "nudge" << false;
        QTest::newRow("a call goes on that nobody records") << 0.0 << "call" << false;
    }
    void aBreakComesOnlyToSomeoneAtWorkWithAClearScreen() {
        QFETCH(double, idle);
        QFETCH(QString, busy);
        QFETCH(bool, offered);
        Controller c(m_platform->base());
        // The daily reminders fall due at their minute of the real day; off, the break is all that can come.
        c.settings().setWorkoutOn(false);
        c.settings().setWrapOn(false);
        c.settings().setBreakMinutes(2);
        static_cast<FakeIdleSource&>(*c.services.idle).seconds = idle;
        if (busy == QLatin1String("nudge"))
            c.services.nudges->show(
                {.kind = QStringLiteral("upload"), .priority = 3, .title = QStringLiteral("Other")});
        if (busy == QLatin1String("call")) {
            c.windows->list = {{4242, QStringLiteral("Zoom"), QStringLiteral("Zoom Meeting"),
                                QStringLiteral("us.zoom.Zoom")}};
            c.audio->state = os::InputState{QStringLiteral("mic"), {{4242, QStringLiteral("us.zoom.Zoom")}}};
            c.app().detector().tick();
            QVERIFY(c.press(QStringLiteral("Not now")));
        }
        work(c, 3);
        QCOMPARE(offersBreak(c), offered);
        if (!busy.isEmpty()) {
            // The coach counted all along: the break comes with the first tick after the nudge or the call.
            c.services.nudges->dismiss(QStringLiteral("upload"));
            c.audio->state = os::InputState{QStringLiteral("mic"), {}};
            c.app().detector().tick();
            c.now = c.now.addSecs(15);
            c.app().activity().activityTick();
            QVERIFY(offersBreak(c));
            QCOMPARE(c.shownNudge()->title, QStringLiteral("Time for a break \u2014 3 min straight"));
        }
    }

    // Reminders that fall due together come one per tick: break, then workout, then the end of the day.
    void oneReminderAtATimeInItsOrder() {
        Controller c(m_platform->base());
        QVERIFY(c.signInAndLoadProjects());
        // The first tick starts the stretch; the fifth, at the daily reminders' minute, finds all three due.
        c.now = c.now.addSecs(45 - c.now.time().second());
        const QTime local = c.now.toLocalTime().time();
        const int minute = local.hour() * 60 + local.minute() + 2;
        if (minute > 23 * 60 + 50) QSKIP("too close to midnight for a same-day reminder");
        c.settings().setBreakMinutes(1);
        c.settings().setWorkoutMinute(minute);
        c.settings().setWrapMinute(minute);
        QSignalSpy endDay(&c.app().activity(), &Activity::endDayWanted);
        work(c, 1);
        QVERIFY(!c.shownNudge());
        for (const QString& title : {QStringLiteral("Time for a break \u2014 1 min straight"),
                                     QStringLiteral("Workout time"), QStringLiteral("End your day?")}) {
            c.now = c.now.addSecs(15);
            c.app().activity().activityTick();
            QVERIFY(c.shownNudge());
            QCOMPARE(c.shownNudge()->title, title);
            QVERIFY(c.press(c.shownNudge()->buttons.back().title));
        }
        QCOMPARE(endDay.size(), 1);
        // Each daily reminder shows once a day; the break taken holds the next one back for five minutes.
        work(c, 2);
        QVERIFY(!c.shownNudge());
    }

    void theWorkDayGoesUpAtMostEveryFifteenMinutes() {
        Controller c(m_platform->base());
        QVERIFY(c.signInAndLoadProjects());
        c.settings().setTrackWorkday(true);
        static_cast<FakeWindowSystem&>(*c.services.windows).active =
            os::Window{4242, QStringLiteral("Editor"), QStringLiteral("notes.txt"),
                       QStringLiteral("org.example.Editor")};
        QSignalSpy menu(&c.app(), &AppDelegate::menuRebuilt);

        work(c, 15); // the fifteenth minute's tick sends the day, none before it
        QTRY_VERIFY_WITH_TIMEOUT(!menu.isEmpty(), 10000);
        QCOMPARE(workdayPosts(), 1);

        // Fourteen more minutes send nothing; the fifteenth does, and only once.
        menu.clear();
        work(c, 15);
        QTRY_VERIFY_WITH_TIMEOUT(!menu.isEmpty(), 10000);
        QCOMPARE(workdayPosts(), 2);
    }
};

QTEST_MAIN(TestActivity)
#include "tst_activity.moc"
