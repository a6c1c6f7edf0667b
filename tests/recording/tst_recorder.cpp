#include "Tone.h"
#include "recording/Frames.h"
#include "recording/Recorder.h"

#include <QDir>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>
#include <atomic>
#include <map>

// The recorder's flows driven by hand: frames, sound and the clock come from the test, the text of a frame
// from a table keyed by the colour at its centre.
namespace {

constexpr double startHost = 1000;

class HandFrames final : public os::FrameStream {
public:
    QSize start(Receiver receiver) override {
        m_receiver = std::move(receiver);
        return {320, 180};
    }
    void stop() override { m_receiver = {}; }
    void show(const QImage& image, bool complete = true) {
        if (m_receiver.frame) m_receiver.frame({image, complete});
    }
    // A frame was due, but nothing on screen changed.
    void stayStill() {
        if (m_receiver.unchanged) m_receiver.unchanged();
    }

private:
    Receiver m_receiver;
};

class HandAudio final : public os::AudioCapture {
public:
    void start(os::AudioSource source, os::AudioReceiver receiver) override {
        m_receivers[source] = std::move(receiver);
    }
    void stop(os::AudioSource source) override { m_receivers.erase(source); }
    // One second of tone (or of zeros) from `at` on the host clock.
    void play(os::AudioSource source, double at, double amplitude = 0.3) {
        const Tone::Block block = Tone::make(Tone::mono48k(), 0, 48000, amplitude);
        if (auto it = m_receivers.find(source); it != m_receivers.end()) it->second.buffer(block.buffer, at);
    }

private:
    std::map<os::AudioSource, os::AudioReceiver> m_receivers;
};

// Reads a title line and a body line for each known colour at the centre of a frame.
class TableRecognizer final : public os::TextRecognizer {
public:
    explicit TableRecognizer(std::map<QRgb, QStringList> table) : m_table(std::move(table)) {}
    std::vector<os::TextLine> recognize(const QImage& image, Level) override {
        const auto it = m_table.find(image.pixel(image.width() / 2, image.height() / 2));
        if (it == m_table.end()) return {};
        std::vector<os::TextLine> lines;
        double top = 0.9;
        for (const QString& text : it->second) {
            // The first line is the tallest: the title.
            const double height = lines.empty() ? 0.1 : 0.04;
            lines.push_back({QRectF(0.1, top - height, 0.8, height), text});
            top -= 0.2;
        }
        return lines;
    }

private:
    std::map<QRgb, QStringList> m_table;
};

QImage solid(QColor colour) {
    QImage image(320, 180, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

// White with a small dark box at the centre: the picture barely changes, its text may.
QImage boxed() {
    QImage image = solid(Qt::white);
    QPainter(&image).fillRect(QRect(140, 78, 40, 25), QColor(40, 40, 40));
    return image;
}

struct Rig {
    QTemporaryDir dir;
    std::map<QRgb, QStringList> texts;
    std::atomic<double> now = startHost;
    HandFrames frames;
    HandAudio audio;
    std::unique_ptr<OCR> ocr;
    std::shared_ptr<Session> session;
    std::unique_ptr<Recorder> recorder;

    explicit Rig(std::map<QRgb, QStringList> table = {}, bool withMic = true) : texts(std::move(table)) {
        ocr = std::make_unique<OCR>([this] { return std::make_unique<TableRecognizer>(texts); });
        session = Session::create(QStringLiteral("Test"), QStringLiteral("Screen"), std::nullopt,
                                  QDateTime::currentDateTimeUtc(), dir.path());
        recorder = std::make_unique<Recorder>(
            session, Recorder::Sources{frames, audio, *ocr, [this] { return now.load(); }});
        recorder->start(withMic);
    }

    void at(double t) { now = startHost + t; }
    void show(double t, const QImage& image, bool complete = true) {
        at(t);
        frames.show(image, complete);
        recorder->settle();
    }
    void stayStill(double t) {
        at(t);
        frames.stayStill();
        recorder->settle();
    }
    void talk(os::AudioSource source, double t) {
        at(t + 1);
        audio.play(source, startHost + t);
        recorder->settle();
    }
};

} // namespace

class TestRecorder : public QObject {
    Q_OBJECT
private slots:
    void framesKeptAndDropped_data() {
        // w/b/x: white, black, boxed; ! marks an incomplete frame; = a frame due on a screen that did not
        // change
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("boxedText");
        QTest::addColumn<int>("shots");
        const QStringList changed{QStringLiteral("Agenda"), QStringLiteral("Budget for the spring launch")};
        const QStringList same{QStringLiteral("Agenda"), QStringLiteral("Welcome")};
        QTest::newRow("a new picture is kept") << "0w 4b" << same << 2;
        QTest::newRow("within the frame gate") << "0w 1b" << same << 1;
        QTest::newRow("an incomplete frame") << "0w! 4b" << same << 1;
        QTest::newRow("the same picture") << "0w 4w 8w" << same << 1;
        QTest::newRow("a small change whose text changed") << "0w 4x" << changed << 2;
        QTest::newRow("a small change whose text stayed") << "0w 4x" << same << 1;
        QTest::newRow("text read again only after 4 s") << "0w 2x 4w" << changed << 2;
        QTest::newRow("a frame that came too soon is judged once the screen stays still")
            << "0w 1b 4=" << same << 2;
        QTest::newRow("a text check that had to wait runs once the screen stays still")
            << "0w 2x 4w 8=" << changed << 3;
        QTest::newRow("a still screen after a judged frame keeps nothing more")
            << "0w 4b 8= 12=" << same << 2;
    }
    void framesKeptAndDropped() {
        QFETCH(QString, script);
        QFETCH(QStringList, boxedText);
        QFETCH(int, shots);
        Rig rig({{QColor(Qt::white).rgb(), {QStringLiteral("Agenda"), QStringLiteral("Welcome")}},
                 {QColor(40, 40, 40).rgb(), boxedText}});
        for (const QString& step : script.split(QLatin1Char(' '))) {
            const QChar kind = step.at(step.size() - (step.endsWith(QLatin1Char('!')) ? 2 : 1));
            const double t = 10 + step.left(step.indexOf(kind)).toDouble();
            if (kind == QLatin1Char('=')) {
                rig.stayStill(t);
                continue;
            }
            const QImage image = kind == QLatin1Char('w')   ? solid(Qt::white)
                                 : kind == QLatin1Char('b') ? solid(Qt::black)
                                                            : boxed();
            rig.show(t, image, !step.endsWith(QLatin1Char('!')));
        }
        QCOMPARE(rig.recorder->shotCount(), shots);
        QCOMPARE(QDir(rig.session->url(QStringLiteral("shots"))).entryList(QDir::Files).size(), shots);
    }

    void autoPin_data() {
        QTest::addColumn<QString>("secondTitle");
        QTest::addColumn<int>("source"); // -1: nobody speaks
        QTest::addColumn<double>("speechAt");
        QTest::addColumn<bool>("pinned");
        const auto mic = int(os::AudioSource::Mic), system = int(os::AudioSource::System);
        QTest::newRow("new title, the user spoke") << "Hiring plan" << mic << 26.0 << true;
        QTest::newRow("new title, the other side spoke") << "Hiring plan" << system << 36.0 << true;
        QTest::newRow("new title, silence") << "Hiring plan" << -1 << 0.0 << false;
        QTest::newRow("new title, speech 15 s before") << "Hiring plan" << mic << 14.0 << false;
        QTest::newRow("the same title") << "Quarterly plan" << mic << 26.0 << false;
    }
    void autoPin() {
        QFETCH(QString, secondTitle);
        QFETCH(int, source);
        QFETCH(double, speechAt);
        QFETCH(bool, pinned);
        Rig rig({{QColor(Qt::white).rgb(), {QStringLiteral("Quarterly plan"), QStringLiteral("Revenue")}},
                 {QColor(Qt::black).rgb(), {secondTitle, QStringLiteral("Two engineers")}}});
        rig.show(2, solid(Qt::white));
        if (source >= 0 && speechAt < 30) rig.talk(os::AudioSource(source), speechAt);
        rig.show(30, solid(Qt::black));
        if (source >= 0 && speechAt >= 30) rig.talk(os::AudioSource(source), speechAt);
        // Stopped before the check is due: the pending pin is judged at once.
        const auto session = rig.recorder->stop();
        QCOMPARE(session->meta.pins.size(), pinned ? 1 : 0);
        if (pinned) {
            QCOMPARE(session->meta.pins[0].t, 30.0);
            QCOMPARE(session->meta.pins[0].note, Recorder::autoPinPrefix + secondTitle);
            QCOMPARE(session->meta.pins[0].isAuto, true);
        }
    }

    void slideChangesWhileAPinIsPendingMakeNoSecond() {
        Rig rig({{QColor(Qt::white).rgb(), {QStringLiteral("Intro")}},
                 {QColor(Qt::black).rgb(), {QStringLiteral("Roadmap")}},
                 {QColor(Qt::blue).rgb(), {QStringLiteral("Budget")}}});
        rig.show(2, solid(Qt::white));
        rig.talk(os::AudioSource::Mic, 25);
        rig.show(30, solid(Qt::black));
        rig.show(90, solid(Qt::blue));
        rig.talk(os::AudioSource::Mic, 92);
        const auto session = rig.recorder->stop();
        QCOMPARE(session->meta.pins.size(), 1);
        QCOMPARE(session->meta.pins[0].t, 30.0);
        QCOMPARE(session->meta.ocr->size(), 3);
    }

    void the182ndDistinctFrameIsNotKept() {
        Rig rig;
        for (int i = 0; i <= Frames::maxShots; ++i)
            rig.show(2.0 * i, solid(i % 2 ? Qt::black : Qt::white));
        QCOMPARE(rig.recorder->shotCount(), Frames::maxShots);
        QCOMPARE(rig.recorder->stop()->meta.shots.size(), qsizetype(Frames::maxShots));
    }

    // The frame of a new text reaches the text queue only after a check there and a decision on the capture
    // queue: the recorder must see that chain through before its queues go.
    void aRecorderDroppedWithoutAStopSettlesFirst() {
        for (int round = 0; round < 5; ++round) {
            Rig rig({{QColor(Qt::white).rgb(), {QStringLiteral("Agenda"), QStringLiteral("Welcome")}},
                     {QColor(40, 40, 40).rgb(), {QStringLiteral("Budget for the spring launch")}}});
            rig.show(0, solid(Qt::white));
            rig.at(4);
            rig.frames.show(boxed());
            rig.recorder.reset();
            QCOMPARE(QDir(rig.session->url(QStringLiteral("shots"))).entryList(QDir::Files).size(), 2);
        }
    }

    void aPrivateAppKeepsFramesButNoText() {
        Rig rig({{QColor(Qt::white).rgb(), {QStringLiteral("Vault"), QStringLiteral("secret words")}},
                 {QColor(Qt::black).rgb(), {QStringLiteral("Docs"), QStringLiteral("open words")}}});
        rig.at(1);
        rig.recorder->noteApp(QStringLiteral("1Password"), QStringLiteral("com.1password.1password"),
                              QStringLiteral("Vault"));
        rig.show(2, solid(Qt::white));
        rig.at(10);
        rig.recorder->noteApp(QStringLiteral("Firefox"), QStringLiteral("firefox"), QStringLiteral("Docs"));
        rig.show(12, solid(Qt::black));
        const auto session = rig.recorder->stop();
        QCOMPARE(session->meta.shots.size(), 2);
        QCOMPARE(session->meta.apps->first(), (AppSpan{1, 10, QStringLiteral("(private)"), std::nullopt}));
        QCOMPARE(session->meta.ocr->size(), 1);
        QCOMPARE(session->meta.ocr->first().app, QStringLiteral("Firefox"));
    }

    void aSessionWithNoSoundHasNoAudioFile() {
        Rig rig;
        rig.at(3);
        const auto session = rig.recorder->stop();
        QVERIFY(session->meta.micOk);
        QCOMPARE(session->meta.audioFile, std::nullopt);
        QVERIFY(!QFileInfo::exists(session->url(QStringLiteral("mixed.m4a"))));
    }
};

QTEST_GUILESS_MAIN(TestRecorder)
#include "tst_recorder.moc"
