#include "fakes/RecordingNudgeDisplay.h"
#include "surfaces/Nudges.h"
#include "surfaces/ScreenNudgeDisplay.h"

#include <QTest>

using namespace std::chrono_literals;

// The one nudge card: who wins the screen, what a time-out and a button do, where the panel stands.
class TestNudges : public QObject {
    Q_OBJECT
    RecordingNudgeDisplay* m_display = nullptr;
    std::unique_ptr<Nudges> m_nudges;

    static Nudge nudge(const QString& kind, int priority = 0) {
        Nudge n;
        n.kind = kind;
        n.priority = priority;
        n.title = kind;
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
    }
    void cleanup() { m_nudges.reset(); }

    void priorityDecides_data() {
        QTest::addColumn<int>("onScreen");
        QTest::addColumn<int>("incoming");
        QTest::addColumn<bool>("replaces");
        QTest::newRow("a lower priority is dropped") << 5 << 1 << false;
        QTest::newRow("an equal priority replaces") << 5 << 5 << true;
        QTest::newRow("a higher priority replaces") << 1 << 3 << true;
    }
    void priorityDecides() {
        QFETCH(int, onScreen);
        QFETCH(int, incoming);
        QFETCH(bool, replaces);
        m_nudges->show(nudge(QStringLiteral("first"), onScreen));
        int timedOut = 0;
        Nudge next = nudge(QStringLiteral("second"), incoming);
        next.timeout = 10ms;
        next.onTimeout = [&] { ++timedOut; };
        m_nudges->show(std::move(next));

        QCOMPARE(m_nudges->kind().value_or(QString()),
                 replaces ? QStringLiteral("second") : QStringLiteral("first"));
        QCOMPARE(m_nudges->priority(), replaces ? incoming : onScreen);
        QCOMPARE(m_display->shown.size(), replaces ? 2u : 1u);
        if (!replaces) {
            waitPast(50ms);
            QCOMPARE(timedOut, 0); // a dropped nudge schedules no time-out
        }
    }

    void replacedNudgeNeitherTimesOutNorRunsItsAction() {
        int timedOut = 0;
        Nudge first = nudge(QStringLiteral("first"), 2);
        first.timeout = 10ms;
        first.onTimeout = [&] { ++timedOut; };
        m_nudges->show(std::move(first));
        m_nudges->show(nudge(QStringLiteral("second"), 2));
        waitPast(50ms);
        QCOMPARE(timedOut, 0);
        QVERIFY(m_nudges->showing());
    }

    void timeoutEndsTheNudgeAndRunsOnce() {
        int timedOut = 0;
        Nudge n = nudge(QStringLiteral("tip"));
        n.timeout = 10ms;
        n.onTimeout = [&] {
            ++timedOut;
            QVERIFY(!m_nudges->showing()); // already gone when its action runs
        };
        m_nudges->show(std::move(n));
        QVERIFY(QTest::qWaitFor([&] { return timedOut > 0; }, 5000));
        QVERIFY(!m_display->onScreen);
        waitPast(50ms);
        QCOMPARE(timedOut, 1);
    }

    void buttonDismissesThenActsAndCancelsTheTimeout() {
        int timedOut = 0, pressed = 0;
        Nudge n = nudge(QStringLiteral("break"), 1);
        n.timeout = 20ms;
        n.onTimeout = [&] { ++timedOut; };
        n.buttons = {{QStringLiteral("Taking it"), true, [&] {
                          ++pressed;
                          QVERIFY(!m_nudges->showing());
                          m_nudges->show(nudge(QStringLiteral("next"))); // an action may raise the next nudge
                      }}};
        m_nudges->show(std::move(n));
        m_display->last().buttons.at(0).action();
        QCOMPARE(pressed, 1);
        QCOMPARE(m_nudges->kind().value_or(QString()), QStringLiteral("next"));
        waitPast(60ms);
        QCOMPARE(timedOut, 0);
        QCOMPARE(m_nudges->kind().value_or(QString()),
                 QStringLiteral("next")); // the old time-out does not end the new nudge
    }

    void closeButtonSkipsTheTimeoutAction() {
        int timedOut = 0;
        Nudge n = nudge(QStringLiteral("tip"));
        n.timeout = 10ms;
        n.onTimeout = [&] { ++timedOut; };
        m_nudges->show(std::move(n));
        m_display->last().close();
        QVERIFY(!m_nudges->showing());
        waitPast(50ms);
        QCOMPARE(timedOut, 0);
    }

