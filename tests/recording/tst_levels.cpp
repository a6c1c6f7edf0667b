#include "recording/AudioError.h"
#include "recording/LevelMeter.h"
#include "recording/LevelTrack.h"

#include <QTest>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

class TestLevels : public QObject {
    Q_OBJECT

private slots:
    void partWindowIsNeverEmitted_data() {
        QTest::addColumn<qint64>("samples");
        QTest::addColumn<int>("values");
        QTest::newRow("11999 samples") << qint64(11999) << 0;
        QTest::newRow("12000 samples") << qint64(12000) << 1;
        QTest::newRow("35999 samples") << qint64(35999) << 2;
    }
    void partWindowIsNeverEmitted() {
        QFETCH(qint64, samples);
        QFETCH(int, values);
        LevelMeter meter;
        const std::vector<float> ones(size_t(samples), 1.0f);
        meter.feed(ones.data(), samples);
        QCOMPARE(meter.rms().size(), values);
    }

    void rmsOfKnownSignals() {
        LevelMeter meter(0.25, 48000);
        const std::vector<float> constant(12000, -0.5f);
        meter.feed(constant.data(), 12000);
        std::vector<float> sine(12000);
        // A whole number of periods, so the mean square is exactly half the peak squared.
        for (size_t i = 0; i < sine.size(); ++i)
            sine[i] = float(0.8 * std::sin(2 * std::numbers::pi * 400 * double(i) / 48000));
        meter.feed(sine.data(), 12000);
        QCOMPARE(meter.rms().size(), 2);
        QCOMPARE(meter.rms()[0], 0.5f);
        QVERIFY(std::abs(meter.rms()[1] - float(0.8 / std::sqrt(2.0))) < 1e-5f);
    }

    // Silence fed across window edges must leave exactly what feeding zero samples leaves.
    void silenceKeepsWindowsInStep_data() {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("silence");
        QTest::addColumn<qint64>("after");
        QTest::newRow("inside one window") << qint64(100) << qint64(200) << qint64(11700);
        QTest::newRow("up to a window's end") << qint64(2000) << qint64(10000) << qint64(12000);
        QTest::newRow("across several windows") << qint64(5000) << qint64(40000) << qint64(9000);
        QTest::newRow("none") << qint64(12000) << qint64(0) << qint64(12000);
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
        QTest::newRow("inside the second window") << 2.3 << 0.2f;
        QTest::newRow("just before the end") << 2.7499 << 0.3f;
        QTest::newRow("at the end") << 2.75 << 0.0f;
        QTest::newRow("long past the end") << 1e9 << 0.0f;
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 0.0f;
    }
    void trackValue() {
        QFETCH(double, t);
        QFETCH(float, value);
        const LevelTrack track{2.0, {0.1f, 0.2f, 0.3f}};
        QCOMPARE(track.end(), 2.75);
        QCOMPARE(track.value(t), value);
    }
};

QTEST_GUILESS_MAIN(TestLevels)
#include "tst_levels.moc"
