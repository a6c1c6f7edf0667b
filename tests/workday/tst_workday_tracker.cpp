#include "core/Privacy.h"
#include "fakes/FakeDesktop.h"
#include "support/Await.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"
#include "workday/Windows.h"
#include "workday/WorkdayTracker.h"

#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

namespace {

using Title = std::optional<QString>;

QDateTime at(int hour, int minute, int second = 0, int day = 4) {
    return QDateTime(QDate(2026, 3, day), QTime(hour, minute, second)); // local time, as days are
}

} // namespace

// Work-day spans: privacy, merging, the day file, sampling and the upload to the local platform.
class TestWorkdayTracker : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    FakeWindowSystem m_windowSystem;
    FakeIdleSource m_idle;
    Windows m_windows{m_windowSystem};

    void front(const QString& appId, const QString& owner, const QString& title) {
        m_windowSystem.active = os::Window{7, owner, title, appId};
        m_windowSystem.list = {*m_windowSystem.active};
    }
    std::unique_ptr<WorkdayTracker> tracker(const QDateTime& now) {
        return std::make_unique<WorkdayTracker>(m_windows, m_idle, m_dir.path(), [now] { return now; });
    }
    QString dayFile() const { return WorkdayTracker::file(u"2026-03-04"_s, m_dir.path()); }