    void dismissOfAKind_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("ends");
        QTest::newRow("the kind on screen ends it") << QStringLiteral("callEnded") << true;
        QTest::newRow("another kind leaves it") << QStringLiteral("call") << false;
    }
    void dismissOfAKind() {
        QFETCH(QString, kind);
        QFETCH(bool, ends);
        int timedOut = 0;
        Nudge n = nudge(QStringLiteral("callEnded"), 3);
        n.onTimeout = [&] { ++timedOut; };
        m_nudges->show(std::move(n));
        m_nudges->dismiss(kind);
        QCOMPARE(m_nudges->showing(), !ends);
        QCOMPARE(m_display->onScreen, !ends);
        QCOMPARE(m_nudges->priority(), ends ? 0 : 3);
        QCOMPARE(timedOut, 0);
    }

    void dismissRunsTheTimeoutActionOnlyWhenAsked_data() {
        QTest::addColumn<bool>("run");
        QTest::newRow("skip") << false;
        QTest::newRow("run") << true;
    }
    void dismissRunsTheTimeoutActionOnlyWhenAsked() {
        QFETCH(bool, run);
        int timedOut = 0;
        Nudge n = nudge(QStringLiteral("route"));
        n.onTimeout = [&] { ++timedOut; };
        m_nudges->show(std::move(n));
        m_nudges->dismiss(run ? Nudges::TimeoutAction::run : Nudges::TimeoutAction::skip);
        m_nudges->dismiss(Nudges::TimeoutAction::run); // nothing left to run
        QCOMPARE(timedOut, run ? 1 : 0);
    }

    void kindGivesTheTag_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<Tone>("tone");
        QTest::newRow("upload speaks of this computer") << "upload"
                                                        << "Saved on this computer" << Tone::amber;
        QTest::newRow("route is a saved session") << "route"
                                                  << "Session saved" << Tone::accent;
        QTest::newRow("stream error") << "streamError"
                                      << "Session stopped" << Tone::red;
        QTest::newRow("the coach") << "wrap"
                                   << "Coach" << Tone::silver;
        QTest::newRow("voice card") << "voiceCard"
                                    << "Voice" << Tone::accent;
        QTest::newRow("a kind without a tag") << "todo" << QString() << Tone::plain;
    }
    void kindGivesTheTag() {
        QFETCH(QString, kind);
        QFETCH(QString, tag);
        QFETCH(Tone, tone);
        m_nudges->show(nudge(kind));
        const NudgeView& view = m_display->last();
        QCOMPARE(view.tag.value_or(QString()), tag);
        QCOMPARE(view.tone, tone);
    }

    void avoidIsAskedAtEachShow() {
        QRect avoid(100, 0, 50, 50);
        m_nudges->setAvoid([&]() -> std::optional<QRect> { return avoid; });
        m_nudges->show(nudge(QStringLiteral("a")));
        avoid.moveTop(70);
        m_nudges->show(nudge(QStringLiteral("b")));
        QCOMPARE(m_display->shown.at(0).avoid.value_or(QRect()), QRect(100, 0, 50, 50));
        QCOMPARE(m_display->shown.at(1).avoid.value_or(QRect()), QRect(100, 70, 50, 50));
    }

    void placement_data() {
        QTest::addColumn<QRect>("available");
        QTest::addColumn<std::optional<QRect>>("avoid");
        QTest::addColumn<QPoint>("origin");
        const QRect screen(0, 30, 1920, 1050); // a panel of 30 at the top
        QTest::newRow("top right, reaching past the edges")
            << screen << std::optional<QRect>() << QPoint(1544, 22);
        QTest::newRow("an area elsewhere changes nothing")
            << screen << std::optional<QRect>(QRect(0, 500, 300, 200)) << QPoint(1544, 22);
        QTest::newRow("below an area it would cover")
            << screen << std::optional<QRect>(QRect(1500, 30, 400, 120)) << QPoint(1544, 142);
        QTest::newRow("a second screen to the right")
            << QRect(1920, 0, 1280, 1024) << std::optional<QRect>() << QPoint(2824, -8);
    }
    void placement() {
        QFETCH(QRect, available);
        QFETCH(std::optional<QRect>, avoid);
        QFETCH(QPoint, origin);
        QCOMPARE(nudgeOrigin(available, QSize(380, 150), avoid), origin);
    }
};

QTEST_GUILESS_MAIN(TestNudges)
#include "tst_nudges.moc"
