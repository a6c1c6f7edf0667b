#include "support/Rows.h"
#include "workday/Coach.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

namespace {
// A morning of today, local time, so that daily reminders fall on this day.
QDateTime at(int hour, int minute, int second = 0) {
    return QDateTime(QDate::currentDate(), QTime(hour, minute, second));
}
} // namespace

class TestCoach : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    std::unique_ptr<QSettings> m_d;
    QDateTime m_now;
    Coach coach() {
        return Coach(*m_d, [this] { return m_now; });
    }
    // Ticks every 15 seconds of activity from `from` to `to`; the last answer.
    bool workThrough(Coach& c, const QDateTime& from, const QDateTime& to, int breakMinutes = 50) {
        bool due = false;
        for (m_now = from; m_now <= to; m_now = m_now.addSecs(15))
            due = c.activity(0, m_now, breakMinutes);
        m_now = to;
        return due;
    }

private slots:
    void init() {
        m_d = std::make_unique<QSettings>(m_tmp.filePath(u"%1.conf"_s.arg(QTest::currentTestFunction())),
                                          QSettings::IniFormat);
        m_d->clear();
        m_now = at(9, 0);
    }

    void theNextBreak_data() {
        QTest::addColumn<QString>("then");     // what the user does when the first break is due at 9:50
        QTest::addColumn<QTime>("quietUntil"); // the last tick of 15 s with no break due
        row("a break is due after 50 minutes of work", u""_s, QTime(9, 49, 45));
        row("a snooze of 10 minutes holds it back", u"snooze"_s, QTime(9, 59, 45));
        row("a break taken starts the 50 minutes over", u"break"_s, QTime(10, 39, 45));
    }
    void theNextBreak() {
        QFETCH(QString, then);
        QFETCH(QTime, quietUntil);
        Coach c = coach();
        QDateTime from = at(9, 0);
        if (!then.isEmpty()) {
            QVERIFY(workThrough(c, from, at(9, 50)));
            then == u"snooze"_s ? c.snooze(10) : c.tookBreak();
            from = at(9, 50);
        }
        QVERIFY(!workThrough(c, from, QDateTime(QDate::currentDate(), quietUntil)));
        QVERIFY(workThrough(c, QDateTime(QDate::currentDate(), quietUntil),
                            QDateTime(QDate::currentDate(), quietUntil).addSecs(15)));
    }

    void fiveIdleMinutesResetTheStreak() {
        Coach c = coach();
        workThrough(c, at(9, 0), at(9, 45));
        QVERIFY(!c.activity(300, at(9, 50), 50));
        QCOMPARE(c.activeMinutes(), 0);
        // The next stretch starts at the last input: now minus the idle seconds.
        m_now = at(9, 51);
        QVERIFY(!c.activity(60, m_now, 50));
        QCOMPARE(c.activeMinutes(), 1);
        QVERIFY(!workThrough(c, at(9, 51), at(10, 39)));
        QVERIFY(workThrough(c, at(10, 39), at(10, 40)));
    }

    void tipsRotateAcrossRestarts() {
        QStringList seen;
        for (int i = 0; i < 3; ++i)
            seen << coach().nextTip();
        Coach later = coach();
        for (int i = 0; i < 3; ++i)
            seen << later.nextTip();
        QCOMPARE(seen.mid(0, 5), Coach::tips);
        QCOMPARE(seen.at(5), Coach::tips.first());
    }

    void dailyReminder_data() {
        QTest::addColumn<QTime>("time");
        QTest::addColumn<bool>("due");
        row("before", QTime(17, 29, 59), false);
        row("on time", QTime(17, 30), true);
        row("almost two hours late", QTime(19, 29, 59), true);
        row("two hours late", QTime(19, 30), false);
    }
    void dailyReminder() {
        QFETCH(QTime, time);
        QFETCH(bool, due);
        QCOMPARE(coach().due(u"workout"_s, 1050, QDateTime(QDate::currentDate(), time)), due);
    }

    void reminderOnceADayUnlessSnoozed() {
        Coach c = coach();
        m_now = at(17, 31);
        QVERIFY(c.due(u"workout"_s, 1050, m_now));
        c.markShown(u"workout"_s);
        QVERIFY(!c.due(u"workout"_s, 1050, m_now));
        m_d->setValue(u"snooze.wrap"_s, u"tomorrow-ish"_s); // a snooze that is no date holds nothing back
        QVERIFY(c.due(u"wrap"_s, 1050, m_now));             // each reminder counts for itself
        // "In 30 min": shown again after the snooze, still within two hours of the time.
        c.clearShown(u"workout"_s);
        c.snoozeReminder(u"workout"_s, 30);
        QVERIFY(!coach().due(u"workout"_s, 1050, at(18, 0)));
        QVERIFY(coach().due(u"workout"_s, 1050, at(18, 1, 1)));
    }
};

QTEST_GUILESS_MAIN(TestCoach)
#include "tst_coach.moc"
