#include "RequiredServices.h"
#include "os/linux/PulseAudioCapture.h"
#include "recording/MonoDecoder.h"
#include "recording/MonoWriter.h"
#include "support/Speech.h"

#include <QTemporaryDir>
#include <QTest>
#include <atomic>
#include <cmath>

using os::AudioSource;

Q_DECLARE_METATYPE(os::AudioSource)

namespace {
constexpr double toneSeconds = 0.5;

// One source recorded into a track, as the recorder does; `at` of the last buffer tells how far it got.
struct Recording {
    explicit Recording(const QString& path) : writer(path) {}

    os::AudioReceiver receiver() {
        return {[this](const AudioBuffer& buffer, double at) {
                    writer.write(buffer, at);
                    reached = at + double(buffer.frames) / buffer.format.sampleRate;
                },
                [this] { changed = true; }};
    }

    MonoWriter writer;
    std::atomic<double> reached = 0;
    std::atomic<bool> changed = false;
};

// The timeline time of the first sample louder than half the tone, if any.
std::optional<double> toneOnset(const MonoWriter& track) {
    MonoDecoder decoder(track.path(), MonoWriter::sampleRate);
    std::span<const float> samples;
    qint64 frame = 0;
    while (decoder.next(samples)) {
        for (size_t i = 0; i < samples.size(); ++i)
            if (std::abs(samples[i]) > Speech::amplitude / 2)
                return *track.offset() + double(frame + qint64(i)) / MonoWriter::sampleRate;
        frame += qint64(samples.size());
    }
    return std::nullopt;
}
} // namespace

// Capture from the PulseAudio daemon of the test environment: "orvane_speaker" is the default sink, and
// "orvane_mic" the default source, which hears what is played into "orvane_mic_in".
class TestAudioCapture : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void aToneLandsOnItsTrackInTime_data() {
        QTest::addColumn<QByteArray>("sink");
        QTest::addColumn<AudioSource>("hears");
        QTest::newRow("played by the computer") << QByteArray("orvane_speaker") << AudioSource::System;
        QTest::newRow("spoken into the microphone") << QByteArray("orvane_mic_in") << AudioSource::Mic;
    }
    void aToneLandsOnItsTrackInTime() {
        REQUIRE_SERVICE(soundServerRuns(), "a PulseAudio daemon");
        QFETCH(QByteArray, sink);
        QFETCH(AudioSource, hears);
        Recording system(m_dir.filePath(QStringLiteral("system.m4a")));
        Recording mic(m_dir.filePath(QStringLiteral("mic.m4a")));
        os::PulseAudioCapture capture;
        capture.start(AudioSource::System, system.receiver());
        capture.start(AudioSource::Mic, mic.receiver());

        const double toneAt = Speech(sink.constData()).tone(toneSeconds);
        const double until = toneAt + toneSeconds + 0.2;
        QTRY_VERIFY_WITH_TIMEOUT(system.reached > until && mic.reached > until, 5000);
        capture.stop(AudioSource::System);
        capture.stop(AudioSource::Mic);
        system.writer.close();
        mic.writer.close();
        QVERIFY(!system.changed && !mic.changed);

        Recording& hearing = hears == AudioSource::System ? system : mic;
        Recording& other = hears == AudioSource::System ? mic : system;
        const std::optional<double> onset = toneOnset(hearing.writer);
        QVERIFY2(onset, "the tone is not on its track");
        QVERIFY2(std::abs(*onset - toneAt) <= 0.05,
                 qPrintable(QStringLiteral("%1 s late").arg(*onset - toneAt)));
        QCOMPARE(toneOnset(other.writer), std::nullopt);
        // A buffer after `stop` would have reached a closed writer.
        QCOMPARE(system.writer.lastError(), std::nullopt);
        QCOMPARE(mic.writer.lastError(), std::nullopt);
    }

    void noSoundServerIsAnError() {
        const QByteArray server = qgetenv("PULSE_SERVER");
        qputenv("PULSE_SERVER",
                "unix:" + QFile::encodeName(m_dir.filePath(QStringLiteral("no-such-socket"))));
        os::PulseAudioCapture capture;
        Recording mic(m_dir.filePath(QStringLiteral("none.m4a")));
        try {
            capture.start(AudioSource::Mic, mic.receiver());
            QFAIL("no error");
        } catch (const os::AudioCaptureError& error) {
            QVERIFY2(QByteArray(error.what()).startsWith("no sound server: "), error.what());
        }
        if (server.isNull())
            qunsetenv("PULSE_SERVER");
        else
            qputenv("PULSE_SERVER", server);
    }
};

QTEST_GUILESS_MAIN(TestAudioCapture)
#include "tst_audio_capture.moc"
