#include "core/JSONFile.h"
#include "core/Log.h"
#include "core/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {
QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
void writeAll(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

struct Stamp {
    QDateTime at;
    QJsonValue toJson() const { return QJsonObject{{"at", Json::fromDate(at)}}; }
    static Stamp fromJson(const QJsonValue& v) { return {Json::get<QDateTime>(Json::object(v), "at")}; }
};
} // namespace

class TestFiles : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    QString m_support;

private slots:
    void initTestCase() {
        QVERIFY(m_tmp.isValid());
        // Set before the first use: the support directory is computed once per process.
        m_support = m_tmp.filePath(QStringLiteral("not/yet/there"));
        Paths::useSupport(m_support);
    }

    void supportDirectoryIsCreatedPrivate() {
        QCOMPARE(Paths::support(), m_support);
        QVERIFY(QFileInfo(m_support).isDir());
        QCOMPARE(QFileInfo(m_support).permissions() & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
        QCOMPARE(Paths::logFile(), m_support + QStringLiteral("/orvane.log"));
    }

    void subfoldersComeBackAfterRemoval() {
        const QString recordings = Paths::recordings();
        QVERIFY(QDir(recordings).removeRecursively());
        QCOMPARE(Paths::recordings(), recordings);
        QVERIFY(QFileInfo(recordings).isDir());
        QVERIFY(QFileInfo(Paths::workday()).isDir());
        QVERIFY(QFileInfo(Paths::pins()).isDir());
    }

    // One line in the exact form, then many from the log's own queue, none lost or out of order.
    void slogWritesEveryLineInItsForm() {
        slog(QStringLiteral("first\nsecond"));
        for (int i = 0; i < 200; ++i)
            slog(QStringLiteral("n=%1").arg(i));
        slogFlush();
        const QByteArray text = readAll(Paths::logFile());
        static const QRegularExpression line(
            QStringLiteral(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}  first\nsecond\n)"));
        QVERIFY2(line.match(QString::fromUtf8(text)).hasMatch(), text.left(80).constData());
        qsizetype at = 0;
        for (int i = 0; i < 200; ++i) {
            at = text.indexOf(QStringLiteral("  n=%1\n").arg(i).toUtf8(), at);
            QVERIFY2(at >= 0, qPrintable(QStringLiteral("line %1 missing or out of order").arg(i)));
        }
    }

    void logResetsAboveTheLimit_data() {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("reset");
        QTest::newRow("exactly the limit is appended to") << LogFile::maxBytes << false;
        QTest::newRow("one byte more starts anew") << LogFile::maxBytes + 1 << true;
    }
    void logResetsAboveTheLimit() {
        QFETCH(qint64, size);
        QFETCH(bool, reset);
        const LogFile log(m_tmp.filePath(QStringLiteral("limit.log")));
        writeAll(log.path(), QByteArray(size, 'x'));
        log.append(QStringLiteral("line\n"));
        QCOMPARE(QFileInfo(log.path()).size(), reset ? 5 : size + 5);
        QVERIFY(readAll(log.path()).endsWith("line\n"));
    }

    void jsonWriteIsSortedPrettyAndAtomic() {
        const QString path = m_tmp.filePath(QStringLiteral("sorted.json"));
        JSONFile::write(QJsonObject{{"zeta", 1}, {"alpha", QJsonObject{{"b", 2}, {"a", 1}}}}, path);
        const QByteArray text = readAll(path);
        QVERIFY(text.indexOf("\"alpha\"") < text.indexOf("\"zeta\""));
        QVERIFY(text.indexOf("\"a\"") < text.indexOf("\"b\""));
        QVERIFY(text.contains('\n'));
        // Nothing temporary is left beside the target.
        QCOMPARE(QDir(m_tmp.path()).entryList({QStringLiteral("sorted.json*")}, QDir::Files),
                 QStringList{QStringLiteral("sorted.json")});
    }

    void jsonReadGivesNothingForBadFiles_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("malformed") << QByteArray("{\"at\": ");
        QTest::newRow("fractional date") << QByteArray("{\"at\": \"2026-03-04T09:15:02.500Z\"}");
        QTest::newRow("wrong type") << QByteArray("{\"at\": 12}");
        QTest::newRow("not an object") << QByteArray("[1, 2]");
        QTest::newRow("empty") << QByteArray();
    }
    void jsonReadGivesNothingForBadFiles() {
        QFETCH(QByteArray, content);
        const QString path = m_tmp.filePath(QStringLiteral("bad.json"));
        writeAll(path, content);
        QVERIFY(!JSONFile::read<Stamp>(path));
    }

    void jsonDatesRoundTripInWholeSeconds() {
        const QString path = m_tmp.filePath(QStringLiteral("date.json"));
        const QDateTime at(QDate(2026, 3, 4), QTime(9, 15, 2, 730), Qt::UTC);
        JSONFile::write(Stamp{at}, path);
        QVERIFY(readAll(path).contains("\"2026-03-04T09:15:02Z\""));
        const auto back = JSONFile::read<Stamp>(path);
        QVERIFY(back);
        QCOMPARE(back->at, at.addMSecs(-730));
        QVERIFY(!JSONFile::read<Stamp>(m_tmp.filePath(QStringLiteral("missing.json"))));
    }

    void jsonWriteReportsAFolderInTheWay() {
        const QString blocked = m_tmp.filePath(QStringLiteral("blocked"));
        writeAll(blocked, "a file where a folder should be");
        QVERIFY_THROWS_EXCEPTION(JSONFile::WriteError,
                                 JSONFile::write(QJsonArray{1}, blocked + "/meta.json"));
        QCOMPARE(readAll(blocked), QByteArray("a file where a folder should be"));
    }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "tst_files.moc"
