#include "Tone.h"
#include "recording/AudioError.h"
#include "recording/LevelReader.h"
#include "recording/Mixer.h"
#include "support/Files.h"

#include <QTemporaryDir>
#include <QTest>

using testsupport::writeFile;

namespace {
// A track at `offset`: for each (seconds, amplitude) in `parts`, that much tone or silence.
void writeTrack(const QString& path, double offset, const std::vector<std::pair<double, double>>& parts) {
    MonoWriter writer(path);
    double at = offset;
    for (const auto& [seconds, amplitude] : parts) {
        Tone::write(writer, at, seconds, amplitude);
        at += seconds;
    }
    writer.close();
    QCOMPARE(writer.lastError(), std::nullopt);
}

float levelAt(const QList<float>& levels, double t) {
    const auto i = qsizetype(t / 0.25);
    return i < levels.size() ? levels[i] : 0.0f;
}
} // namespace

class TestMixer : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_system;
    QString m_mic;

    QString path(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }

private slots:
    // The other side at 0.3 s for 6.0 s, speaking for its first 2 s; the user at 1.0 s for 4.0 s, speaking
    // from 2.5 to 3.5 s on the timeline.
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_system = path("system.m4a");
        m_mic = path("mic.m4a");
        writeTrack(m_system, 0.3, {{2.0, 0.5}, {4.0, 0}});
        writeTrack(m_mic, 1.0, {{1.5, 0}, {1.0, 0.5}, {1.5, 0}});
    }

    void tracksLandAtTheirOffsets() {
        const QString mixed = path("mixed.m4a");
        Mixer::mix({{m_system, 0.3}, {m_mic, 1.0}}, mixed);
        QVERIFY2(std::abs(Mixer::duration(mixed) - 6.3) < 0.025, QByteArray::number(Mixer::duration(mixed)));
        const QList<float> levels = LevelReader::levels(mixed);
        QVERIFY2(levelAt(levels, 0.1) < 0.001f, "silence before either track");
        QVERIFY2(levelAt(levels, 1.0) > 0.3f, "the other side");
        QVERIFY2(levelAt(levels, 2.75) > 0.3f, "the user");
        QVERIFY2(levelAt(levels, 4.5) < 0.001f, "both silent");
    }

    void overlappingTracksAreSummed() {
        const QString quiet = path("quiet.m4a");
        writeTrack(quiet, 0, {{2.0, 0.2}});
        const QString mixed = path("overlap.m4a");
        Mixer::mix({{quiet, 0.0}, {quiet, 0.0}}, mixed);
        const QList<float> levels = LevelReader::levels(mixed);
        QVERIFY2(std::abs(levelAt(levels, 1.0) - 2 * 0.2f / std::sqrt(2.0f)) < 0.01f,
                 QByteArray::number(levelAt(levels, 1.0)));
    }

    // Inputs that can't be read drop out; the rest is mixed.
    void unreadableInputsAreSkipped_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("an empty file") << QByteArray();
        QTest::newRow("text") << QByteArray("not audio\n").repeated(100);
    }
    void unreadableInputsAreSkipped() {
        QFETCH(QByteArray, bytes);
        const QString bad = path("bad.m4a");
        writeFile(bad, bytes);
        const QString mixed = path("skipped.m4a");
        Mixer::mix({{bad, 0.0}, {path("absent.m4a"), 0.0}, {m_mic, 1.0}}, mixed);
        QVERIFY(std::abs(Mixer::duration(mixed) - 5.0) < 0.03);
    }

    // An export that cannot be made is an error and leaves no file behind.
    void aFailedExportLeavesNoFile_data() {
        QTest::addColumn<QStringList>("inputs");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("error");
        QTest::newRow("no inputs") << QStringList() << "nothing.m4a"
                                   << "nothing to mix";
        QTest::newRow("only missing inputs") << QStringList{"absent.m4a"} << "nothing.m4a"
                                             << "nothing to mix";
        QTest::newRow("a folder that is not there") << QStringList{"mic.m4a"} << "absent-folder/mixed.m4a"
                                                    << "export failed: ";
    }
    void aFailedExportLeavesNoFile() {
        QFETCH(QStringList, inputs);
        QFETCH(QString, output);
        QFETCH(QString, error);
        QList<Mixer::Input> placed;
        for (const QString& input : inputs)
            placed.append({m_dir.filePath(input), 0.0});
        try {
            Mixer::mix(placed, m_dir.filePath(output));
            QFAIL("no error");
        } catch (const AudioError& failure) {
            QCOMPARE(failure.kind(), AudioError::Kind::Export);
            QVERIFY2(failure.text().startsWith(error), failure.what());
        }
        QVERIFY(!QFileInfo::exists(m_dir.filePath(output)));
    }
};

QTEST_GUILESS_MAIN(TestMixer)
#include "tst_mixer.moc"
