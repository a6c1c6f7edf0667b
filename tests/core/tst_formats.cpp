#include "core/Fmt.h"
#include "core/Strings.h"
#include "support/Rows.h"

#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

using testsupport::row;

class TestFormats : public QObject {
    Q_OBJECT
private slots:
    void parseISO_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected"); // invalid: nothing
        const QDateTime base(QDate(2026, 3, 4), QTime(13, 5, 9), Qt::UTC);
        row("plain", "2026-03-04T13:05:09Z", base);
        row("fraction and offset", "2026-03-04T08:05:09.5-05:00", base.addMSecs(500));
        row("a long fraction is cut", "2026-03-04T13:05:09.99999Z", base.addMSecs(999));
        row("no zone is no date", "2026-03-04T13:05:09", QDateTime());
        row("a day alone is no date", "2026-03-04", QDateTime());
        row("an impossible day is no date", "2026-02-30T13:05:09Z", QDateTime());
        row("words are no date", "yesterday", QDateTime());
    }
    void parseISO() {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const std::optional<QDateTime> parsed = Fmt::parseISO(text);
        QCOMPARE(parsed.value_or(QDateTime()), expected);
        QCOMPARE(Fmt::parseISOPlain(text).has_value(), expected.isValid() && expected.time().msec() == 0);
    }

    void isoWritesTheInstantInUTC() {
        const QDateTime date(QDate(2026, 3, 4), QTime(13, 5, 9, 250), Qt::UTC);
        QCOMPARE(Fmt::iso(date), QStringLiteral("2026-03-04T13:05:09.250Z"));
        QCOMPARE(Fmt::parseISO(Fmt::iso(date)), date);
        const QDateTime east = date.toTimeZone(QTimeZone(QByteArrayLiteral("Asia/Tokyo")));
        QCOMPARE(Fmt::isoPlain(east), QStringLiteral("2026-03-04T13:05:09Z"));
    }

    void durationAndClock_data() {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("duration");
        QTest::addColumn<QString>("clock");
        row("under a minute", 59.9, "0 m", "0:59");
        row("just under an hour", 3599.9, "59 m", "59:59");
        row("an hour", 3600.0, "1 h 0 m", "1:00:00");
        row("an hour and a half", 5400.0, "1 h 30 m", "1:30:00");
        row("a negative time", -3.0, "0 m", "0:00");
    }
    void durationAndClock() {
        QFETCH(double, seconds);
        QTEST(Fmt::duration(seconds), "duration");
        QTEST(Fmt::clock(seconds), "clock");
    }

    void urlComponent_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("encoded");
        row("a call id's colon", "rec:1", "rec%3A1");
        row("a slash stays inside the component", "a/b", "a%2Fb");
        row("query marks", "?&=#%", "%3F%26%3D%23%25");
        row("unreserved marks stand", "A-z_0.9~", "A-z_0.9~");
        row("letters beyond ASCII stand, blanks do not", QStringLiteral("Zoë Ølsen"),
            QStringLiteral("Zoë%20Ølsen"));
        row("an emoji is no letter", QStringLiteral("\U0001F600"), "%F0%9F%98%80");
    }
    void urlComponent() {
        QFETCH(QString, text);
        QTEST(::urlComponent(text), "encoded");
    }

    void shortened_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("shortened");
        QTest::newRow("a text of exactly the limit stands") << "Standup" << 7 << "Standup";
        QTest::newRow("one over the limit ends in an ellipsis within the limit")
            << "Standups" << 7 << "Standu…";
        QTest::newRow("an emoji with a skin tone is one character")
            << "👍🏽👍🏽👍🏽" << 2 << "👍🏽…";
        QTest::newRow("a letter with a combining accent is one character")
            << u"Cafe\u0301 Cafe\u0301"_s << 5 << u"Cafe\u0301…"_s;
    }
    void shortened() {
        QFETCH(QString, text);
        QFETCH(int, limit);
        QTEST(::shortened(text, limit), "shortened");
    }

    void trimmedRemovesUnicodeSpace() {
        QCOMPARE(::trimmed(QStringLiteral("\n\t\u00a0 a b \u2003\r\n")), QStringLiteral("a b"));
    }
};

QTEST_GUILESS_MAIN(TestFormats)
#include "tst_formats.moc"
