// Voice commands on synthesised speech: how often the command grammar finds the right intent and how often it
// takes other speech for a command, the time from the key's release to the decision, the real-time factor of
// free decoding against pocketsphinx_continuous on the same audio and model, and the memory of the loaded
// models. Usage: bench_voice [utterances, default 200]
#include "os/linux/PocketSphinxEngine.h"
#include "support/Spoken.h"
#include "voice/MicVoiceListener.h"
#include "voice/VoiceIntent.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <sys/resource.h>
#include <time.h>

using namespace Qt::StringLiterals;
using Kind = VoiceIntent::Kind;

namespace {

struct Utterance {
    QString text;
    Kind kind; // unknown: not a command
    std::vector<int16_t> samples;
};

// Voices made from recordings of people (flite), at three speeds, three of eight with noise; then espeak-ng's
// formant voices, far from any voice the acoustic model learnt from, measured apart.
struct Speaker {
    bool recorded; // flite, else espeak-ng
    const char* voice;
    double speed; // flite: duration stretch; espeak-ng: words a minute
    double snrDb; // 99: clean
};
const Speaker recordedSpeakers[] = {{true, "slt", 1, 99},    {true, "rms", 1.15, 99}, {true, "awb", 0.9, 99},
                                    {true, "kal16", 1, 99},  {true, "slt", 0.9, 15},  {true, "rms", 1, 15},
                                    {true, "awb", 1.15, 99}, {true, "kal16", 0.9, 15}};
const Speaker formantSpeakers[] = {{false, "en-us", 160, 99},    {false, "en-us+m3", 130, 99},
                                   {false, "en-us+f3", 150, 99}, {false, "en-gb-x-rp", 180, 99},
                                   {false, "en-us", 160, 15},    {false, "en-us+f3", 150, 15},
                                   {false, "en-us+m3", 180, 99}, {false, "en-gb-x-rp", 140, 15}};

const struct {
    const char* text;
    Kind kind;
} sentences[] = {
    {"Screenshot, their pricing leads with the annual plan.", Kind::screenshot},
    {"Okay, save this", Kind::screenshot},
    {"take a screenshot of the leaderboard", Kind::screenshot},
    {"pin this", Kind::screenshot},
    {"capture this for the release notes", Kind::screenshot},
    {"Note: check the venue page on mobile.", Kind::note},
    {"note that Mara wants the export by Friday", Kind::note},
    {"make a note call the bank", Kind::note},
    {"add a note the demo went well", Kind::note},
    {"To do, fix the wallet filter tooltip.", Kind::card},
    {"hey orvane add a card send the brief to Mara", Kind::card},
    {"new card update the docs", Kind::card},
    {"create a card for the onboarding emails", Kind::card},
    {"What time is it", Kind::unknown},
    {"notebook prices went up again this quarter", Kind::unknown},
    {"cardboard boxes are stacked by the door", Kind::unknown},
    {"screens in the meeting room are broken", Kind::unknown},
    {"I think we should ship on Monday", Kind::unknown},
    {"the weather looks fine for the weekend", Kind::unknown},
    {"can you send me the slides from yesterday", Kind::unknown},
    {"savings on the annual plan are bigger", Kind::unknown},
    {"let me share my screen with everyone", Kind::unknown},
    {"noticed a bug in the login page", Kind::unknown},
    {"pinned the tweet this morning", Kind::unknown},
    {"captured the flag in the last round", Kind::unknown},
};

double threadCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

double childrenCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Resident and proportional set size of this process, in MiB.
std::pair<double, double> memoryMiB() {
    QFile rollup(u"/proc/self/smaps_rollup"_s);
    double rss = 0, pss = 0;
    if (rollup.open(QIODevice::ReadOnly))
        for (const QByteArray& line : rollup.readAll().split('\n')) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() < 2) continue;
            if (fields[0] == "Rss:") rss = fields[1].toDouble() / 1024;
            if (fields[0] == "Pss:") pss = fields[1].toDouble() / 1024;
        }
    return {rss, pss};
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::ranges::sort(values);
    return values[std::min(values.size() - 1, size_t(p * double(values.size())))];
}

// Every sentence by every speaker, in turn, until `count`.
template <size_t N> std::vector<Utterance> utterancesBy(const Speaker (&speakers)[N], int count) {
    std::vector<Utterance> utterances;
    const int sentenceCount = int(std::size(sentences));
    for (int i = 0; int(utterances.size()) < count; ++i) {
        const auto& sentence = sentences[i % sentenceCount];
        const Speaker& speaker = speakers[(i / sentenceCount) % int(N)];
        const QString text = QString::fromUtf8(sentence.text), voice = QString::fromUtf8(speaker.voice);
        std::vector<int16_t> samples = speaker.recorded
                                           ? spoken::sayInRecordedVoice(text, voice, speaker.speed)
                                           : spoken::say(text, voice, int(speaker.speed));
        if (speaker.snrDb < 90) samples = spoken::withNoise(std::move(samples), speaker.snrDb, unsigned(i));
        const QString name = u"%1 [%2 %3%4]"_s.arg(text, voice)
                                 .arg(speaker.speed)
                                 .arg(speaker.snrDb < 90 ? u" noisy"_s : QString());
        utterances.push_back({name, sentence.kind, std::move(samples)});
    }
    return utterances;
}

struct Tally {
    int commands = 0, right = 0, others = 0, falseCommands = 0;
    std::vector<double> decisionMs;
    double audioSeconds = 0, freeCpu = 0;
};

