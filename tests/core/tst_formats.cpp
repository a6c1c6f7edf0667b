#include "core/Fmt.h"
#include "core/Strings.h"

#include <QTest>
#include <QTimeZone>

class TestFormats : public QObject {
    Q_OBJECT
private slots:
    void parseISO_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected"); // invalid: nothing
        const QDateTime base(QDate(2026, 3, 4), QTime(13, 5, 9), Qt::UTC);
        QTest::newRow("plain") << "2026-03-04T13:05:09Z" << base;
        QTest::newRow("fraction") << "2026-03-04T13:05:09.250Z" << base.addMSecs(250);
        QTest::newRow("offset") << "2026-03-04T15:05:09+02:00" << base;
        QTest::newRow("fraction and offset") << "2026-03-04T08:05:09.5-05:00" << base.addMSecs(500);
        QTest::newRow("long fraction is cut") << "2026-03-04T13:05:09.99999Z" << base.addMSecs(999);
        QTest::newRow("no zone") << "2026-03-04T13:05:09" << QDateTime();
        QTest::newRow("day only") << "2026-03-04" << QDateTime();
        QTest::newRow("impossible day") << "2026-02-30T13:05:09Z" << QDateTime();
        QTest::newRow("words") << "yesterday" << QDateTime();
        QTest::newRow("empty") << "" << QDateTime();
    }
    void parseISO() {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const std::optional<QDateTime> parsed = Fmt::parseISO(text);
        QCOMPARE(parsed.has_value(), expected.isValid());
        if (parsed) QCOMPARE(*parsed, expected);
    }

    void parseISOPlainRefusesFractions() {
        QVERIFY(Fmt::parseISOPlain(QStringLiteral("2026-03-04T13:05:09Z")));
        QVERIFY(!Fmt::parseISOPlain(QStringLiteral("2026-03-04T13:05:09.250Z")));
    }

    void isoForms() {
        const QDateTime date(QDate(2026, 3, 4), QTime(13, 5, 9, 250), Qt::UTC);
        QCOMPARE(Fmt::iso(date), QStringLiteral("2026-03-04T13:05:09.250Z"));
        QCOMPARE(Fmt::isoPlain(date), QStringLiteral("2026-03-04T13:05:09Z"));
        QCOMPARE(Fmt::parseISO(Fmt::iso(date)), date);
        // A date in another zone is written as the same instant in UTC.
        const QDateTime east = date.toTimeZone(QTimeZone(QByteArrayLiteral("Asia/Tokyo")));
        QCOMPARE(Fmt::isoPlain(east), QStringLiteral("2026-03-04T13:05:09Z"));
    }

    void localForms() {
        const QDateTime local(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::LocalTime);
        QCOMPARE(Fmt::day(local), QStringLiteral("2026-01-02"));
        QCOMPARE(Fmt::stamp(local), QStringLiteral("20260102-030405"));
        QVERIFY(Fmt::human(local).startsWith(QStringLiteral("2 ")));
        QVERIFY(Fmt::human(local).endsWith(QStringLiteral(" 03:04")));
    }

    void duration_data() {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("59 s") << 59.0 << "0 m";
        QTest::newRow("125 s") << 125.0 << "2 m";
        QTest::newRow("3599 s") << 3599.0 << "59 m";
        QTest::newRow("3600 s") << 3600.0 << "1 h 0 m";
        QTest::newRow("5400 s") << 5400.0 << "1 h 30 m";
        QTest::newRow("a day") << 86400.0 << "24 h 0 m";
    }
    void duration() {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(Fmt::duration(seconds), text);
    }

    void clock_data() {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("negative") << -3.0 << "0:00";
        QTest::newRow("59.9") << 59.9 << "0:59";
        QTest::newRow("61") << 61.0 << "1:01";
        QTest::newRow("3599.9") << 3599.9 << "59:59";
        QTest::newRow("3600") << 3600.0 << "1:00:00";
        QTest::newRow("3661") << 3661.0 << "1:01:01";
        QTest::newRow("ten hours") << 36000.0 << "10:00:00";
    }
    void clock() {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(Fmt::clock(seconds), text);
    }

    void urlComponent_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("encoded");
        QTest::newRow("colon") << "rec:1"
                               << "rec%3A1";
        QTest::newRow("blank") << "a b"
                               << "a%20b";
        QTest::newRow("slash") << "a/b"
                               << "a%2Fb";
        QTest::newRow("unreserved") << "A-z_0.9~"
                                    << "A-z_0.9~";
        QTest::newRow("query marks") << "?&=#%"
                                     << "%3F%26%3D%23%25";
        QTest::newRow("letters beyond ASCII") << QStringLiteral("Zoë Ølsen") << QStringLiteral("Zoë%20Ølsen");
        QTest::newRow("emoji is not a letter") << QStringLiteral("\U0001F600") << "%F0%9F%98%80";
        QTest::newRow("empty") << ""
                               << "";
    }
    void urlComponent() {
        QFETCH(QString, text);
        QFETCH(QString, encoded);
        QCOMPARE(::urlComponent(text), encoded);
    }

    void trimmedRemovesUnicodeSpace() {
        QCOMPARE(::trimmed(QStringLiteral("\n\t\u00a0 name \u2003\r\n")), QStringLiteral("name"));
        QCOMPARE(::trimmed(QStringLiteral("a b")), QStringLiteral("a b"));
    }

    void round1_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<double>("rounded");
        QTest::newRow("half up") << 0.25 << 0.3;
        QTest::newRow("half away from zero") << -0.25 << -0.3;
        QTest::newRow("down") << 1.04 << 1.0;
        QTest::newRow("whole") << 7.0 << 7.0;
    }
    void round1() {
        QFETCH(double, value);
        QFETCH(double, rounded);
        QCOMPARE(::round1(value), rounded);
    }
};

QTEST_GUILESS_MAIN(TestFormats)
#include "tst_formats.moc"
