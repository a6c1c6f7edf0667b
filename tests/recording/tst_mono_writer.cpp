#include "Tone.h"
#include "recording/LevelReader.h"
#include "recording/MonoWriter.h"
#include "support/Files.h"

#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cmath>

Q_DECLARE_METATYPE(AudioFormat)
Q_DECLARE_METATYPE(std::vector<double>)
Q_DECLARE_METATYPE(std::optional<double>)

class TestMonoWriter : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString track(const char* name) const { return m_dir.filePath(QString::fromLatin1(name)); }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    // A first buffer of 4800 frames at 1.0 is expected to end at 1.1; the second comes at `at`.
    void gapsArePaddedWithSilence_data() {
        QTest::addColumn<std::optional<double>>("at");
        QTest::addColumn<qint64>("padding");
        QTest::newRow("straight after") << std::optional<double>(1.1) << qint64(0);
        QTest::newRow("overlapping") << std::optional<double>(1.04) << qint64(0);
        QTest::newRow("a gap of 0.05 s") << std::optional<double>(1.15) << qint64(0);
        QTest::newRow("a gap of 0.06 s") << std::optional<double>(1.16) << qint64(2880);
        QTest::newRow("a gap of 2.5 s") << std::optional<double>(3.6) << qint64(120000);
        QTest::newRow("with no time") << std::optional<double>() << qint64(0);
    }
    void gapsArePaddedWithSilence() {
        QFETCH(std::optional<double>, at);
        QFETCH(qint64, padding);
        MonoWriter writer(track("gap.m4a"));
        const Tone::Block block = Tone::make(Tone::mono48k(), 0, 4800, 0.5);
        writer.write(block.buffer, 1.0);
        writer.write(block.buffer, at);
        QCOMPARE(writer.framesWritten(), 9600 + padding);
        QCOMPARE(writer.offset(), 1.0);
        QVERIFY(std::abs(*writer.nextTime() - (at.value_or(1.1) + 0.1)) < 1e-9);
        QCOMPARE(writer.lastError(), std::nullopt);
    }

    void longGapIsCappedAtAnHour() {
        MonoWriter writer(track("suspended.m4a"));
        const Tone::Block before = Tone::make(Tone::mono48k(), 0, 4800, 0.5);
        const Tone::Block after = Tone::make(Tone::mono48k(), 0, 12000, 0.5);
        writer.write(before.buffer, 0.0);
        writer.write(after.buffer, 0.1 + 2 * 3600);
        QCOMPARE(writer.framesWritten(), 4800 + qint64(3600) * 48000 + 12000);
        QCOMPARE(writer.duration(), 3600.35);
        // The levels follow the file, not the clock.
        QCOMPARE(writer.meter().rms().size(), 3600 * 4 + 1);
        QCOMPARE(writer.lastError(), std::nullopt);
        writer.close();
        // The file holds the hour too, and the buffer after it where it was written: 0.15 s in the last
        // window.
        const QList<float> read = LevelReader::levels(writer.path());
        QCOMPARE(read.size(), 3600 * 4 + 1);
        QVERIFY(std::abs(read.front() - writer.meter().rms().front()) < 0.01f);
        QVERIFY(*std::max_element(read.begin() + 1, read.end() - 1) < 0.001f);
        QVERIFY2(std::abs(read.back() - writer.meter().rms().back()) < 0.01f,
                 QByteArray::number(read.back()));
    }

    // One second of a sine at amplitude 0.5 in each source format: it must come out as one second of 48 kHz
    // mono at the same level, through one converter for the whole run.
    void formatsBecomeMono48k_data() {
        QTest::addColumn<AudioFormat>("format");
        QTest::addColumn<std::vector<double>>("channelGain");
        QTest::addColumn<double>("level");
        QTest::addColumn<int>("converters");
        const double sine = 0.5 / std::sqrt(2.0);
        QTest::newRow("48 kHz mono float as it is") << Tone::mono48k() << std::vector<double>{} << sine << 0;
        QTest::newRow("44.1 kHz stereo float")
            << AudioFormat{SampleType::Float32, 44100, 2, false} << std::vector<double>{} << sine << 1;
        QTest::newRow("44.1 kHz stereo int16 planar")
            << AudioFormat{SampleType::Int16, 44100, 2, true} << std::vector<double>{} << sine << 1;
        QTest::newRow("16 kHz mono int32")
            << AudioFormat{SampleType::Int32, 16000, 1, false} << std::vector<double>{} << sine << 1;
        QTest::newRow("stereo with the right channel silent is averaged")
            << AudioFormat{SampleType::Float32, 48000, 2, false} << std::vector<double>{1.0, 0.0} << sine / 2
            << 1;
    }
    void formatsBecomeMono48k() {
        QFETCH(AudioFormat, format);
        QFETCH(std::vector<double>, channelGain);
        QFETCH(double, level);
        QFETCH(int, converters);
        MonoWriter writer(track("formats.m4a"));
        Tone::write(writer, 0.0, 1.0, 0.5, format, channelGain);
        QCOMPARE(writer.lastError(), std::nullopt);
        QCOMPARE(writer.convertersBuilt(), converters);
        // The resampler holds back a few frames of its filter until the next buffer.
        QVERIFY2(std::abs(writer.framesWritten() - 48000) <= 64, QByteArray::number(writer.framesWritten()));
        const QList<float>& rms = writer.meter().rms();
        QCOMPARE(rms.size(), writer.framesWritten() / 12000);
        for (float value : rms.mid(1))
            QVERIFY2(std::abs(value - level) < 0.01 * level + 1e-3, QByteArray::number(value));
    }

    void formatChangeRebuildsTheConverter() {
        MonoWriter writer(track("device.m4a"));
        const AudioFormat laptop{SampleType::Float32, 44100, 2, false};
        const AudioFormat headset{SampleType::Int16, 16000, 1, false};
        Tone::write(writer, 0.0, 0.5, 0.5, laptop);
        Tone::write(writer, 0.5, 0.5, 0.5, headset);
        Tone::write(writer, 1.0, 0.5, 0.5, laptop);
        QCOMPARE(writer.convertersBuilt(), 3);
        QCOMPARE(writer.lastError(), std::nullopt);
        QVERIFY(std::abs(writer.duration() - 1.5) < 0.01);
    }

    void aFailingTrackLogsOnce() {
        const testsupport::LogWatch log;
        MonoWriter writer(m_dir.filePath(QStringLiteral("missing/folder/fail.m4a")));
        const Tone::Block block = Tone::make(Tone::mono48k(), 0, 4800, 0.5);
        writer.write(block.buffer, 0.0);
        writer.write(block.buffer, 0.1);
        QVERIFY(writer.lastError().has_value());
        QVERIFY2(writer.lastError()->startsWith(QStringLiteral("cannot create the file: ")),
                 qPrintable(*writer.lastError()));
        QCOMPARE(writer.framesWritten(), qint64(0));
        QVERIFY(!writer.hasAudio());
        QCOMPARE(log.text().count(QStringLiteral("audio write fail.m4a: ") + *writer.lastError()), 1);
    }

    void unconvertibleFormatIsReported_data() {
        QTest::addColumn<AudioFormat>("format");
        QTest::newRow("no channels") << AudioFormat{SampleType::Float32, 48000, 0, false};
        QTest::newRow("no sample rate") << AudioFormat{SampleType::Int16, 0, 2, false};
    }
    void unconvertibleFormatIsReported() {
        QFETCH(AudioFormat, format);
        MonoWriter writer(track("odd.m4a"));
        const std::vector<float> samples(960);
        writer.write(AudioBuffer{format, 480, {samples.data()}}, 0.0);
        QCOMPARE(writer.lastError(), QStringLiteral("no converter from ") + format.description());
        QCOMPARE(writer.framesWritten(), qint64(0));
        // The track goes on with the next buffer that makes sense.
        const Tone::Block block = Tone::make(Tone::mono48k(), 0, 4800, 0.5);
        writer.write(block.buffer, 0.0);
        QCOMPARE(writer.framesWritten(), qint64(4800));
    }
};

QTEST_GUILESS_MAIN(TestMonoWriter)
#include "tst_mono_writer.moc"