// Decodes each utterance as the listener does: the language model hears the speech while the key is held,
// then the grammar decides at the release. Prints what went wrong.
Tally decided(os::SpeechDecoder& decoder, const std::vector<Utterance>& utterances) {
    Tally tally;
    for (const Utterance& utterance : utterances) {
        const double cpuBefore = threadCpuSeconds();
        decoder.begin();
        for (size_t at = 0; at < utterance.samples.size(); at += 1360)
            decoder.feed(std::span(utterance.samples)
                             .subspan(at, std::min<size_t>(1360, utterance.samples.size() - at)));
        tally.freeCpu += threadCpuSeconds() - cpuBefore;
        const double seconds = double(utterance.samples.size()) / spoken::rate;
        tally.audioSeconds += seconds;
        QElapsedTimer release;
        release.start();
        const VoiceHeard heard = MicVoiceListener::heard(
            decoder.command(utterance.samples, VoiceIntent::fillers, VoiceIntent::prefixes()));
        if (seconds >= 2.5 && seconds <= 3.5)
            tally.decisionMs.push_back(double(release.nsecsElapsed()) / 1e6);
        const Kind got = heard.command ? VoiceIntent::parse(heard.text).kind : Kind::unknown;
        if (utterance.kind == Kind::unknown) {
            ++tally.others;
            if (heard.command) ++tally.falseCommands;
        } else {
            ++tally.commands;
            if (got == utterance.kind) ++tally.right;
        }
        if (got != utterance.kind)
            std::printf("  wrong: %s -> %s \"%s\"\n", qPrintable(utterance.text),
                        heard.command ? qPrintable(VoiceIntent::kindName(got)) : "no command",
                        qPrintable(heard.text));
    }
    return tally;
}

void report(const char* voices, const Tally& tally) {
    std::printf("%s: %d commands, %d other speech\n", voices, tally.commands, tally.others);
    std::printf("  right intent: %d/%d = %.1f %%\n", tally.right, tally.commands,
                100.0 * tally.right / std::max(tally.commands, 1));
    std::printf("  false commands: %d/%d = %.1f %%\n", tally.falseCommands, tally.others,
                100.0 * tally.falseCommands / std::max(tally.others, 1));
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 200;
    os::PocketSphinxEngine engine;
    if (const QString why = engine.missing(); !why.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(why));
        return 1;
    }

    const auto [rssBefore, pssBefore] = memoryMiB();
    QElapsedTimer loading;
    loading.start();
    const std::unique_ptr<os::SpeechDecoder> decoder = engine.makeDecoder();
    const qint64 loadMs = loading.elapsed();
    const auto [rssAfter, pssAfter] = memoryMiB();

    const std::vector<Utterance> utterances = utterancesBy(recordedSpeakers, count);
    std::printf("recorded voices (flite):\n");
    const Tally tally = decided(*decoder, utterances);
    std::printf("formant voices (espeak-ng):\n");
    const Tally formant = decided(*decoder, utterancesBy(formantSpeakers, count));

    // The reference decodes the same speech, one file of all the recorded voices' utterances, with the same
    // model.
    QTemporaryDir work;
    QFile raw(work.filePath(u"speech.raw"_s));
    double referenceAudio = 0;
    if (!raw.open(QIODevice::WriteOnly)) return 1;
    for (const Utterance& utterance : utterances) {
        raw.write(reinterpret_cast<const char*>(utterance.samples.data()),
                  qint64(utterance.samples.size() * 2));
        referenceAudio += double(utterance.samples.size()) / spoken::rate;
    }
    raw.close();
    const double childrenBefore = childrenCpuSeconds();
    const QString model = os::PocketSphinxEngine::defaultModelDir();
    QProcess reference;
    reference.start(u"pocketsphinx_continuous"_s,
                    {u"-infile"_s, raw.fileName(), u"-hmm"_s, model + u"/en-us"_s, u"-lm"_s,
                     model + u"/en-us.lm.bin"_s, u"-dict"_s, model + u"/cmudict-en-us.dict"_s, u"-logfn"_s,
                     u"/dev/null"_s});
    const bool referenceRan = reference.waitForFinished(-1) && reference.exitCode() == 0;
    const double referenceCpu = childrenCpuSeconds() - childrenBefore;

    report("recorded voices (flite)", tally);
    report("formant voices (espeak-ng)", formant);
    std::printf(
        "release to decision, 2.5-3.5 s utterances of recorded voices (%zu): median %.0f ms, p95 %.0f ms\n",
        tally.decisionMs.size(), percentile(tally.decisionMs, 0.5), percentile(tally.decisionMs, 0.95));
    std::printf("free decoding, recorded voices: %.1f s of speech in %.2f s CPU = RTF %.3f\n",
                tally.audioSeconds, tally.freeCpu, tally.freeCpu / tally.audioSeconds);
    if (referenceRan)
        std::printf(
            "pocketsphinx_continuous, same audio: %.1f s in %.2f s CPU (with its model load) = RTF %.3f\n",
            referenceAudio, referenceCpu, referenceCpu / referenceAudio);
    std::printf("model load: %lld ms; memory +%.1f MiB RSS, +%.1f MiB PSS (now %.1f / %.1f MiB)\n", loadMs,
                rssAfter - rssBefore, pssAfter - pssBefore, rssAfter, pssAfter);
    return 0;
}
