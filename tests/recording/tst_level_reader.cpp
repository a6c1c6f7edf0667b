#include "Tone.h"
#include "recording/AudioError.h"
#include "recording/LevelReader.h"
#include "recording/MonoWriter.h"
#include "recording/Speaking.h"
#include "support/Files.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {
// Loud and quiet stretches with a gap between them, so that levels differ from window to window.
struct Stretch {
    double at;
    double seconds;
    double amplitude;
};
const std::vector<Stretch> script = {
    {0.0, 1.0, 0.6}, {1.0, 1.0, 0.03}, {2.5, 1.5, 0.3}, {4.0, 0.75, 0.01}, {9.75, 0.5, 0.2}};

void writeScript(MonoWriter& writer) {
    for (const Stretch& s : script)
        Tone::write(writer, s.at, s.seconds, s.amplitude);
}

bool steady(const QList<float>& levels, qsizetype i) {
    const auto near = [&](qsizetype j) {
        return j < 0 || j >= levels.size() || std::abs(levels[j] - levels[i]) <= 0.01f * levels[i];
    };
    return near(i - 1) && near(i + 1);
}

// AAC keeps a steady tone's level to a few percent. Where the level changes, the codec's overlapping frames
// smear a little of the loud side into the quiet window; it must still fall on the same side of the levels
// that tell speech from silence, so that the same speaking spans result. Returns the first window that fails,
// or "".
QString mismatch(const QList<float>& read, const QList<float>& written) {
    for (qsizetype i = 0; i < read.size(); ++i) {
        const bool close = std::abs(read[i] - written[i]) <= 0.05f * written[i] + 0.001f;
        const auto sameSide = [&](float level) { return (read[i] > level) == (written[i] > level); };
        if (!sameSide(Speaking::tabThreshold) || !sameSide(Speaking::micThreshold) ||
            (steady(written, i) && !close))
            return QStringLiteral("window %1: read %2, written %3").arg(i).arg(read[i]).arg(written[i]);
    }
    return {};
}

} // namespace

class TestLevelReader : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_closed;
    QList<float> m_written;

    QString path(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }

private slots:
    // One track written whole.
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_closed = path("mic.m4a");
        MonoWriter writer(m_closed);
        writeScript(writer);
        writer.close();
        QCOMPARE(writer.lastError(), std::nullopt);
        m_written = writer.meter().rms();
        QCOMPARE(m_written.size(), 41);
    }

    // The levels read back decide who spoke, also from a track whose writer was killed before it closed
    // the file, which loses at most its last fragment.
    void levelsMatchThoseMeasuredWhileWriting_data() {
        QTest::addColumn<bool>("killed");
        QTest::newRow("a track closed") << false;
        QTest::newRow("a track whose writer was killed") << true;
    }
    void levelsMatchThoseMeasuredWhileWriting() {
        QFETCH(bool, killed);
        QString track = m_closed;
        if (killed) {
            track = path("sigkill.m4a");
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                MonoWriter writer(track);
                writeScript(writer);
                raise(SIGKILL);
            }
            int status = 0;
            QCOMPARE(waitpid(child, &status, 0), child);
            QVERIFY(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
        }
        const QList<float> read = LevelReader::levels(track);
        QVERIFY2(read.size() <= m_written.size() && read.size() >= m_written.size() - (killed ? 5 : 0),
                 QByteArray::number(read.size()));
        const QString failed = mismatch(read, m_written);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    void unreadableFilesThrow_data() {
        QTest::addColumn<QByteArray>("bytes");
        QByteArray noise(64 * 1024, Qt::Uninitialized);
        QRandomGenerator random(7);
        random.fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
        QTest::newRow("an empty file") << QByteArray();
        QTest::newRow("random bytes") << noise;
        QTest::newRow("an mp4 box header and nothing after") << QByteArray("\0\0\0\x20"
                                                                           "ftypisom",
                                                                           12);
    }
    void unreadableFilesThrow() {
        QFETCH(QByteArray, bytes);
        const QString file = path("garbage.m4a");
        testsupport::writeFile(file, bytes);
        QVERIFY_THROWS_EXCEPTION(AudioError, LevelReader::levels(file));
    }
};

QTEST_GUILESS_MAIN(TestLevelReader)
#include "tst_level_reader.moc"
