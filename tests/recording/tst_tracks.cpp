#include "Tone.h"
#include "recording/AudioError.h"
#include "recording/LevelReader.h"
#include "recording/Mixer.h"
#include "recording/MonoWriter.h"
#include "recording/Speaking.h"
#include "support/Files.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

Q_DECLARE_METATYPE(AudioFormat)
Q_DECLARE_METATYPE(std::vector<double>)
Q_DECLARE_METATYPE(std::optional<double>)

using testsupport::writeFile;

namespace {
// Loud and quiet stretches with gaps and digital silence between them, so that levels differ from window to
// window.
struct Stretch {
    double at, seconds, amplitude;
};
const std::vector<Stretch> script = {{0.0, 1.0, 0.6},   {1.0, 1.0, 0.03}, {2.5, 1.5, 0.3},
                                     {4.0, 0.75, 0.01}, {4.75, 3.0, 0.0}, {9.75, 0.5, 0.2}};

void writeScript(MonoWriter& writer) {
    for (const Stretch& s : script)
        Tone::write(writer, s.at, s.seconds, s.amplitude);
}

// A closed track at `offset`: for each (seconds, amplitude) in `parts`, that much tone or silence.
void writeTrack(const QString& path, double offset, const std::vector<std::pair<double, double>>& parts) {
    MonoWriter writer(path);
    for (const auto& [seconds, amplitude] : parts) {
        Tone::write(writer, offset, seconds, amplitude);
        offset += seconds;
    }
    writer.close();
    QCOMPARE(writer.lastError(), std::nullopt);
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
    if (read.size() > written.size()) return QStringLiteral("%1 windows read of %2").arg(read.size());
    for (qsizetype i = 0; i < read.size(); ++i) {
        const bool close = std::abs(read[i] - written[i]) <= 0.05f * written[i] + 0.001f;
        const auto sameSide = [&](float level) { return (read[i] > level) == (written[i] > level); };
        if (!sameSide(Speaking::tabThreshold) || !sameSide(Speaking::micThreshold) ||
            (steady(written, i) && !close))
            return QStringLiteral("window %1: read %2, written %3").arg(i).arg(read[i]).arg(written[i]);
    }
    return {};
}

float levelAt(const QList<float>& levels, double t) {
    const auto i = qsizetype(t / 0.25);
    return i < levels.size() ? levels[i] : 0.0f;
}
} // namespace

// Tracks written from capture buffers, their levels read back, and tracks mixed into one.
class TestTracks : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_mic;

    QString path(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }

