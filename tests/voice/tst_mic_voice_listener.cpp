#include "RequiredServices.h"
#include "os/linux/Backends.h"
#include "voice/MicVoiceListener.h"
#include "voice/VoiceIntent.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>
#include <future>

using namespace Qt::StringLiterals;

namespace {

// A decoder whose decision waits until the test lets it go, as a slow machine's would.
class StuckDecoder final : public os::SpeechDecoder {
public:
    explicit StuckDecoder(std::shared_future<void> release) : m_release(std::move(release)) {}
    void begin() override {}
    void feed(std::span<const int16_t>) override {}
    bool inSpeech() const override { return false; }
    QString partial() override { return {}; }
    std::vector<os::HeardWord> end() override { return {}; }
    os::CommandHearing command(std::span<const int16_t>, const QStringList&, const QStringList&) override {
        m_release.wait();
        return {u"note"_s, 0.5, {}};
    }

private:
    std::shared_future<void> m_release;
};

class StuckEngine final : public os::SpeechEngine {
public:
    std::promise<void> release;
    QString missing() const override { return {}; }
    std::unique_ptr<os::SpeechDecoder> makeDecoder() override {
        return std::make_unique<StuckDecoder>(m_released);
    }

private:
    std::shared_future<void> m_released = release.get_future().share();
};

// A microphone that is there and says nothing.
class SilentCapture final : public os::AudioCapture {
public:
    void start(os::AudioSource, os::AudioReceiver) override {}
    void stop(os::AudioSource) override {}
};

struct Authorized {
    bool answered = false;
    bool ok = false;
    QString message;
};

Authorized authorize(MicVoiceListener& listener) {
    Authorized result;
    listener.authorize([&](bool ok, const QString& message) { result = {true, ok, message}; });
    (void)QTest::qWaitFor([&] { return result.answered; }, 30000);
    return result;
}

bool pactl(const QStringList& args) {
    return QProcess::execute(u"pactl"_s, args) == 0;
}

} // namespace

// The push-to-talk listener on the test's sound server: speech played into the microphone, a server without
// one, and a decision that does not come in time.
class MicVoiceListenerTest : public QObject {
    Q_OBJECT

private slots:
    // The grammar's prefix counts only where the language model heard its words too; the rest is the
    // payload. Words are "text start end", in seconds.
    void aPrefixCountsWhereTheLanguageModelHeardIt_data() {
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<double>("prefixEnd");
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<bool>("command");
        QTest::addColumn<QString>("text");
        const QStringList tweet{u"pinned 0.25 0.6"_s, u"the 0.6 0.8"_s, u"tweet 0.85 1.2"_s};
        QTest::addRow("a short first word misheard")
            << u"pin this"_s << 0.9
            << QStringList{u"and 0.25 0.45"_s, u"this 0.45 0.88"_s, u"tweet 0.95 1.3"_s} << true
            << u"pin this tweet"_s;
        QTest::addRow("one letter off")
            << u"new card"_s << 0.6 << QStringList{u"new 0.25 0.4"_s, u"car 0.4 0.62"_s, u"debate 0.7 1.0"_s}
            << true << u"new card debate"_s;
        QTest::addRow("the last two words heard as one letter off")
            << u"to do"_s << 0.6 << QStringList{u"to 0.25 0.4"_s, u"to 0.4 0.62"_s, u"fix 0.7 1.0"_s} << true
            << u"to do fix"_s;
        QTest::addRow("one word heard as two")
            << u"screenshot"_s << 0.9
            << QStringList{u"screen 0.25 0.6"_s, u"shot 0.6 0.92"_s, u"their 1.0 1.2"_s} << true
            << u"screenshot their"_s;
        QTest::addRow("a longer word across the prefix's end")
            << u"card"_s << 0.5 << QStringList{u"cardboard 0.25 0.85"_s, u"boxes 0.9 1.3"_s} << false
            << u"cardboard boxes"_s;
        QTest::addRow("other words that sound alike")
            << u"pin this"_s << 0.8 << tweet << false << u"pinned the tweet"_s;
        QTest::addRow("the word heard elsewhere")
            << u"note"_s << 0.5 << QStringList{u"so 0.25 0.5"_s, u"note 1.2 1.5"_s} << false << u"so note"_s;
        QTest::addRow("nothing heard") << u"note"_s << 0.5 << QStringList{} << false << QString();
        const QStringList noisy{u"take 0.25 0.5"_s, u"a 0.5 0.55"_s, u"screenshot 0.55 1.1"_s,
                                u"of 1.1 1.2"_s, u"rice 1.3 1.6"_s};
        QTest::addRow("the grammar rejected what the free decoding heard whole")
            << QString() << 0.0 << noisy << true << u"take a screenshot of rice"_s;
        QTest::addRow("the grammar rejected, and the free words only begin like a prefix")
            << QString() << 0.0 << QStringList{u"notebook 0.25 0.7"_s, u"prices 0.7 1.1"_s} << false
            << u"notebook prices"_s;
    }
    void aPrefixCountsWhereTheLanguageModelHeardIt() {
        QFETCH(QString, prefix);
        QFETCH(double, prefixEnd);
        QFETCH(QStringList, words);
        QFETCH(bool, command);
        QFETCH(QString, text);
        os::CommandHearing hearing{prefix, prefixEnd, {}};
        for (const QString& word : words) {
            const QStringList parts = word.split(u' ');
            hearing.words.push_back({parts[0], parts[1].toDouble(), parts[2].toDouble(), 0.9});
        }
        const VoiceHeard heard = MicVoiceListener::heard(hearing);
        QCOMPARE(heard.command, command);
        QCOMPARE(heard.text, text);
    }

