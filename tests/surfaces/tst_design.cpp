#include "surfaces/design/Appearance.h"
#include "surfaces/design/LiveMeter.h"
#include "surfaces/design/Motion.h"
#include "surfaces/design/Orb.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

// The palette's choice, the motion values and the live meter's numbers.
class TestDesign : public QObject {
    Q_OBJECT

private slots:
    void paletteFollowsTheDesktop_data() {
        QTest::addColumn<QColor>("window");
        QTest::addColumn<bool>("dark");
        QTest::newRow("a dark window colour") << QColor(0x2b, 0x2b, 0x2b) << true;
        QTest::newRow("a light window colour") << QColor(0xef, 0xef, 0xef) << false;
    }
    void paletteFollowsTheDesktop() {
        QFETCH(QColor, window);
        QFETCH(bool, dark);
        const QPalette before = QApplication::palette();
        QWidget widget, fixedParent;
        auto* fixedChild = new QWidget(&fixedParent);
        fixScheme(&fixedParent, ColorScheme::light);

        QApplication::setPalette(QPalette(window));
        QTRY_COMPARE(palOf(&widget).isDark, dark); // widgets take the new palette from the event loop
        QCOMPARE(Pal::system().isDark, dark);
        QCOMPARE(palOf(fixedChild).isDark, false); // a fixed scheme holds for everything inside
        QCOMPARE(palOf(&widget).bg, dark ? QColor(0x07080B) : QColor(0xFBFBFA));
        QApplication::setPalette(before);
        QTRY_COMPARE(widget.palette().color(QPalette::Window), before.color(QPalette::Window));
    }

    void hexTakesAnOpacity() {
        const QColor c = Pal::hex(0x101317, 0.08);
        QCOMPARE(c.rgb() & 0xFFFFFFu, 0x101317u);
        QCOMPARE(qRound(c.alphaF() * 100), 8);
        QCOMPARE(Pal::dark().ln.alpha(), qRound(0.07 * 255));
    }

    void reducedMotionReplacesBothSprings() {
        const Motion reduced(true), full(false);
        QCOMPARE(reduced.spring().duration, 120ms);
        QCOMPARE(reduced.quick().duration, 100ms);
        QCOMPARE(reduced.spring().curve.type(), QEasingCurve::OutCubic);
        for (const Transition& t : {full.spring(), full.quick()}) {
            QCOMPARE(t.curve.type(), QEasingCurve::Custom);
            QCOMPARE(t.curve.valueForProgress(0), 0.0);
            QCOMPARE(t.curve.valueForProgress(1), 1.0);
        }
        // The looser spring swings past its end; both settle within half a second.
        double peak = 0;
        for (int i = 0; i <= 100; ++i)
            peak = std::max(peak, full.spring().curve.valueForProgress(i / 100.0));
        QVERIFY(peak > 1.0 && peak < 1.05);
        QVERIFY(full.quick().duration < full.spring().duration);
        QVERIFY(full.spring().duration < 500ms);
    }

    void orbIsStillUnlessLiveAndFree_data() {
        QTest::addColumn<bool>("live");
        QTest::addColumn<bool>("reduced");
        QTest::addColumn<bool>("snapshot");
        QTest::addColumn<bool>("animating");
        QTest::newRow("live") << true << false << false << true;
        QTest::newRow("not live") << false << false << false << false;
        QTest::newRow("reduced motion") << true << true << false << false;
        QTest::newRow("snapshot") << true << false << true << false;
    }
    void orbIsStillUnlessLiveAndFree() {
        QFETCH(bool, live);
        QFETCH(bool, reduced);
        QFETCH(bool, snapshot);
        QFETCH(bool, animating);
        Orb orb({28, live}, Motion(reduced));
        orb.setSnapshot(snapshot);
        QCOMPARE(orb.animating(), animating);
    }

    void levelMapsDecibels_data() {
        QTest::addColumn<float>("rms");
        QTest::addColumn<float>("level");
        QTest::newRow("silence is 0") << 0.0f << 0.0f;
        QTest::newRow("-52 dB is 0") << 0.0025119f << 0.0f;
        QTest::newRow("-32 dB is half") << 0.025119f << 0.5f;
        QTest::newRow("-12 dB is full") << 0.25119f << 1.0f;
        QTest::newRow("full scale is clamped") << 1.0f << 1.0f;
        QTest::newRow("beyond full scale is clamped") << 4.0f << 1.0f;
    }
    void levelMapsDecibels() {
        QFETCH(float, rms);
        QFETCH(float, level);
        QVERIFY2(std::abs(LiveMeter::levelOf(rms) - level) < 1e-4f,
                 qPrintable(QString::number(LiveMeter::levelOf(rms))));
    }

    void micRisesAtOnceAndFallsSmoothly() {
        LiveMeter meter;
        QSignalSpy changed(&meter, &LiveMeter::changed);
        meter.feedMic(0.25119f); // -12 dB
        QCOMPARE(meter.mic(), 1.0f);
        meter.feedMic(0);
        QVERIFY(std::abs(meter.mic() - 0.86f) < 1e-6f);
        meter.feedMic(0.025119f); // 0.5 is below 0.86: still falling
        QVERIFY(std::abs(meter.mic() - (0.14f * 0.5f + 0.86f * 0.86f)) < 1e-4f);
        meter.feedMic(1.0f);
        QCOMPARE(meter.mic(), 1.0f);
        QCOMPARE(changed.count(), 4);
    }

    void pulseMarksNow() {
        LiveMeter::Clock::time_point now{10s};
        LiveMeter meter([&] { return now; });
        QVERIFY(!meter.pulseAt());
        meter.pulse();
        now += 3s;
        meter.pulse();
        QCOMPARE(meter.pulseAt()->time_since_epoch(), LiveMeter::Clock::duration(13s));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // widgets without a screen
    QApplication app(argc, argv);
    TestDesign test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_design.moc"