private slots:
    void init() {
        QVERIFY(m_dir.isValid());
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
        m_idle.seconds = 0;
        m_windowSystem.knows = true;
        front(u"org.gnome.TextEditor"_s, u"Text Editor"_s, u"notes.txt"_s);
    }

    void classify_data() {
        QTest::addColumn<QString>("app");
        QTest::addColumn<QString>("appId");
        QTest::addColumn<Title>("title");
        QTest::addColumn<bool>("includeTitles");
        QTest::addColumn<QString>("storedApp");
        QTest::addColumn<Title>("storedTitle");
        const QString hidden = Privacy::privateApp;
        row("1Password by name", "1Password", "x", Title("Vault"), true, hidden, Title());
        row("a 1Password bundle named Vault", "Vault", "com.1password.1password", Title(), true, hidden,
            Title());
        row("a private browsing window hides the app too", "Safari", "com.apple.Safari",
            Title("Bank \u2014 Private Browsing"), true, hidden, Title());
        row("a Chrome incognito window", "Google Chrome", "google-chrome",
            Title("Bank - Google Chrome (Incognito)"), true, hidden, Title());
        row("titles off keep the app", "Text Editor", "org.gnome.TextEditor", Title("notes"), false,
            "Text Editor", Title());
        row("a title is trimmed", "Text Editor", "x", Title("  notes \n"), true, "Text Editor",
            Title("notes"));
        row("a blank title is none", "Text Editor", "x", Title("   "), true, "Text Editor", Title());
    }
    void classify() {
        QFETCH(QString, app);
        QFETCH(QString, appId);
        QFETCH(Title, title);
        QFETCH(bool, includeTitles);
        QFETCH(QString, storedApp);
        QFETCH(Title, storedTitle);
        QCOMPARE(Privacy::classify(app, appId, title, includeTitles), std::make_pair(storedApp, storedTitle));
    }

    void merge_data() {
        QTest::addColumn<QList<int>>("seconds");  // sample times after 10:00
        QTest::addColumn<QStringList>("titles");  // one per sample
        QTest::addColumn<QList<int>>("expected"); // start and end of each span, after 10:00
        row("same title at 15 s steps is one span", QList<int>{0, 15, 30}, QStringList{"a", "a", "a"},
            QList<int>{0, 45});
        row("a title change splits", QList<int>{0, 15, 30}, QStringList{"a", "a", "b"},
            QList<int>{0, 30, 30, 45});
        row("7.5 s late still merges", QList<int>{0, 22}, QStringList{"a", "a"}, QList<int>{0, 37});
        row("a gap beyond half the interval splits", QList<int>{0, 23}, QStringList{"a", "a"},
            QList<int>{0, 15, 23, 38});
        row("an early sample with a new title cuts back", QList<int>{0, 10}, QStringList{"a", "b"},
            QList<int>{0, 10, 10, 25});
        row("a clock set back before the last span drops it", QList<int>{100, 50}, QStringList{"a", "b"},
            QList<int>{50, 65});
    }
    void merge() {
        QFETCH(QList<int>, seconds);
        QFETCH(QStringList, titles);
        QFETCH(QList<int>, expected);
        const QDateTime base = at(10, 0);
        QList<WorkSpan> spans;
        for (int i = 0; i < seconds.size(); ++i)
            WorkdayTracker::merge(spans, base.addSecs(seconds[i]), u"App"_s, titles[i]);
        QList<int> got;
        for (const WorkSpan& s : spans)
            got << int(base.secsTo(s.start)) << int(base.secsTo(s.end));
        QCOMPARE(got, expected);
    }

    // One JSON object a line; a private window's span keeps no title, and is sent with a null one.
    void aSpanSurvivesTheDayFile() {
        auto t = tracker(at(10, 0));
        t->sample(true, at(10, 0));
        front(u"bitwarden"_s, u"Bitwarden"_s, u"Vault"_s);
        t->sample(true, at(10, 0, 15));
        t->flush();
        QFile file(dayFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        QCOMPARE(lines.size(), 3); // two spans and the final line feed
        QCOMPARE(QJsonDocument::fromJson(lines[0]).object().value("title").toString(), u"notes.txt"_s);
        QCOMPARE(WorkdayTracker::load(u"2026-03-04"_s, m_dir.path()), t->spans());
        QCOMPARE(t->spans().last().app, Privacy::privateApp);
        const QJsonObject sent = t->spans().last().dict();
        QVERIFY(sent.value("title").isNull());
        QVERIFY(sent.value("start").toString().endsWith(u".000Z"_s));
    }

    void everySaveQueuedBeforeTheTrackerGoesIsWritten() {
        auto t = tracker(at(10, 0));
        for (int i = 0; i < 40; ++i) {
            front(u"x"_s, u"Editor"_s, u"file %1"_s.arg(i));
            t->sample(true, at(10, 0).addSecs(15 * i));
        }
        const QList<WorkSpan> spans = t->spans();
        t.reset(); // no flush: the writer finishes its queue, in order
        QCOMPARE(WorkdayTracker::load(u"2026-03-04"_s, m_dir.path()), spans);
    }

    void anUntitledFocusedWindowTakesItsAppsFirstTitle() {
        m_windowSystem.active->title.clear();
        m_windowSystem.list = {os::Window{8, "Other", "other", "y"},
                               os::Window{7, "Text Editor", "draft.txt", "x"}};
        auto t = tracker(at(10, 0));
        t->sample(true, at(10, 0));
        QCOMPARE(t->spans().first().title, Title("draft.txt"));
    }

    void aDamagedLineCostsOnlyItself() {
        QFile file(dayFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"app":"A","end":"2026-03-04T09:00:15Z","start":"2026-03-04T09:00:00Z"})"
                   "\n{\"app\":\"B\",\"end\":\n"
                   R"({"app":"C","end":"2026-03-04T09:01:15Z","start":"not a date"})"
                   "\n\n"
                   R"({"app":"D","end":"2026-03-04T09:02:15Z","start":"2026-03-04T09:02:00Z","title":"x"})");
        file.close();
        const QList<WorkSpan> spans = WorkdayTracker::load(u"2026-03-04"_s, m_dir.path());
        QCOMPARE(spans.size(), 2);
        QCOMPARE(spans[0].app + spans[1].app, u"AD"_s);
    }

    void midnightStartsTheNextDaysList() {
        auto t = tracker(at(23, 59, 50));
        t->sample(true, at(23, 59, 50));
        t->sample(true, at(0, 0, 5, 5));
        QCOMPARE(t->day(), u"2026-03-05"_s);
        QCOMPARE(t->spans().size(), 1);
        QCOMPARE(t->spans().first().start, at(0, 0, 5, 5));
        QCOMPARE(WorkdayTracker::load(u"2026-03-04"_s, m_dir.path()).size(), 1);
    }

    void noSampleIsTaken_data() {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<double>("idle");
        QTest::addColumn<bool>("nothingInFront");
        row("while paused", true, 0.0, false);
        row("from 300 s of idle on", false, 300.0, false);
        row("with nothing in front", false, 0.0, true);
    }
    void noSampleIsTaken() {
        QFETCH(bool, paused);
        QFETCH(double, idle);
        QFETCH(bool, nothingInFront);
        auto t = tracker(at(10, 0));
        if (paused) t->setPausedUntil(at(11, 0));
        m_idle.seconds = idle;
        if (nothingInFront) m_windowSystem.active.reset();
        t->sample(true, at(10, 0));
        t->flush();
        QVERIFY(t->spans().isEmpty());
        QVERIFY(!QFile::exists(dayFile()));
    }

    // Most Wayland desktops tell no program which app is in front: the time at work counts all the same.
    void aDesktopThatHidesTheAppInFront_data() {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<double>("idle");
        QTest::addColumn<int>("trackedSeconds"); // of the one span from 10:00; 0: none
        row("three samples at work make one span of no app's name", false, 0.0, 45);
        row("idle time is skipped still", false, 300.0, 0);
        row("a pause holds still", true, 0.0, 0);
    }
    void aDesktopThatHidesTheAppInFront() {
        QFETCH(bool, paused);
        QFETCH(double, idle);
        QFETCH(int, trackedSeconds);
        m_windowSystem.knows = false;
        m_windowSystem.active.reset();
        m_windowSystem.list.clear();
        m_idle.seconds = idle;
        auto t = tracker(at(10, 0));
        if (paused) t->setPausedUntil(at(11, 0));
        for (int i = 0; i < 3; ++i)
            t->sample(true, at(10, 0).addSecs(15 * i));
        const QList<WorkSpan> expected = trackedSeconds == 0
                                             ? QList<WorkSpan>{}
                                             : QList<WorkSpan>{{at(10, 0), at(10, 0, trackedSeconds),
                                                                WorkdayTracker::unknownApp, Title()}};
        QCOMPARE(t->spans(), expected);
    }

    void aMissingEndpointNeedsAnUpdateUntilASuccess() {
        LocalPlatform platform;
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        QNetworkAccessManager network;
        const API home(network, platform.base() + u"/app/p/brevik"_s, u"dev-key"_s,
                       platform.base() + u"/api/v1/p/brevik"_s);
        auto t = tracker(at(10, 0));
        t->sample(true, at(10, 0));
        QVERIFY(platform.setGeneration(u"old"_s));
        QVERIFY_THROWS_EXCEPTION(APIError, testsupport::await(t->upload(home)));
        QVERIFY(t->needsUpdate());
        QVERIFY(t->lastError().has_value());
        QCOMPARE(t->lastUpload(), std::nullopt);
        QVERIFY(platform.setGeneration(u"current"_s));
        QCOMPARE(testsupport::await(t->upload(home)), 1);
        QVERIFY(!t->needsUpdate());
        QCOMPARE(t->lastError(), std::nullopt);
        QCOMPARE(t->lastUpload(), at(10, 0));
    }
};

QTEST_GUILESS_MAIN(TestWorkdayTracker)
#include "tst_workday_tracker.moc"
