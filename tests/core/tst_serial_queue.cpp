#include "core/SerialQueue.h"

#include <QTest>
#include <atomic>
#include <mutex>
#include <vector>

class TestSerialQueue : public QObject {
    Q_OBJECT
private slots:
    void runsJobsInOrderOffTheCaller() {
        SerialQueue queue(QStringLiteral("test.order"));
        std::vector<int> seen;
        std::atomic<bool> onCaller = false;
        const auto caller = std::this_thread::get_id();
        for (int i = 0; i < 1000; ++i)
            queue.async([&, i] {
                seen.push_back(i);
                if (std::this_thread::get_id() == caller) onCaller = true;
            });
        queue.sync([] {});
        QCOMPARE(int(seen.size()), 1000);
        QVERIFY(std::is_sorted(seen.begin(), seen.end()));
        QVERIFY(!onCaller);
    }

    void syncFromItsOwnThreadRunsInline() {
        SerialQueue queue(QStringLiteral("test.inline"));
        bool inner = false;
        queue.sync([&] { queue.sync([&] { inner = queue.isCurrent(); }); });
        QVERIFY(inner);
        QVERIFY(!queue.isCurrent());
    }

    void timedJobsRunInTheOrderTheyFallDue() {
        SerialQueue queue(QStringLiteral("test.timed"));
        std::mutex mutex;
        std::vector<int> seen;
        auto note = [&](int i) {
            const std::lock_guard lock(mutex);
            seen.push_back(i);
        };
        queue.after(0.2, [&] { note(3); });
        queue.after(0.05, [&] { note(2); });
        queue.async([&] { note(1); });
        QTRY_COMPARE_WITH_TIMEOUT(
            [&] {
                const std::lock_guard lock(mutex);
                return seen.size();
            }(),
            std::size_t(3), 5000);
        QCOMPARE(seen, (std::vector<int>{1, 2, 3}));
    }

    void destructionDropsTimedJobsNotDue() {
        std::atomic<bool> ran = false;
        {
            SerialQueue queue(QStringLiteral("test.undue"));
            queue.after(60, [&] { ran = true; });
        }
        QVERIFY(!ran);
    }
};

QTEST_GUILESS_MAIN(TestSerialQueue)
#include "tst_serial_queue.moc"
