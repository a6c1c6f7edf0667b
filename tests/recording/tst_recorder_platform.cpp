#include "RequiredServices.h"
#include "os/linux/Backends.h"
#include "os/linux/X11FrameStream.h"
#include "recording/Mixer.h"
#include "recording/MonoDecoder.h"
#include "recording/MonoWriter.h"
#include "recording/Recorder.h"
#include "recording/Recovery.h"
#include "support/Files.h"
#include "support/ForeignWindow.h"
#include "support/PrivateXServer.h"
#include "support/Slides.h"
#include "support/Speech.h"

#include <QDir>
#include <QGuiApplication>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <map>

namespace {

using testsupport::LogWatch;

bool xServerRuns() {
    return ForeignWindow().open();
}

// Grounds far apart, as slides of different layouts are: each change of slide is a visual one.
const QList<QColor> grounds{Qt::white, QColor(250, 220, 150), QColor(170, 200, 240)};

QImage slide(const QString& title, qsizetype number, QSize size) {
    return Slides::draw({{title, 72},
                         {QStringLiteral("First point of slide %1").arg(number + 1), 40},
                         {QStringLiteral("Second point, with more words"), 40}},
                        size, grounds[number % grounds.size()]);
}

// Keeps `window` painted until `done` holds, for at most `timeout` milliseconds.
template <typename Done> bool present(ForeignWindow& window, Done done, int timeout = 20000) {
    return QTest::qWaitFor(
        [&] {
            window.keepPainted();
            return done();
        },
        timeout);
}

QString pactl(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("pactl"), arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

void setDefaultSource(const QString& name) {
    pactl({QStringLiteral("set-default-source"), name});
}

// For the recordings that are about sound: a screen that starts and never shows a frame.
class NoFrames final : public os::FrameStream {
public:
    QSize start(Receiver) override { return {640, 360}; }
    void stop() override {}
};

// A recorder of the real capture services, recording into a folder of its own.
struct Rig {
    QTemporaryDir dir;
    std::unique_ptr<os::FrameStream> frames;
    std::unique_ptr<os::AudioCapture> audio = os::linux_backends::makeAudioCapture();
    OCR ocr{[] { return os::linux_backends::makeTextRecognizer(); }};
    std::shared_ptr<Session> session =
        Session::create(QStringLiteral("Platform"), QStringLiteral("Screen"), std::nullopt,
                        QDateTime::currentDateTimeUtc(), dir.path());
    Recorder recorder{session, {*frames, *audio, ocr}};
    std::atomic<int> micBuffers = 0;
    // Timeline seconds when the microphone's first buffer came, about where its track begins.
    std::atomic<double> micFrom = -1;

    explicit Rig(std::unique_ptr<os::FrameStream> stream = std::make_unique<NoFrames>())
        : frames(std::move(stream)) {
        recorder.onMicLevel = [this](float) {
            if (micBuffers++ == 0) micFrom = recorder.elapsed();
        };
    }
    // Seconds on the recording's timeline of a monotonic time.
    double timeline(double monotonic) const { return monotonic - recorder.startedHost(); }
    // Returns once the microphone has handed on `count` more buffers: the second holds only sound that came
    // after the call, so all before it is on the track.
    bool micMoves(int count = 2) {
        const int from = micBuffers;
        return QTest::qWaitFor([&] { return micBuffers >= from + count; }, 10000);
    }
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

// The seconds at which a tone begins in `track` (a sample louder than half of it after a quarter second
// without one), with the track's first sample at 0.
QList<double> toneOnsets(const QString& track) {
    MonoDecoder decoder(track, MonoWriter::sampleRate);
    std::span<const float> samples;
    QList<double> onsets;
    qint64 frame = 0, lastLoud = -MonoWriter::sampleRate;
    while (decoder.next(samples))
        for (const float sample : samples) {
            if (std::abs(sample) > Speech::amplitude / 2) {
                if (frame - lastLoud > MonoWriter::sampleRate / 4) onsets.append(double(frame) / 48000);
                lastLoud = frame;
            }
            ++frame;
        }
    return onsets;
}

// A second microphone that hears the same input as "orvane_mic", so that tests running meanwhile hear the
// same; the default source is "orvane_mic" again when it goes.
class SpareMic {
public:
    static inline const QString name = QStringLiteral("orvane_recorder_spare_mic");

    SpareMic()
        : m_module(pactl({QStringLiteral("load-module"), QStringLiteral("module-remap-source"),
                          QStringLiteral("master=orvane_mic_in.monitor"),
                          QStringLiteral("source_name=") + name})) {}
    ~SpareMic() {
        setDefaultSource(QStringLiteral("orvane_mic"));
        unplug();
    }
    SpareMic(const SpareMic&) = delete;
    SpareMic& operator=(const SpareMic&) = delete;

    bool loaded() const { return !m_module.isEmpty(); }
    void unplug() {
        if (loaded()) pactl({QStringLiteral("unload-module"), m_module});
        m_module.clear();
    }

private:
    QString m_module;
};

// The sound server as it is on a computer without a microphone, until it goes: the microphone's module
// unloaded, and the speaker's monitor the default source, as PulseAudio makes it when a monitor is all there
// is.
class NoMicrophone {
public:
    NoMicrophone() {
        for (const QString& module :
             pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("modules")}).split('\n'))
            if (module.contains(QLatin1String("source_name=orvane_mic ")))
                pactl({QStringLiteral("unload-module"), module.section(QLatin1Char('\t'), 0, 0)});
        setDefaultSource(QStringLiteral("orvane_speaker.monitor"));
    }
    ~NoMicrophone() {
        pactl({QStringLiteral("load-module"), QStringLiteral("module-remap-source"),
               QStringLiteral("master=orvane_mic_in.monitor"), QStringLiteral("source_name=orvane_mic"),
               QStringLiteral("source_properties=device.description=Microphone")});
        setDefaultSource(QStringLiteral("orvane_mic"));
    }
    NoMicrophone(const NoMicrophone&) = delete;
    NoMicrophone& operator=(const NoMicrophone&) = delete;
    static bool micGone() {
        return !pactl({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("sources")})
                    .contains(QLatin1String("orvane_mic\t"));
    }
};

} // namespace

