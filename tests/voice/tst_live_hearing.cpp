#include "os/SpeechEngine.h"
#include "recording/Tone.h"
#include "support/Files.h"
#include "support/Rows.h"
#include "voice/LiveHearing.h"
#include "voice/SpeechResampler.h"

#include <QSignalSpy>
#include <QTest>
#include <condition_variable>
#include <deque>
#include <mutex>

using namespace Qt::StringLiterals;
using testsupport::row;

Q_DECLARE_METATYPE(AudioFormat)

namespace {

// "pricing page:0.3 leads": words heard with their confidence, 0.9 unless given.
std::vector<os::HeardWord> heardWords(const QString& said) {
    std::vector<os::HeardWord> words;
    for (const QString& item : said.split(u' ', Qt::SkipEmptyParts)) {
        const QStringList parts = item.split(u':');
        words.push_back({parts[0], 0, 0, parts.size() > 1 ? parts[1].toDouble() : 0.9});
    }
    return words;
}

// A speech model that hears speech in any buffer that is not silent, and ends each utterance with the next
// words of its script. Its decoders run on the hearing's thread; the test reads what they were fed.
class FakeEngine : public os::SpeechEngine {
public:
    QString missingText;
    bool modelBroken = false;

    QString missing() const override { return missingText; }
    std::unique_ptr<os::SpeechDecoder> makeDecoder() override;

    void script(const QString& words) {
        std::lock_guard lock(m_mutex);
        m_script.push_back(heardWords(words));
    }
    // While closed, a decoder blocks in `feed`, as a slow machine would.
    void setGate(bool open) {
        {
            std::lock_guard lock(m_mutex);
            m_gateOpen = open;
        }
        m_changed.notify_all();
    }
    qint64 fed() const {
        std::lock_guard lock(m_mutex);
        return m_fed;
    }
    bool feeding() const {
        std::lock_guard lock(m_mutex);
        return m_feeding;
    }
    // The first sample of every buffer fed, in order.
    std::vector<int16_t> firstSamples() const {
        std::lock_guard lock(m_mutex);
        return m_firsts;
    }

private:
    friend class FakeDecoder;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::vector<os::HeardWord>> m_script;
    std::vector<int16_t> m_firsts;
    qint64 m_fed = 0;
    bool m_gateOpen = true;
    bool m_feeding = false;
};

class FakeDecoder : public os::SpeechDecoder {
public:
    explicit FakeDecoder(FakeEngine& engine) : m_engine(engine) {}
    void begin() override {}
    void feed(std::span<const int16_t> samples) override {
        std::unique_lock lock(m_engine.m_mutex);
        m_engine.m_feeding = true;
        m_engine.m_changed.wait(lock, [this] { return m_engine.m_gateOpen; });
        m_engine.m_feeding = false;
        m_engine.m_fed += qint64(samples.size());
        m_engine.m_firsts.push_back(samples.front());
        m_speech = std::any_of(samples.begin(), samples.end(), [](int16_t s) { return s != 0; });
    }
    bool inSpeech() const override { return m_speech; }
    QString partial() override { return {}; }
    std::vector<os::HeardWord> end() override {
        std::lock_guard lock(m_engine.m_mutex);
        if (m_engine.m_script.empty()) return {};
        std::vector<os::HeardWord> words = std::move(m_engine.m_script.front());
        m_engine.m_script.pop_front();
        return words;
    }
    os::CommandHearing command(std::span<const int16_t>, const QStringList&, const QStringList&) override {
        return {};
    }

private:
    FakeEngine& m_engine;
    bool m_speech = false;
};

std::unique_ptr<os::SpeechDecoder> FakeEngine::makeDecoder() {
    if (modelBroken) throw os::SpeechModelError("no speech model at /usr/share/pocketsphinx");
    return std::make_unique<FakeDecoder>(*this);
}

// `seconds` of a constant sample `value` (0: silence) as one 16 kHz mono buffer.
void say(LiveHearing& hearing, int16_t value, double seconds) {
    const std::vector<int16_t> samples(size_t(seconds * os::speechSampleRate), value);
    AudioBuffer buffer{
        {SampleType::Int16, os::speechSampleRate, 1, false}, int(samples.size()), {samples.data()}};
    hearing.append(buffer);
}

} // namespace

