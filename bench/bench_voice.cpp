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

const struct {
    const char* voice;
    int speed;
    double snrDb; // 99: clean
} speakers[] = {{"en-us", 160, 99}, {"en-us+m3", 130, 99}, {"en-us+f3", 150, 99}, {"en-gb-x-rp", 180, 99},
                {"en-us", 160, 15}, {"en-us+f3", 150, 15}, {"en-us+m3", 180, 99}, {"en-gb-x-rp", 140, 15}};

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
    {"hey orvane add a card send the spec to Mara", Kind::card},
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

QStringList prefixes() {
    QStringList all;
    for (const VoiceIntent::Rule& rule : VoiceIntent::rules())
        all << rule.prefixes;
    return all;
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

    // Every sentence in every speaker, in turn, until `count`.
    std::vector<Utterance> utterances;
    const int sentenceCount = int(std::size(sentences));
    for (int i = 0; int(utterances.size()) < count; ++i) {
        const auto& sentence = sentences[i % sentenceCount];
        const auto& speaker = speakers[(i / sentenceCount) % int(std::size(speakers))];
        std::vector<int16_t> samples =
            spoken::say(QString::fromUtf8(sentence.text), QString::fromUtf8(speaker.voice), speaker.speed);
        if (speaker.snrDb < 90) samples = spoken::withNoise(std::move(samples), speaker.snrDb, unsigned(i));
        const QString name =
            u"%1 [%2 %3%4]"_s.arg(QString::fromUtf8(sentence.text), QString::fromUtf8(speaker.voice))
                .arg(speaker.speed)
                .arg(speaker.snrDb < 90 ? u" noisy"_s : QString());
        utterances.push_back({name, sentence.kind, std::move(samples)});
    }

    int commands = 0, right = 0, others = 0, falseCommands = 0;
    std::vector<double> decisionMs;
    double audioSeconds = 0, freeCpu = 0;
    const QStringList allPrefixes = prefixes();
    for (const Utterance& utterance : utterances) {
        // As the listener does: the language model hears the speech while the key is held, then the grammar
        // decides at the release.
        const double cpuBefore = threadCpuSeconds();
        decoder->begin();
        for (size_t at = 0; at < utterance.samples.size(); at += 1360)
            decoder->feed(std::span(utterance.samples)
                              .subspan(at, std::min<size_t>(1360, utterance.samples.size() - at)));
        freeCpu += threadCpuSeconds() - cpuBefore;
        const double seconds = double(utterance.samples.size()) / spoken::rate;
        audioSeconds += seconds;
        QElapsedTimer release;
        release.start();
        const VoiceHeard heard =
            MicVoiceListener::heard(decoder->command(utterance.samples, VoiceIntent::fillers, allPrefixes));
        if (seconds >= 2.5 && seconds <= 3.5) decisionMs.push_back(double(release.nsecsElapsed()) / 1e6);
        const Kind got = heard.command ? VoiceIntent::parse(heard.text).kind : Kind::unknown;
        if (utterance.kind == Kind::unknown) {
            ++others;
            if (heard.command) ++falseCommands;
        } else {
            ++commands;
            if (got == utterance.kind) ++right;
        }
        if (got != utterance.kind)
            std::printf("  wrong: %s -> %s \"%s\"\n", qPrintable(utterance.text),
                        heard.command ? qPrintable(VoiceIntent::kindName(got)) : "no command",
                        qPrintable(heard.text));
    }

    // The reference decodes the same speech, one file of all clean utterances, with the same model.
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

    std::printf("utterances: %d commands, %d other speech\n", commands, others);
    std::printf("right intent: %d/%d = %.1f %%\n", right, commands, 100.0 * right / std::max(commands, 1));
    std::printf("false commands: %d/%d = %.1f %%\n", falseCommands, others,
                100.0 * falseCommands / std::max(others, 1));
    std::printf("release to decision, 2.5-3.5 s commands (%zu): median %.0f ms, p95 %.0f ms\n",
                decisionMs.size(), percentile(decisionMs, 0.5), percentile(decisionMs, 0.95));
    std::printf("free decoding: %.1f s of speech in %.2f s CPU = RTF %.3f\n", audioSeconds, freeCpu,
                freeCpu / audioSeconds);
    if (referenceRan)
        std::printf(
            "pocketsphinx_continuous, same audio: %.1f s in %.2f s CPU (with its model load) = RTF %.3f\n",
            referenceAudio, referenceCpu, referenceCpu / referenceAudio);
    std::printf("model load: %lld ms; memory +%.1f MiB RSS, +%.1f MiB PSS (now %.1f / %.1f MiB)\n", loadMs,
                rssAfter - rssBefore, pssAfter - pssBefore, rssAfter, pssAfter);
    return 0;
}
