#include "recording/LevelMeter.h"
#include "recording/LevelTrack.h"

#include <QTest>
#include <limits>
#include <vector>

class TestLevels : public QObject {
    Q_OBJECT

private slots:
    // Silence fed across window edges must leave exactly what feeding zero samples leaves, and a window only
    // partly filled is never emitted.
    void silenceKeepsWindowsInStep_data() {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("silence");
        QTest::addColumn<qint64>("after");
        QTest::newRow("inside one window") << qint64(100) << qint64(200) << qint64(11700);
        QTest::newRow("up to a window's end") << qint64(2000) << qint64(10000) << qint64(12000);
        QTest::newRow("across several windows, the last one part full")
            << qint64(5000) << qint64(40000) << qint64(9000);
        QTest::newRow("none") << qint64(12000) << qint64(0) << qint64(11999);
    }
    void silenceKeepsWindowsInStep() {
        QFETCH(qint64, before);
        QFETCH(qint64, silence);
        QFETCH(qint64, after);
        const std::vector<float> loud(size_t(std::max(before, after)), 0.7f);
        const std::vector<float> zeros(size_t(silence), 0.0f);

        LevelMeter skipping;
        skipping.feed(loud.data(), before);
        skipping.feedSilence(silence);
        skipping.feed(loud.data(), after);

        LevelMeter feeding;
        feeding.feed(loud.data(), before);
        feeding.feed(zeros.data(), silence);
        feeding.feed(loud.data(), after);

        QCOMPARE(skipping.rms(), feeding.rms());
        QCOMPARE(skipping.rms().size(), int((before + silence + after) / 12000));
    }

    void trackValue_data() {
        QTest::addColumn<double>("t");
        QTest::addColumn<float>("value");
        QTest::newRow("before the offset") << 1.99 << 0.0f;
        QTest::newRow("at the offset") << 2.0 << 0.1f;
        QTest::newRow("just before the end") << 2.7499 << 0.3f;
        QTest::newRow("at the end") << 2.75 << 0.0f;
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 0.0f;
    }
    void trackValue() {
        QFETCH(double, t);
        QFETCH(float, value);
        QCOMPARE((LevelTrack{2.0, {0.1f, 0.2f, 0.3f}}.value(t)), value);
    }
};

QTEST_GUILESS_MAIN(TestLevels)
#include "tst_levels.moc"
