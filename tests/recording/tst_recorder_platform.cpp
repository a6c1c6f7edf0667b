#include "RequiredServices.h"
#include "Speech.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "os/linux/Backends.h"
#include "recording/LevelReader.h"
#include "recording/Mixer.h"
#include "recording/Recorder.h"
#include "recording/Speaking.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

namespace {

bool soundServerRuns() { return QProcess::execute(QStringLiteral("pactl"), {QStringLiteral("info")}) == 0; }

QString pactl(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("pactl"), arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// For the recordings that are about sound: a screen that starts and never shows a frame.
class NoFrames final : public os::FrameStream {
public:
    QSize start(Receiver) override { return {1920, 1080}; }
    void stop() override {}
};

// A recorder on the real sound server, recording into a folder of its own.
struct AudioRig {
    QTemporaryDir dir;
    NoFrames frames;
    std::unique_ptr<os::AudioCapture> audio = os::linux_backends::makeAudioCapture();
    OCR ocr{[] { return os::linux_backends::makeTextRecognizer(); }};
    std::shared_ptr<Session> session =
        Session::create(QStringLiteral("Platform"), QStringLiteral("Screen"), std::nullopt,
                        QDateTime::currentDateTimeUtc(), dir.path());
    Recorder recorder{session, {frames, *audio, ocr}};

    // Seconds on the recording's timeline of a monotonic time.
    double timeline(double monotonic) const { return monotonic - recorder.startedHost(); }
};

// The log lines written since it was made.
class LogWatch {
public:
    LogWatch() : m_from(size()) {}
    QString text() const {
        QFile file(Paths::logFile());
        if (!file.open(QIODevice::ReadOnly) || !file.seek(m_from))
            return {};
        return QString::fromUtf8(file.readAll());
    }

private:
    static qint64 size() {
        slogFlush();
        return QFileInfo(Paths::logFile()).size();
    }
    const qint64 m_from;
};

QString spansText(const QList<Span>& spans) {
    QStringList parts;
    for (const Span& span : spans)
        parts.append(QStringLiteral("%1-%2").arg(span.t).arg(span.end));
    return parts.join(QLatin1Char(' '));
}

// The one span of `spans`, which must lie where the speech was, give or take half a second: the levels are
// measured in windows of a quarter of a second.
void expectOneSpan(const QList<Span>& spans, double from, double to) {
    QVERIFY2(spans.size() == 1, qPrintable(QStringLiteral("spans: %1").arg(spansText(spans))));
    QVERIFY2(std::abs(spans[0].t - from) <= 0.5 && std::abs(spans[0].end - to) <= 0.5,
             qPrintable(QStringLiteral("span %1 for speech %2-%3").arg(spansText(spans)).arg(from).arg(to)));
}

float loudest(const QString& track) {
    const QList<float> levels = LevelReader::levels(track);
    return levels.isEmpty() ? 0.0f : *std::max_element(levels.begin(), levels.end());
}

// A second microphone that hears the same input as "orvane_mic", so that tests running meanwhile hear the
// same; the default source is "orvane_mic" again when it goes.
class SpareMic {
public:
    static inline const QString name = QStringLiteral("orvane_recorder_spare_mic");

    SpareMic()
        : m_module(pactl({QStringLiteral("load-module"), QStringLiteral("module-remap-source"),
                          QStringLiteral("master=orvane_mic_in.monitor"), QStringLiteral("source_name=") + name})) {}
    ~SpareMic() {
        pactl({QStringLiteral("set-default-source"), QStringLiteral("orvane_mic")});
        unplug();
    }
    SpareMic(const SpareMic&) = delete;
    SpareMic& operator=(const SpareMic&) = delete;

    bool loaded() const { return !m_module.isEmpty(); }
    void makeDefault() { pactl({QStringLiteral("set-default-source"), name}); }
    void unplug() {
        if (loaded())
            pactl({QStringLiteral("unload-module"), m_module});
        m_module.clear();
    }

private:
    QString m_module;
};

} // namespace

// The recorder against the test environment's PulseAudio daemon: "orvane_speaker" is what the computer plays
// (the other side), "orvane_mic" the microphone, which hears what is played into "orvane_mic_in" (you).
class TestRecorderPlatform : public QObject {
    Q_OBJECT

private slots:
    void speechOnBothSidesIsMixed() {
        REQUIRE_SERVICE(soundServerRuns(), "a PulseAudio daemon");
        AudioRig rig;
        rig.recorder.start(true);
        QVERIFY(rig.recorder.micOk());

        constexpr double talk = 2;
        double other = 0, you = 0;
        {
            Speech speaker("orvane_speaker");
            other = rig.timeline(speaker.speak(talk));
        }
        {
            Speech microphone("orvane_mic_in");
            you = rig.timeline(microphone.speak(talk));
        }
        // The capture hands buffers on every few tens of milliseconds.
        QTest::qWait(300);
        const auto session = rig.recorder.stop();

        const SessionMeta& meta = session->meta;
        QCOMPARE(meta.audioFile, QStringLiteral("mixed.m4a"));
        QVERIFY(QFileInfo::exists(session->url(QStringLiteral("mixed.m4a"))));
        QVERIFY(meta.micOk);
        QVERIFY(loudest(session->url(QStringLiteral("system.m4a"))) > Speaking::tabThreshold);
        QVERIFY(loudest(session->url(QStringLiteral("mic.m4a"))) > Speaking::micThreshold);
        expectOneSpan(meta.levelsTab, other, other + talk);
        expectOneSpan(meta.levelsMic, you, you + talk);
        const double mixed = Mixer::duration(session->url(QStringLiteral("mixed.m4a")));
        QVERIFY2(mixed >= you + talk, qPrintable(QStringLiteral("the mix lasts %1 s").arg(mixed)));
    }

