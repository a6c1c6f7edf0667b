#include "os/StreamClock.h"

#include <QTest>
#include <cmath>

namespace {
constexpr int rate = 48000;
constexpr qint64 block = 960; // 20 ms
} // namespace

// How capture buffers are placed on the timeline, fed with what the clock says at each read.
class TestStreamClock : public QObject {
    Q_OBJECT

private slots:
    // The first buffer is placed where it was captured. Reads come late, by a few milliseconds or, on a busy
    // machine, by much more; the count keeps the times exact.
    void lateReadsAreIgnored() {
        os::StreamClock clock(rate);
        const double lateBy[] = {0, 0.004, 0.0, 0.012, 0.0, 0.030, 0.200, 0.001, 0.0, 0.090};
        for (int i = 0; i < 1000; ++i) {
            const double exact = 10.0 + double(i * block) / rate;
            QCOMPARE(clock.place(exact + lateBy[i % 10], block), exact);
        }
        QCOMPARE(clock.anchors(), 1);
    }

    // The count is off the clock by `drift` for good: samples lost by the server, or a card's clock.
    void lastingDriftMovesTheCount_data() {
        QTest::addColumn<double>("drift");
        QTest::addColumn<bool>("moved");
        QTest::newRow("0.045 s ahead is kept") << 0.045 << false;
        QTest::newRow("0.06 s behind is corrected") << -0.06 << true;
        QTest::newRow("half a second lost is corrected") << 0.5 << true;
    }
    void lastingDriftMovesTheCount() {
        QFETCH(double, drift);
        QFETCH(bool, moved);
        os::StreamClock clock(rate);
        for (int i = 0; i < 50; ++i)
            clock.place(double(i * block) / rate, block);
        // From the second second on the clock sees every buffer `drift` away from the count.
        double at = 0;
        for (int i = 50; i < 150; ++i)
            at = clock.place(double(i * block) / rate + drift, block);
        QCOMPARE(clock.anchors(), moved ? 2 : 1);
        const double expected = double(149 * block) / rate + (moved ? drift : 0.0);
        QVERIFY2(std::abs(at - expected) < 1e-9, QByteArray::number(at - expected));
    }

    // A sound card 0.1 % fast, over an hour of reads that come up to 30 ms late: the times stay near the
    // clock's throughout.
    void aFastCardStaysInStepOverAnHour() {
        os::StreamClock clock(rate);
        const double cardRate = rate * 1.001;
        double worst = 0;
        int read = 0;
        for (qint64 frame = 0; frame < qint64(cardRate * 3600); frame += block, ++read) {
            const double captured = double(frame) / cardRate;
            const double late = (read % 7) * 0.005;
            worst = std::max(worst, std::abs(clock.place(captured + late, block) - captured));
        }
        QVERIFY2(worst <= os::StreamClock::maxDrift + 0.002, QByteArray::number(worst));
        QVERIFY(clock.anchors() > 60);
    }
};

QTEST_APPLESS_MAIN(TestStreamClock)
#include "tst_stream_clock.moc"