// The recorder against the test environment's PulseAudio daemon: "orvane_speaker" is what the computer plays
// (the other side), "orvane_mic" the microphone, which hears what is played into "orvane_mic_in" (you).
class TestRecorderPlatform : public QObject {
    Q_OBJECT

private slots:
    // Each side is on its track where it spoke, and in the mix to within 50 ms. Without a microphone the
    // sound server's default source is the speaker's monitor: recorded as the user, the other side would be
    // there twice, so the recording goes on with the system audio alone. Without a sound server it goes on
    // without sound.
    void speechIsRecordedWhereItWasSaid_data() {
        QTest::addColumn<QString>("machine");
        QTest::newRow("a computer with a microphone") << "microphone";
        QTest::newRow("a sound server without a microphone") << "monitor only";
        QTest::newRow("no sound server") << "silent";
    }
    void speechIsRecordedWhereItWasSaid() {
        REQUIRE_SERVICE(soundServerRuns(), "a PulseAudio daemon");
        QFETCH(QString, machine);
        const bool microphone = machine == QLatin1String("microphone"),
                   silent = machine == QLatin1String("silent");
        std::optional<NoMicrophone> noMic;
        if (machine == QLatin1String("monitor only")) noMic.emplace();
        QCOMPARE(NoMicrophone::micGone(), bool(noMic));
        const QByteArray server = qgetenv("PULSE_SERVER");
        const auto restore = qScopeGuard(
            [&] { server.isNull() ? qunsetenv("PULSE_SERVER") : qputenv("PULSE_SERVER", server); });
        if (silent) qputenv("PULSE_SERVER", "unix:/nonexistent/orvane-no-sound-server");
        Rig rig;
        const LogWatch log;
        rig.recorder.start(true);
        QCOMPARE(rig.recorder.micOk(), microphone);
        if (silent) {
            const auto session = rig.recorder.stop();
            QCOMPARE(session->meta.audioFile, std::nullopt);
            QVERIFY(!session->meta.micOk);
            QVERIFY(log.text().contains(QStringLiteral("system audio start failed")));
            return;
        }

        constexpr double talk = 2;
        const double other = rig.timeline(Speech("orvane_speaker").tone(talk));
        const double you = microphone ? rig.timeline(Speech("orvane_mic_in").tone(talk)) : 0;
        if (microphone) QVERIFY(rig.micMoves());
        const auto session = rig.recorder.stop();

        const SessionMeta& meta = session->meta;
        QCOMPARE(meta.micOk, microphone);
        QCOMPARE(meta.levelsMic.isEmpty(), !microphone);
        QCOMPARE(meta.audioFile, QStringLiteral("mixed.m4a"));
        expectOneSpan(meta.levelsTab, other, other + talk);
        if (microphone) expectOneSpan(meta.levelsMic, you, you + talk);
        if (!microphone) QVERIFY(log.text().contains(QStringLiteral("no microphone input")));
        const QList<double> heard = toneOnsets(session->url(QStringLiteral("mixed.m4a")));
        const QList<double> said = microphone ? QList<double>{other, you} : QList<double>{other};
        QCOMPARE(heard.size(), said.size());
        for (qsizetype i = 0; i < said.size(); ++i)
            QVERIFY2(std::abs(heard[i] - said[i]) <= 0.05,
                     qPrintable(QStringLiteral("heard at %1 s, said at %2 s").arg(heard[i]).arg(said[i])));
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
        if (unplug) setDefaultSource(SpareMic::name);
        // An idle null sink hands its monitor's first samples over only after seconds: a sink that plays has
        // the microphone deliver within a second of the start.
        const Playing hush("orvane_mic_in", false);
        Rig rig;
        const LogWatch log;
        rig.recorder.start(true);
        QVERIFY(rig.recorder.micOk());
        QVERIFY(rig.micMoves());

        unplug ? spare.unplug() : setDefaultSource(SpareMic::name);
        QTRY_VERIFY_WITH_TIMEOUT(
            log.text().contains(QStringLiteral("audio configuration changed: restarting mic")), 5000);
        QVERIFY(rig.recorder.micOk());
        // What was said after the restart is on the track, where it was said.
        constexpr double talk = 1.5;
        const double you = rig.timeline(Speech("orvane_mic_in").speak(talk));
        QVERIFY(rig.micMoves());
        const double elapsed = rig.recorder.elapsed();
        const auto session = rig.recorder.stop();

        QVERIFY(session->meta.micOk);
        expectOneSpan(session->meta.levelsMic, you, you + talk);
        // The time the microphone was away is silence on its one track, which goes on to the stop.
        const double micEnd = rig.micFrom + Mixer::duration(session->url(QStringLiteral("mic.m4a")));
        QVERIFY2(micEnd >= elapsed - 0.5,
                 qPrintable(QStringLiteral("the mic track ends at %1 s of %2 s").arg(micEnd).arg(elapsed)));
        QVERIFY(!log.text().contains(QStringLiteral("mic start failed")));
    }