    // The microphone follows the sound server: a new default source, or the device unplugged, restarts it,
    // and the track goes on with the time between as silence.
    void aChangedMicrophoneRestarts_data() {
        QTest::addColumn<bool>("unplug");
        QTest::newRow("another default source") << false;
        QTest::newRow("the microphone unplugged") << true;
    }
    void aChangedMicrophoneRestarts() {
        REQUIRE_SERVICE(soundServerRuns(), "a PulseAudio daemon");
        QFETCH(bool, unplug);
        SpareMic spare;
        QVERIFY(spare.loaded());
        if (unplug)
            spare.makeDefault();
        // An idle null sink hands its monitor's first samples over only after seconds: a sink that plays has
        // the microphone deliver within a second of the start.
        const Playing hush("orvane_mic_in", false);
        QTest::qWait(1000);
        AudioRig rig;
        const LogWatch log;
        rig.recorder.start(true);
        QVERIFY(rig.recorder.micOk());
        QTest::qWait(1000);

        if (unplug)
            spare.unplug();
        else
            spare.makeDefault();
        QTRY_VERIFY_WITH_TIMEOUT(log.text().contains(QStringLiteral("audio configuration changed: restarting mic")),
                                 5000);
        QVERIFY(rig.recorder.micOk());
        // What was said after the restart is on the track, where it was said.
        constexpr double talk = 1.5;
        double you = 0;
        {
            Speech microphone("orvane_mic_in");
            you = rig.timeline(microphone.speak(talk));
        }
        QTest::qWait(300);
        const double elapsed = rig.recorder.elapsed();
        const auto session = rig.recorder.stop();

        QVERIFY(session->meta.micOk);
        expectOneSpan(session->meta.levelsMic, you, you + talk);
        // The time the microphone was away is silence on its one track, which goes on to the stop.
        const double mic = Mixer::duration(session->url(QStringLiteral("mic.m4a")));
        QVERIFY2(mic >= elapsed - 1,
                 qPrintable(QStringLiteral("the mic track lasts %1 s of %2 s").arg(mic).arg(elapsed)));
        QVERIFY(!log.text().contains(QStringLiteral("mic start failed")));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // slides are drawn into images; the screen is the X server's
    QGuiApplication app(argc, argv);
    TestRecorderPlatform test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_recorder_platform.moc"