// Live hearing on a fake speech model and a clock the test sets; the tick is called directly, as its timer
// would on the same clock.
class TestLiveHearing : public QObject {
    Q_OBJECT
private:
    QDateTime m_now = QDateTime(QDate(2026, 3, 2), QTime(9, 0, 0), Qt::UTC);
    Clock clock() {
        return [this] { return m_now; };
    }
    void advance(double seconds) { m_now = m_now.addMSecs(qint64(seconds * 1000)); }

    // A hearing on a fake model and the test's clock, started.
    struct Rig {
        FakeEngine engine;
        LiveHearing hearing;
        QSignalSpy phrases;
        explicit Rig(Clock now) : hearing(engine, std::move(now)), phrases(&hearing, &LiveHearing::phrase) {}
    };

    // One utterance, a second of speech and a pause; waits until its words reach the transcript.
    static void utterance(Rig& rig, const QString& words) {
        const QString before = rig.hearing.m_text;
        rig.engine.script(words);
        say(rig.hearing, 1000, 1);
        say(rig.hearing, 0, 0.3);
        QTRY_VERIFY(rig.hearing.m_text != before);
    }
    // The clock moves on and the timer ticks.
    void tickAfter(Rig& rig, double seconds) {
        advance(seconds);
        rig.hearing.tick();
    }

private slots:
    // One utterance, then a tick after `after` seconds.
    void harvests_data() {
        QTest::addColumn<QString>("words");
        QTest::addColumn<double>("after");
        QTest::addColumn<QString>("phrase");
        row("four new words at a pause make a phrase", u"pricing page leads annual"_s, 2.0,
            u"pricing page leads annual"_s);
        row("three new words at a pause wait for more", u"pricing page leads"_s, 2.0, QString());
        row("words that changed a moment ago are no pause yet", u"pricing page leads annual"_s, 1.0,
            QString());
        row("a listening window of 50 s harvests even three words", u"pricing page leads"_s, 51.0,
            u"pricing page leads"_s);
        row("low-confidence words never reach the phrase", u"pricing page:0.3 leads annual plan:0.1 budget"_s,
            2.0, u"pricing leads annual budget"_s);
    }
    void harvests() {
        QFETCH(QString, words);
        QFETCH(double, after);
        QFETCH(QString, phrase);
        testsupport::LogWatch log;
        Rig rig(clock());
        QVERIFY(rig.hearing.start());
        utterance(rig, words);
        tickAfter(rig, after);
        QCOMPARE(rig.phrases.size(), phrase.isEmpty() ? 0 : 1);
        if (!phrase.isEmpty()) QCOMPARE(rig.phrases.first().first().toString(), phrase);
        QVERIFY2(!log.text().contains(u"pricing"_s), "a transcript reached the log");
    }

    void aCutUtteranceHarvestsTheWaitingWords() {
        Rig rig(clock());
        QVERIFY(rig.hearing.start());
        utterance(rig, u"pricing page leads"_s);
        tickAfter(rig, 2);
        QCOMPARE(rig.phrases.size(), 0);
        // Speech without a pause for 50 s: the decoder's utterance is cut, and what waited is final.
        rig.engine.script(QString());
        for (int i = 1; i <= 5; ++i) {
            say(rig.hearing, 1000, 10);
            QTRY_COMPARE(rig.engine.fed(), qint64((1.3 + 10 * i) * os::speechSampleRate));
        }
        QTRY_COMPARE(rig.phrases.size(), 1);
        QCOMPARE(rig.phrases.first().first().toString(), u"pricing page leads"_s);
        QVERIFY(rig.hearing.m_text.isEmpty());
    }

