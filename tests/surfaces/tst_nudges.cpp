#include "fakes/RecordingNudgeDisplay.h"
#include "support/Rows.h"
#include "surfaces/Nudges.h"
#include "surfaces/ScreenNudgeDisplay.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using testsupport::row;

// The one nudge card: who wins the screen, what a time-out and a button do, where the panel stands.
class TestNudges : public QObject {
    Q_OBJECT
    RecordingNudgeDisplay* m_display = nullptr;
    std::unique_ptr<Nudges> m_nudges;
    int m_timedOut = 0;

    // A nudge whose time-out, when it runs, counts and finds the nudge gone already.
    Nudge nudge(const QString& kind, int priority = 0,
                std::optional<std::chrono::milliseconds> timeout = {}) {
        Nudge n;
        n.kind = kind;
        n.priority = priority;
        n.title = kind;
        n.timeout = timeout;
        n.onTimeout = [this] {
            ++m_timedOut;
            QVERIFY(!m_nudges->showing());
        };
        return n;
    }
    // Waits past `after`: timers fire in deadline order, so whatever was due earlier has run by then.
    static void waitPast(std::chrono::milliseconds after) {
        bool fired = false;
        QTimer::singleShot(after, [&] { fired = true; });
        QVERIFY(QTest::qWaitFor([&] { return fired; }, 5000));
    }

private slots:
    void init() {
        auto display = std::make_unique<RecordingNudgeDisplay>();
        m_display = display.get();
        m_nudges = std::make_unique<Nudges>(std::move(display));
        m_timedOut = 0;
    }
    void cleanup() { m_nudges.reset(); }

    void priorityDecides_data() {
        QTest::addColumn<int>("onScreen");
        QTest::addColumn<int>("incoming");
        QTest::addColumn<bool>("replaces");
        row("a lower priority is dropped and never times out", 5, 1, false);
        row("an equal priority replaces", 5, 5, true);
        row("a higher priority replaces", 1, 3, true);
    }
    void priorityDecides() {
        QFETCH(int, onScreen);
        QFETCH(int, incoming);
        QFETCH(bool, replaces);
        m_nudges->show(nudge(u"first"_s, onScreen));
        m_nudges->show(nudge(u"second"_s, incoming, 10ms));
        QCOMPARE(m_nudges->kind().value_or(QString()), replaces ? u"second"_s : u"first"_s);
        QCOMPARE(m_nudges->priority(), replaces ? incoming : onScreen);
        QCOMPARE(m_display->shown.size(), replaces ? 2u : 1u);
        waitPast(50ms);
        QCOMPARE(m_timedOut, replaces ? 1 : 0);
    }

    // Whatever ends a nudge, its time-out action runs at most once, and only for the time-out or when asked.
    void theTimeoutActionRunsOnlyWhenItEndsTheNudge_data() {
        QTest::addColumn<QString>("end");
        QTest::addColumn<bool>("stays"); // on screen right after
        QTest::addColumn<int>("timedOut");
        row("the time-out ends it and runs its action once", "", true, 1);
        row("a nudge of equal priority replaces it without the action", "replace", true, 0);
        row("its close button ends it without the action", "close", false, 0);
        row("dismissing its kind ends it without the action", "dismiss kind", false, 0);
        row("dismissing another kind leaves it to its time-out", "dismiss other", true, 1);
        row("a plain dismiss skips the action", "dismiss", false, 0);
        row("a dismiss that asks for the action runs it once", "dismiss run", false, 1);
    }
    void theTimeoutActionRunsOnlyWhenItEndsTheNudge() {
        QFETCH(QString, end);
        QFETCH(bool, stays);
        m_nudges->show(nudge(u"tip"_s, 2, 10ms));
        if (end == QLatin1String("replace")) m_nudges->show(nudge(u"next"_s, 2));
        if (end == QLatin1String("close")) m_display->last().close();
        if (end == QLatin1String("dismiss kind")) m_nudges->dismiss(u"tip"_s);
        if (end == QLatin1String("dismiss other")) m_nudges->dismiss(u"call"_s);
        if (end == QLatin1String("dismiss")) m_nudges->dismiss();
        if (end == QLatin1String("dismiss run")) {
            m_nudges->dismiss(Nudges::TimeoutAction::run);
            m_nudges->dismiss(Nudges::TimeoutAction::run); // nothing left to run
        }
        QCOMPARE(m_nudges->showing(), stays);
        waitPast(50ms);
        QTEST(m_timedOut, "timedOut");
        QCOMPARE(m_nudges->showing(), end == QLatin1String("replace"));
        QCOMPARE(m_display->onScreen, m_nudges->showing());
        if (!m_nudges->showing()) QCOMPARE(m_nudges->priority(), 0); // any nudge may come next
    }

