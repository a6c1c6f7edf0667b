#include "core/JSONFile.h"
#include "support/Files.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::Literals::StringLiterals;

using testsupport::writeFile;

namespace {
QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
        m_support = m_tmp.filePath(u"not/yet/there"_s);
        Paths::useSupport(m_support);
    }

    void foldersAreMadePrivateAndComeBackAfterRemoval() {
        QCOMPARE(Paths::support(), m_support);
        QCOMPARE(QFileInfo(m_support).permissions() & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
        const QString recordings = Paths::recordings();
        QVERIFY(QDir(recordings).removeRecursively());
        QCOMPARE(Paths::recordings(), recordings);
        QVERIFY(QFileInfo(recordings).isDir());
    }

    // Many lines from the log's own queue: none lost or out of order.
    void slogWritesEveryLineInOrder() {
        for (int i = 0; i < 200; ++i)
            slog(u"n=%1"_s.arg(i));
        slogFlush();
        const QByteArray text = readAll(Paths::logFile());
        qsizetype at = 0;
        for (int i = 0; i < 200; ++i) {
            at = text.indexOf(u"  n=%1\n"_s.arg(i).toUtf8(), at);
            QVERIFY2(at >= 0, qPrintable(u"line %1 missing or out of order"_s.arg(i)));
        }
    }

    void logStartsAnewAboveItsLimit() {
        const LogFile log(m_tmp.filePath(u"limit.log"_s));
        writeFile(log.path(), QByteArray(LogFile::maxBytes + 1, 'x'));
        log.append(u"line\n"_s);
        QCOMPARE(readAll(log.path()), QByteArray("line\n"));
    }

    void jsonWriteIsSortedAndLeavesNothingBeside() {
        const QString path = m_tmp.filePath(u"sorted.json"_s);
        JSONFile::write(QJsonObject{{"zeta", 1}, {"alpha", QJsonObject{{"b", 2}, {"a", 1}}}}, path);
        const QByteArray text = readAll(path);
        QVERIFY(text.indexOf("\"alpha\"") < text.indexOf("\"zeta\""));
        QVERIFY(text.indexOf("\"a\"") < text.indexOf("\"b\""));
        QCOMPARE(QDir(m_tmp.path()).entryList({u"sorted.json*"_s}, QDir::Files),
                 QStringList{u"sorted.json"_s});
    }

    void jsonReadGivesNothingForBadFiles_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("malformed") << QByteArray("{\"at\": ");
        QTest::newRow("a date with a fraction") << QByteArray("{\"at\": \"2026-03-04T09:15:02.500Z\"}");
        QTest::newRow("a value of the wrong type") << QByteArray("{\"at\": 12}");
        QTest::newRow("not an object") << QByteArray("[1, 2]");
        QTest::newRow("empty") << QByteArray();
    }
    void jsonReadGivesNothingForBadFiles() {
        QFETCH(QByteArray, content);
        const QString path = m_tmp.filePath(u"bad.json"_s);
        writeFile(path, content);
        QVERIFY(!JSONFile::read<Stamp>(path));
    }

    void jsonDatesRoundTripInWholeSeconds() {
        const QString path = m_tmp.filePath(u"date.json"_s);
        const QDateTime at(QDate(2026, 3, 4), QTime(9, 15, 2, 730), Qt::UTC);
        JSONFile::write(Stamp{at}, path);
        QVERIFY(readAll(path).contains("\"2026-03-04T09:15:02Z\""));
        QCOMPARE(JSONFile::read<Stamp>(path).value_or(Stamp{}).at, at.addMSecs(-730));
        QVERIFY(!JSONFile::read<Stamp>(m_tmp.filePath(u"missing.json"_s)));
    }

    void jsonWriteReportsAFolderInTheWay() {
        const QString blocked = m_tmp.filePath(u"blocked"_s);
        writeFile(blocked, "a file where a folder should be");
        QVERIFY_THROWS_EXCEPTION(JSONFile::WriteError,
                                 JSONFile::write(QJsonArray{1}, blocked + "/meta.json"));
        QCOMPARE(readAll(blocked), QByteArray("a file where a folder should be"));
    }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "tst_files.moc"