    // A second stretch of words `gap` seconds after the first phrase.
    void phrasesKeepTheirGap_data() {
        QTest::addColumn<double>("gap");
        QTest::addColumn<int>("phrases");
        row("a stretch within 15 s of the last phrase gives none", 10.0, 1);
        row("a stretch after 15 s gives the next phrase", 16.0, 2);
    }
    void phrasesKeepTheirGap() {
        QFETCH(double, gap);
        QFETCH(int, phrases);
        Rig rig(clock());
        QVERIFY(rig.hearing.start());
        utterance(rig, u"pricing page leads annual"_s);
        tickAfter(rig, 2);
        QCOMPARE(rig.phrases.size(), 1);
        advance(gap - 2);
        utterance(rig, u"venue booking page broke"_s);
        tickAfter(rig, 2);
        QCOMPARE(rig.phrases.size(), phrases);
        if (phrases == 2) QCOMPARE(rig.phrases.last().first().toString(), u"venue booking page broke"_s);
    }

    void aFullQueueDropsTheOldestWithoutWaiting() {
        testsupport::LogWatch log;
        Rig rig(clock());
        QVERIFY(rig.hearing.start());
        rig.engine.setGate(false);
        say(rig.hearing, 1, 1);
        QTRY_VERIFY(rig.engine.feeding());
        // Twice what the queue holds arrives while the decoder is stuck.
        for (int16_t second = 2; second <= 21; ++second)
            say(rig.hearing, second, 1);
        rig.engine.setGate(true);
        QTRY_COMPARE(rig.engine.firstSamples().size(), size_t(11));
        const std::vector<int16_t> expected = {1, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
        QCOMPARE(rig.engine.firstSamples(), expected);
        QCOMPARE(log.text().count(u"hearing: decoding falls behind"_s), 1);
    }

    void withoutAModelHearingIsOff_data() {
        QTest::addColumn<bool>("installed");
        row("a model that is not installed keeps hearing from starting", false);
        row("a model that fails to load stops hearing", true);
    }
    void withoutAModelHearingIsOff() {
        QFETCH(bool, installed);
        testsupport::LogWatch log;
        Rig rig(clock());
        if (installed)
            rig.engine.modelBroken = true;
        else
            rig.engine.missingText = u"no speech model at /usr/share/pocketsphinx"_s;
        QCOMPARE(rig.hearing.start(), installed);
        say(rig.hearing, 1000, 1);
        QTRY_VERIFY(log.text().contains(
            u"hearing: off (speech no speech model at /usr/share/pocketsphinx, on-device true)"_s));
        QTRY_VERIFY(!rig.hearing.m_running);
        QCOMPARE(rig.engine.fed(), 0);
    }

    void resamplesToSpeech_data() {
        QTest::addColumn<AudioFormat>("format");
        row("48 kHz stereo float, interleaved", AudioFormat{SampleType::Float32, 48000, 2, false});
        row("48 kHz stereo float, planar", AudioFormat{SampleType::Float32, 48000, 2, true});
        row("44.1 kHz mono int16", AudioFormat{SampleType::Int16, 44100, 1, false});
        row("48 kHz stereo int32, planar", AudioFormat{SampleType::Int32, 48000, 2, true});
        row("16 kHz mono int16 as the decoder takes it", AudioFormat{SampleType::Int16, 16000, 1, false});
    }
    void resamplesToSpeech() {
        QFETCH(AudioFormat, format);
        SpeechResampler resampler;
        std::vector<int16_t> out;
        const int perBuffer = format.sampleRate / 100;
        for (int i = 0; i < 100; ++i) {
            const Tone::Block block = Tone::make(format, qint64(i) * perBuffer, perBuffer, 0.5);
            QVERIFY(resampler.convert(block.buffer, out));
        }
        // A second, give or take the converter's delay, of the 440 Hz sine at its level.
        QVERIFY2(std::abs(qint64(out.size()) - os::speechSampleRate) < 100,
                 qPrintable(QString::number(out.size())));
        int crossings = 0;
        for (size_t i = 1; i < out.size(); ++i)
            crossings += (out[i - 1] < 0) != (out[i] < 0);
        const double hz = crossings / 2.0 * os::speechSampleRate / double(out.size());
        QVERIFY2(std::abs(hz - Tone::hz) < 3, qPrintable(QString::number(hz)));
        const int16_t peak = *std::max_element(out.begin() + 200, out.end());
        QVERIFY2(std::abs(peak - 16384) < 800, qPrintable(QString::number(peak)));
    }
};

QTEST_GUILESS_MAIN(TestLiveHearing)
#include "tst_live_hearing.moc"