private slots:
    // The user at 1.0 s for 4.0 s, speaking from 2.5 to 3.5 s on the timeline.
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_mic = path("mic.m4a");
        writeTrack(m_mic, 1.0, {{1.5, 0}, {1.0, 0.5}, {1.5, 0}});
    }

    // A quarter second of tone at 1.0 is expected to end at 1.25; the second comes at `at`. A gap is filled
    // with silence, up to an hour (a computer suspended mid-call), and the levels follow the file.
    void gapsArePaddedWithSilence_data() {
        QTest::addColumn<std::optional<double>>("at");
        QTest::addColumn<qint64>("padding");
        QTest::newRow("straight after") << std::optional(1.25) << qint64(0);
        QTest::newRow("overlapping") << std::optional(1.19) << qint64(0);
        QTest::newRow("a gap of 0.05 s") << std::optional(1.30) << qint64(0);
        QTest::newRow("a gap of 0.06 s") << std::optional(1.31) << qint64(2880);
        QTest::newRow("a gap of 2.5 s") << std::optional(3.75) << qint64(120000);
        QTest::newRow("two hours, capped at one") << std::optional(1.25 + 7200) << qint64(3600) * 48000;
        QTest::newRow("with no time") << std::optional<double>() << qint64(0);
    }
    void gapsArePaddedWithSilence() {
        QFETCH(std::optional<double>, at);
        QFETCH(qint64, padding);
        MonoWriter writer(path("gap.m4a"));
        const Tone::Block block = Tone::make(Tone::mono48k(), 0, 12000, 0.5);
        writer.write(block.buffer, 1.0);
        writer.write(block.buffer, at);
        QCOMPARE(writer.framesWritten(), 24000 + padding);
        QVERIFY(std::abs(*writer.nextTime() - (at.value_or(1.25) + 0.25)) < 1e-9);
        writer.close();
        QCOMPARE(writer.lastError(), std::nullopt);
        const QList<float> read = LevelReader::levels(writer.path());
        QCOMPARE(read.size(), writer.meter().rms().size());
        const QString failed = mismatch(read, writer.meter().rms());
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    // One second of a sine at amplitude 0.5 in each source format: it must come out as one second of 48 kHz
    // mono at the same level, through one converter for the whole run.
    void formatsBecomeMono48k_data() {
        QTest::addColumn<AudioFormat>("format");
        QTest::addColumn<std::vector<double>>("channelGain");
        QTest::addColumn<double>("level");
        QTest::addColumn<int>("converters");
        const double sine = 0.5 / std::sqrt(2.0);
        const std::vector<double> even;
        QTest::newRow("48 kHz mono float as it is") << Tone::mono48k() << even << sine << 0;
        QTest::newRow("44.1 kHz stereo float")
            << AudioFormat{SampleType::Float32, 44100, 2, false} << even << sine << 1;
        QTest::newRow("44.1 kHz stereo int16 planar")
            << AudioFormat{SampleType::Int16, 44100, 2, true} << even << sine << 1;
        QTest::newRow("16 kHz mono int32")
            << AudioFormat{SampleType::Int32, 16000, 1, false} << even << sine << 1;
        QTest::newRow("stereo with the right channel silent is averaged")
            << AudioFormat{SampleType::Float32, 48000, 2, false} << std::vector<double>{1.0, 0.0} << sine / 2
            << 1;
    }
    void formatsBecomeMono48k() {
        QFETCH(AudioFormat, format);
        QFETCH(std::vector<double>, channelGain);
        QFETCH(double, level);
        QFETCH(int, converters);
        MonoWriter writer(path("formats.m4a"));
        Tone::write(writer, 0.0, 1.0, 0.5, format, channelGain);
        QCOMPARE(writer.lastError(), std::nullopt);
        QCOMPARE(writer.convertersBuilt(), converters);
        // The resampler holds back a few frames of its filter until the next buffer.
        QVERIFY2(std::abs(writer.framesWritten() - 48000) <= 64, QByteArray::number(writer.framesWritten()));
        for (float value : writer.meter().rms().mid(1))
            QVERIFY2(std::abs(value - level) < 0.01 * level + 1e-3, QByteArray::number(value));
    }

    // A headset plugged in and out mid-call.
    void aFormatChangeRebuildsTheConverter() {
        MonoWriter writer(path("device.m4a"));
        const AudioFormat laptop{SampleType::Float32, 44100, 2, false}, headset{SampleType::Int16, 16000, 1};
        Tone::write(writer, 0.0, 0.5, 0.5, laptop);
        Tone::write(writer, 0.5, 0.5, 0.5, headset);
        Tone::write(writer, 1.0, 0.5, 0.5, laptop);
        QCOMPARE(writer.convertersBuilt(), 3);
        QVERIFY(std::abs(writer.duration() - 1.5) < 0.01);
    }

    // A buffer no converter takes, or a file that cannot be made, fails that write alone, logged once; the
    // track goes on with the next buffer that can be written.
    void aFailedWriteIsReportedAndPassed_data() {
        QTest::addColumn<AudioFormat>("format");
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("recovers");
        QTest::newRow("no channels") << AudioFormat{SampleType::Float32, 48000, 0, false} << "odd.m4a"
                                     << true;
        QTest::newRow("no sample rate") << AudioFormat{SampleType::Int16, 0, 2, false} << "odd.m4a" << true;
        QTest::newRow("a folder that is not there") << Tone::mono48k() << "missing/fail.m4a" << false;
    }
    void aFailedWriteIsReportedAndPassed() {
        QFETCH(AudioFormat, format);
        QFETCH(QString, file);
        QFETCH(bool, recovers);
        const testsupport::LogWatch log;
        MonoWriter writer(m_dir.filePath(file));
        const std::vector<float> samples(960);
        writer.write(AudioBuffer{format, 480, {samples.data()}}, 0.0);
        writer.write(AudioBuffer{format, 480, {samples.data()}}, 0.01);
        QVERIFY(writer.lastError());
        QCOMPARE(writer.framesWritten(), qint64(0));
        QCOMPARE(log.text().count(QStringLiteral("audio write ")), 1);
        const Tone::Block block = Tone::make(Tone::mono48k(), 0, 4800, 0.5);
        writer.write(block.buffer, 0.02);
        QCOMPARE(writer.framesWritten(), recovers ? qint64(4800) : 0);
    }

    // The levels read back decide who spoke, also from a track whose writer was killed before it closed the
    // file, which loses at most its last fragment.
    void levelsMatchThoseMeasuredWhileWriting_data() {
        QTest::addColumn<bool>("killed");
        QTest::newRow("a track closed") << false;
        QTest::newRow("a track whose writer was killed") << true;
    }
    void levelsMatchThoseMeasuredWhileWriting() {
        QFETCH(bool, killed);
        MonoWriter closed(path("script.m4a"));
        writeScript(closed);
        closed.close();
        QString track = closed.path();
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
        const QList<float> written = closed.meter().rms(), read = LevelReader::levels(track);
        QVERIFY2(read.size() >= written.size() - (killed ? 5 : 0), QByteArray::number(read.size()));
        const QString failed = mismatch(read, written);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    // The other side at 0.3 s for 6.0 s, speaking for its first 2 s, mixed with the user.
    void tracksLandAtTheirOffsets() {
        const QString system = path("system.m4a"), mixed = path("mixed.m4a");
        writeTrack(system, 0.3, {{2.0, 0.5}, {4.0, 0}});
        Mixer::mix({{system, 0.3}, {m_mic, 1.0}}, mixed);
        QVERIFY2(std::abs(Mixer::duration(mixed) - 6.3) < 0.025, QByteArray::number(Mixer::duration(mixed)));
        const QList<float> levels = LevelReader::levels(mixed);
        QVERIFY2(levelAt(levels, 0.1) < 0.001f, "silence before either track");
        QVERIFY2(levelAt(levels, 1.0) > 0.3f, "the other side");
        QVERIFY2(levelAt(levels, 2.75) > 0.3f, "the user");
        QVERIFY2(levelAt(levels, 4.5) < 0.001f, "both silent");
    }

    // A file that is not audio gives no levels, and drops out of a mix that goes on with the rest.
    void aFileThatIsNotAudio_data() {
        QTest::addColumn<QByteArray>("bytes");
        QByteArray noise(64 * 1024, Qt::Uninitialized);
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
        QTest::newRow("an empty file") << QByteArray();
        QTest::newRow("random bytes") << noise;
        QTest::newRow("text") << QByteArray("not audio\n").repeated(100);
        QTest::newRow("an mp4 box header and nothing after") << QByteArray("\0\0\0\x20"
                                                                           "ftypisom",
                                                                           12);
    }
    void aFileThatIsNotAudio() {
        QFETCH(QByteArray, bytes);
        const QString bad = path("bad.m4a"), mixed = path("skipped.m4a");
        writeFile(bad, bytes);
        QVERIFY_THROWS_EXCEPTION(AudioError, LevelReader::levels(bad));
        Mixer::mix({{bad, 0.0}, {path("absent.m4a"), 0.0}, {m_mic, 1.0}}, mixed);
        QVERIFY(std::abs(Mixer::duration(mixed) - 5.0) < 0.03);
    }

    // An export that cannot be made is an error and leaves no file behind.
    void aFailedExportLeavesNoFile_data() {
        QTest::addColumn<QStringList>("inputs");
        QTest::addColumn<QString>("output");
        QTest::newRow("only missing inputs") << QStringList{"absent.m4a"} << "nothing.m4a";
        QTest::newRow("a folder that is not there") << QStringList{"mic.m4a"} << "absent-folder/mixed.m4a";
    }
    void aFailedExportLeavesNoFile() {
        QFETCH(QStringList, inputs);
        QFETCH(QString, output);
        QList<Mixer::Input> placed;
        for (const QString& input : inputs)
            placed.append({m_dir.filePath(input), 0.0});
        try {
            Mixer::mix(placed, m_dir.filePath(output));
            QFAIL("no error");
        } catch (const AudioError& failure) {
            QCOMPARE(failure.kind(), AudioError::Kind::Export);
        }
        QVERIFY(!QFileInfo::exists(m_dir.filePath(output)));
    }
};

QTEST_GUILESS_MAIN(TestTracks)
#include "tst_tracks.moc"