    // An X server without XFixes gives no cursor image: the frames are whole pictures all the same.
    void anXServerWithoutXFixesGivesShots() {
        REQUIRE_SERVICE(xvfbInstalled(), "Xvfb");
        PrivateXServer server;
        QVERIFY(server.start(QStringLiteral("640x480x24"),
                             {QStringLiteral("-extension"), QStringLiteral("XFIXES")}));
        Rig rig(std::make_unique<os::X11FrameStream>(2.0, 1440, server.display()));
        rig.recorder.start(false);
        QTRY_COMPARE_WITH_TIMEOUT(rig.recorder.shotCount(), 1, 10000);
        QCOMPARE(rig.recorder.stop()->meta.shots.size(), 1);
    }

    // A recording killed at a random moment leaves a folder that the next start recovers: the sound up to
    // about the last second, and every shot that reached the disk.
    void aKilledRecordingIsRecovered() {
        REQUIRE_SERVICE(soundServerRuns(), "a PulseAudio daemon");
        REQUIRE_SERVICE(xServerRuns(), "an X server");
        ForeignWindow window;
        QVERIFY(window.open());
        window.show(slide(QStringLiteral("Before the crash"), 0, window.size()));
        QTemporaryDir base;
        const Playing other("orvane_speaker", true);
        const Playing you("orvane_mic_in", true);
        QProcess victim;
        victim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        victim.start(QStringLiteral(REC_VICTIM), {base.path()});
        // "recording <monotonic zero of the timeline>" and "mic <timeline seconds of the first buffer>".
        std::map<QByteArray, double> said;
        while (said.size() < 2 && victim.waitForReadyRead(10000)) {
            while (victim.canReadLine()) {
                const QList<QByteArray> words = victim.readLine().trimmed().split(' ');
                if (words.size() == 2) said[words[0]] = words[1].toDouble();
            }
        }
        QVERIFY2(said.count("recording") && said.count("mic"),
                 "the recording did not start with the microphone");
        const double startedHost = said["recording"];

        // A new slide at each frame: shots that meta.json does not name until the recording's next save. The
        // kill comes at a random frame, anywhere in a fragment of the sound.
        const int killAfter = 2 + QRandomGenerator::global()->bounded(3);
        int frames = 0;
        for (qsizetype i = 1; frames < killAfter; ++i) {
            window.show(slide(QStringLiteral("Slide %1 before the crash").arg(i), i, window.size()));
            const int seen = frames;
            QVERIFY(present(window, [&] {
                while (victim.canReadLine())
                    frames += victim.readLine().startsWith("frame");
                return frames > seen;
            }));
        }
        qInfo("killed %.1f s into the recording", os::monotonicSeconds() - startedHost);
        ::kill(pid_t(victim.processId()), SIGKILL);
        const double killedAt = os::monotonicSeconds() - startedHost;
        QVERIFY(victim.waitForFinished(5000));

        const QStringList recovered = Recovery::recoverInterrupted(base.path());
        QCOMPARE(recovered.size(), 1);
        const auto session = Session::load(base.filePath(recovered[0]));
        QVERIFY(session);
        const SessionMeta& meta = session->meta;
        QVERIFY(meta.ended);
        QCOMPARE(meta.lastError, QStringLiteral("the session was interrupted"));
        QVERIFY(meta.audioFile);
        QVERIFY(!toneOnsets(session->url(*meta.audioFile)).isEmpty());
        // The microphone's track on disk reaches to within a fragment of the kill.
        const double micEnd = said["mic"] + Mixer::duration(session->url(QStringLiteral("mic.m4a")));
        QVERIFY2(micEnd >= killedAt - 1.5 && micEnd <= killedAt + 0.5,
                 qPrintable(
                     QStringLiteral("the mic track ends at %1 s, killed at %2 s").arg(micEnd).arg(killedAt)));

        // Every shot on disk is listed, and every listed one is there: the first at the start and one for
        // about every slide after it.
        const QStringList onDisk = QDir(session->url(QStringLiteral("shots")))
                                       .entryList({QStringLiteral("*.jpg")}, QDir::Files, QDir::Name);
        QVERIFY2(onDisk.size() >= 2, qPrintable(onDisk.join(QLatin1Char(' '))));
        QStringList listed;
        for (const ShotMeta& shot : meta.shots) {
            listed.append(QFileInfo(shot.file).fileName());
            QVERIFY(shot.t >= 0 && shot.t <= killedAt + 1);
        }
        QCOMPARE(listed, onDisk);
    }