    void speechIntoTheMicrophoneGivesTheCommand() {
        REQUIRE_SERVICE(soundServerRuns(), "PulseAudio");
        const auto engine = os::linux_backends::makeSpeechEngine();
        if (!engine->missing().isEmpty()) QSKIP("the speech model is not installed");
        const auto capture = os::linux_backends::makeAudioCapture();
        MicVoiceListener listener(*engine, *capture);
        const Authorized authorized = authorize(listener);
        QVERIFY2(authorized.ok, qPrintable(authorized.message));

        QStringList partials;
        listener.start([&](const QString& text) { partials << text; });
        QVERIFY(listener.listening());
        QProcess speaker;
        QProcess player;
        speaker.setStandardOutputProcess(&player);
        speaker.start(u"flite"_s, {u"-voice"_s, u"kal16"_s, u"-t"_s,
                                   u"take a screenshot of the leaderboard"_s, u"-o"_s, u"/dev/stdout"_s});
        player.start(u"paplay"_s, {u"-d"_s, u"orvane_mic_in"_s});
        QVERIFY(player.waitForFinished(30000));
        // What was played has reached the decoder when its words show.
        QVERIFY(QTest::qWaitFor([&] { return !partials.isEmpty(); }, 10000));

        std::optional<VoiceHeard> heard;
        listener.stop([&](const VoiceHeard& h) { heard = h; });
        QVERIFY(!listener.listening());
        QTRY_VERIFY_WITH_TIMEOUT(heard.has_value(), 5000);
        QVERIFY2(heard->command, qPrintable(heard->text));
        QCOMPARE(VoiceIntent::parse(heard->text).kind, VoiceIntent::Kind::screenshot);
    }

    void aSoundServerWithoutAMicrophoneIsRefused() {
        REQUIRE_SERVICE(soundServerRuns(), "PulseAudio");
        const auto engine = os::linux_backends::makeSpeechEngine();
        if (!engine->missing().isEmpty()) QSKIP("the speech model is not installed");
        // As on a computer without a microphone, the default source is a monitor.
        QVERIFY(pactl({u"set-default-source"_s, u"orvane_speaker.monitor"_s}));
        const auto restore = qScopeGuard([] { pactl({u"set-default-source"_s, u"orvane_mic"_s}); });
        const auto capture = os::linux_backends::makeAudioCapture();
        MicVoiceListener listener(*engine, *capture);
        const Authorized authorized = authorize(listener);
        QVERIFY(authorized.answered);
        QVERIFY(!authorized.ok);
        QCOMPARE(authorized.message, u"Microphone access is off (Settings › Sound › Input)."_s);
        try {
            listener.start([](const QString&) {});
            QFAIL("a round started without a microphone");
        } catch (const VoiceError& error) {
            QCOMPARE(QString::fromUtf8(error.what()), u"No microphone input."_s);
        }
    }

    void aLateDecisionIsCutOffAfterTwoAndAHalfSeconds() {
        StuckEngine engine;
        // A failed check still lets the decision go, or the listener's queue would never end.
        bool released = false;
        const auto release = qScopeGuard([&] {
            if (!released) engine.release.set_value();
        });
        SilentCapture capture;
        MicVoiceListener listener(engine, capture);
        // No round before the model has loaded.
        QVERIFY_THROWS_EXCEPTION(VoiceError, listener.start([](const QString&) {}));
        QVERIFY(authorize(listener).ok);
        listener.start([](const QString&) {});
        std::vector<VoiceHeard> answers;
        QElapsedTimer clock;
        clock.start();
        listener.stop([&](const VoiceHeard& heard) { answers.push_back(heard); });
        QTRY_COMPARE_WITH_TIMEOUT(answers.size(), size_t(1), 10000);
        // The event loop's timers may fire a little early on a loaded machine.
        QVERIFY2(clock.elapsed() >= MicVoiceListener::decisionTimeoutMs * 9 / 10,
                 qPrintable(QString::number(clock.elapsed())));
        QVERIFY(!answers.front().command);
        // The decision that comes after all is dropped; it lands before the next queued job runs.
        engine.release.set_value();
        released = true;
        bool drained = false;
        listener.authorize([&](bool, const QString&) { drained = true; });
        QTRY_VERIFY_WITH_TIMEOUT(drained, 10000);
        QCOMPARE(answers.size(), size_t(1));
    }
};

QTEST_GUILESS_MAIN(MicVoiceListenerTest)
#include "tst_mic_voice_listener.moc"