    void buttonDismissesThenActsAndCancelsTheTimeout() {
        int pressed = 0;
        Nudge n = nudge(u"break"_s, 1, 20ms);
        n.buttons = {{u"Taking it"_s, true, [&] {
                          ++pressed;
                          QVERIFY(!m_nudges->showing());
                          m_nudges->show(nudge(u"next"_s)); // an action may raise the next nudge
                      }}};
        m_nudges->show(std::move(n));
        m_display->last().buttons.at(0).action();
        QCOMPARE(pressed, 1);
        waitPast(60ms);
        QCOMPARE(m_timedOut, 0);
        QCOMPARE(m_nudges->kind().value_or(QString()),
                 u"next"_s); // the old time-out does not end the new nudge
    }

    void kindGivesTheTag_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<Tone>("tone");
        row("upload speaks of this computer", "upload", "Saved on this computer", Tone::amber);
        row("route is a saved session", "route", "Session saved", Tone::accent);
        row("stream error", "streamError", "Session stopped", Tone::red);
        row("the coach", "wrap", "Coach", Tone::silver);
        row("voice card", "voiceCard", "Voice", Tone::accent);
        row("a kind without a tag", "todo", QString(), Tone::plain);
    }
    void kindGivesTheTag() {
        QFETCH(QString, kind);
        m_nudges->show(nudge(kind));
        QTEST(m_display->last().tag.value_or(QString()), "tag");
        QTEST(m_display->last().tone, "tone");
    }

    void avoidIsAskedAtEachShow() {
        QRect avoid(100, 0, 50, 50);
        m_nudges->setAvoid([&]() -> std::optional<QRect> { return avoid; });
        m_nudges->show(nudge(u"a"_s));
        avoid.moveTop(70);
        m_nudges->show(nudge(u"b"_s));
        QCOMPARE(m_display->shown.at(1).avoid.value_or(QRect()), QRect(100, 70, 50, 50));
    }

    void placement_data() {
        QTest::addColumn<QRect>("available");
        QTest::addColumn<std::optional<QRect>>("avoid");
        QTest::addColumn<QPoint>("origin");
        const QRect screen(0, 30, 1920, 1050); // a panel of 30 at the top
        row("top right, reaching past the edges", screen, std::optional<QRect>(), QPoint(1544, 22));
        row("an area elsewhere changes nothing", screen, std::optional<QRect>(QRect(0, 500, 300, 200)),
            QPoint(1544, 22));
        row("below an area it would cover", screen, std::optional<QRect>(QRect(1500, 30, 400, 120)),
            QPoint(1544, 142));
        row("a second screen to the right", QRect(1920, 0, 1280, 1024), std::optional<QRect>(),
            QPoint(2824, -8));
    }
    void placement() {
        QFETCH(QRect, available);
        QFETCH(std::optional<QRect>, avoid);
        QTEST(nudgeOrigin(available, QSize(380, 150), avoid), "origin");
    }
};

QTEST_GUILESS_MAIN(TestNudges)
#include "tst_nudges.moc"