    // Slides shown by another program are kept once each, and their text is read.
    void slidesAreKeptAndRead() {
        REQUIRE_SERVICE(xServerRuns(), "an X server");
        ForeignWindow window;
        QVERIFY(window.open());
        const QStringList titles{QStringLiteral("Quarterly revenue review"),
                                 QStringLiteral("Hiring plan for spring"),
                                 QStringLiteral("Roadmap and open questions")};
        window.show(slide(titles[0], 0, window.size()));
        Rig rig(os::linux_backends::makeFrameStream(false));
        std::atomic<int> ticks = 0;
        rig.recorder.onFrameTick = [&](double) { ++ticks; };
        rig.recorder.start(false);
        for (qsizetype i = 0; i < titles.size(); ++i) {
            if (i > 0) window.show(slide(titles[i], i, window.size()));
            // The slide kept, and a frame since it was painted: a still screen sends no more.
            const int from = ticks;
            QVERIFY(present(window, [&] { return ticks >= from + 1 && rig.recorder.shotCount() > i; }));
        }
        const auto session = rig.recorder.stop();

        // One shot per slide; a frame taken while a slide was half painted may add one.
        const qsizetype shots = session->meta.shots.size();
        QVERIFY2(shots >= titles.size() && shots <= titles.size() + 1, qPrintable(QString::number(shots)));
        const QList<OcrEntry> read = session->meta.ocr.value_or(QList<OcrEntry>());
        for (const QString& title : titles)
            QVERIFY2(std::any_of(read.begin(), read.end(),
                                 [&](const OcrEntry& entry) {
                                     return entry.text.contains(title, Qt::CaseInsensitive);
                                 }),
                     qPrintable(title + QStringLiteral(" not read")));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // slides are drawn into images; the screen is the X server's
    QGuiApplication app(argc, argv);
    TestRecorderPlatform test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_recorder_platform.moc"
