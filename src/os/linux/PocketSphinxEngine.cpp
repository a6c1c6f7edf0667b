#include "os/linux/PocketSphinxEngine.h"

#include <pocketsphinx.h>
#include <sphinxbase/err.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QLoggingCategory>
#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <mutex>

Q_LOGGING_CATEGORY(lcSpeech, "speech")

namespace os {
namespace {

constexpr double framesPerSecond = 100;
constexpr const char* freeSearch = "free";
constexpr const char* commandSearch = "command";
// Words of the rejection path: one phone each, so that a loop of them matches any speech.
constexpr const char* garbagePrefix = "ph_";
// The phones of the US English model, each a garbage word.
constexpr const char* phones[] = {"AA", "AE", "AH", "AO", "AW", "AY", "B",  "CH", "D",  "DH",
                                  "EH", "ER", "EY", "F",  "G",  "HH", "IH", "IY", "JH", "K",
                                  "L",  "M",  "N",  "NG", "OW", "OY", "P",  "R",  "S",  "SH",
                                  "T",  "TH", "UH", "UW", "V",  "W",  "Y",  "Z",  "ZH"};
// The product's name, which the dictionary lacks.
constexpr const char* nameWord = "orvane";
constexpr const char* namePhones = "AO R V EY N";
// The grammar's penalty for each word, and so for each phone of the garbage loops: lower makes a phone loop
// dearer against the words of a prefix, so that more speech counts as a command. The library's default (0.65)
// let the loops take nearly every command; tuned on synthesised voices at several speeds, with and without
// noise (bench_voice), with the listener's check that the language model heard the prefix too.
constexpr float grammarWordPenalty = 1e-1F;
// Samples of a free utterance kept so that a command decided over the same speech reuses its words; longer
// utterances are decoded again.
constexpr size_t keptSamples = size_t(60 * speechSampleRate);

struct ModelFiles {
    QString acoustic;
    QString languageModel;
    QString dictionary;
};

ModelFiles filesIn(const QString& dir) {
    return {dir + QStringLiteral("/en-us"), dir + QStringLiteral("/en-us.lm.bin"),
            dir + QStringLiteral("/cmudict-en-us.dict")};
}

// The library writes its progress to stderr by default; only its errors reach our log, one line each.
void forwardLibraryLog(void*, err_lvl_t level, const char* format, ...) {
    if (level < ERR_ERROR) return;
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    // Speech that ends inside a phrase of the grammar; the command decision rejects it, once per round.
    if (std::strstr(line, "does not match the grammar")) return;
    qCWarning(lcSpeech).noquote() << "pocketsphinx:" << QString::fromUtf8(line).trimmed();
}

// Silences, noises and the grammar's empty transitions ("(NULL)").
bool isFiller(const char* word) {
    return word[0] == '<' || word[0] == '[' || word[0] == '+' || word[0] == '(';
}

// "new(2)" is the second pronunciation of "new".
QString spelling(const char* word) {
    QString text = QString::fromUtf8(word);
    const qsizetype alternative = text.indexOf(u'(');
    return alternative > 0 ? text.left(alternative) : text;
}

class PocketSphinxDecoder final : public SpeechDecoder {
public:
    explicit PocketSphinxDecoder(const ModelFiles& files) {
        const QByteArray acoustic = files.acoustic.toLocal8Bit();
        const QByteArray dictionary = files.dictionary.toLocal8Bit();
        cmd_ln_t* config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", acoustic.constData(), "-dict",
                                       dictionary.constData(), nullptr);
        m_ps = config ? ps_init(config) : nullptr;
        if (config) cmd_ln_free_r(config);
        if (!m_ps)
            throw SpeechModelError("the speech model at " + files.acoustic.toStdString() + " did not load");
        // The garbage words go in before the language model, which would otherwise take them as words.
        for (const char* phone : phones)
            ps_add_word(m_ps, (garbagePrefix + QByteArray(phone).toLower()).constData(), phone, FALSE);
        if (ps_set_lm_file(m_ps, freeSearch, files.languageModel.toLocal8Bit().constData()) < 0) {
            ps_free(m_ps);
            throw SpeechModelError("the language model " + files.languageModel.toStdString() +
                                   " did not load");
        }
        ps_add_word(m_ps, nameWord, namePhones, TRUE);
    }
    ~PocketSphinxDecoder() override {
        if (m_open) ps_end_utt(m_ps);
        ps_free(m_ps);
    }
    PocketSphinxDecoder(const PocketSphinxDecoder&) = delete;
    PocketSphinxDecoder& operator=(const PocketSphinxDecoder&) = delete;

    void begin() override {
        if (m_open) end();
        ps_set_search(m_ps, freeSearch);
        ps_start_utt(m_ps);
        m_open = true;
        m_fed.clear();
        m_fedWhole = true;
    }

    void feed(std::span<const int16_t> samples) override {
        if (!m_open) return;
        ps_process_raw(m_ps, samples.data(), samples.size(), FALSE, FALSE);
        if (m_fed.size() + samples.size() > keptSamples) {
            m_fedWhole = false;
            m_fed = {};
        } else if (m_fedWhole) {
            m_fed.insert(m_fed.end(), samples.begin(), samples.end());
        }
    }

    bool inSpeech() const override { return m_open && ps_get_in_speech(m_ps); }

    QString partial() override {
        if (!m_open) return {};
        const char* hyp = ps_get_hyp(m_ps, nullptr);
        return hyp ? QString::fromUtf8(hyp).simplified() : QString();
    }

    std::vector<HeardWord> end() override {
        if (!m_open) return {};
        ps_end_utt(m_ps);
        m_open = false;
        return segments(false);
    }

    CommandHearing command(std::span<const int16_t> utterance, const QStringList& fillers,
                           const QStringList& prefixes) override {
        CommandHearing heard;
        // The free utterance of the same speech, fed while the key was held, has its words already.
        if (m_open && m_fedWhole && std::ranges::equal(m_fed, utterance)) {
            heard.words = end();
        } else {
            if (m_open) end();
            decodeWhole(freeSearch, utterance);
            heard.words = segments(false);
        }
        if (!useGrammar(fillers, prefixes)) return heard;
        decodeWhole(commandSearch, utterance);
        QStringList accepted;
        for (const HeardWord& word : segments(true)) {
            if (word.text.startsWith(QLatin1String(garbagePrefix))) break;
            accepted << word.text;
            heard.prefixEnd = word.end;
        }
        // Speech that ends inside a phrase leaves the search short of the grammar's end: only a whole
        // "[filler] prefix" counts.
        const QString said = accepted.join(u' ');
        const bool whole = std::ranges::any_of(m_prefixes, [&](const QString& prefix) {
            return said == prefix || std::ranges::any_of(m_fillers, [&](const QString& filler) {
                       return said == filler + u' ' + prefix;
                   });
        });
        if (whole) heard.prefix = said;
        return heard;
    }

private:
    void decodeWhole(const char* search, std::span<const int16_t> samples) {
        ps_set_search(m_ps, search);
        ps_start_utt(m_ps);
        ps_process_raw(m_ps, samples.data(), samples.size(), FALSE, TRUE);
        ps_end_utt(m_ps);
    }

    // The words of the last utterance, fillers and silences left out; with `garbage` the rejection path's
    // phone words stay in.
    std::vector<HeardWord> segments(bool garbage) {
        // Silence alone leaves the search no frame at all once voice detection has dropped it.
        if (ps_get_n_frames(m_ps) == 0) return {};
        ps_get_hyp(m_ps, nullptr); // runs the lattice pass that gives the posteriors
        std::vector<HeardWord> words;
        logmath_t* logmath = ps_get_logmath(m_ps);
        for (ps_seg_t* seg = ps_seg_iter(m_ps); seg; seg = ps_seg_next(seg)) {
            const char* word = ps_seg_word(seg);
            if (isFiller(word)) continue;
            const QString text = spelling(word);
            if (!garbage && text.startsWith(QLatin1String(garbagePrefix))) continue;
            int first = 0;
            int last = 0;
            ps_seg_frames(seg, &first, &last);
            int32 acoustic = 0, language = 0, backoff = 0;
            const int32 posterior = ps_seg_prob(seg, &acoustic, &language, &backoff);
            words.push_back(HeardWord{text, first / framesPerSecond, (last + 1) / framesPerSecond,
                                      std::clamp(logmath_exp(logmath, posterior), 0.0, 1.0)});
        }
        return words;
    }

    // Makes the command grammar current for these phrases; false when none of them can be said.
    bool useGrammar(const QStringList& fillers, const QStringList& prefixes) {
        const QStringList key = fillers + QStringList{QString()} + prefixes;
        if (key == m_grammarKey) return m_grammarUsable;
        m_grammarKey = key;
        m_fillers = sayable(fillers);
        m_prefixes = sayable(prefixes);
        m_grammarUsable = !m_prefixes.isEmpty();
        if (!m_grammarUsable) return false;
        QStringList garbage;
        for (const char* phone : phones)
            garbage << garbagePrefix + QString::fromLatin1(phone).toLower();
        // Each loop is a rule of its own, and the rejection path begins with a phone before its loop: a loop
        // at the start of an alternative returns to the grammar's first state, from which a prefix could
        // follow rejected speech.
        QString grammar = QStringLiteral("#JSGF V1.0;\ngrammar command;\n"
                                         "public <utterance> = <command> | <other>;\n"
                                         "<command> = %1 <prefix> <tail>*;\n"
                                         "<other> = <junk> <junk>*;\n"
                                         "<prefix> = %2;\n"
                                         "<tail> = %3;\n"
                                         "<junk> = %3;\n")
                              .arg(m_fillers.isEmpty() ? QString() : QStringLiteral("[<filler>]"),
                                   m_prefixes.join(u" | "), garbage.join(u" | "));
        if (!m_fillers.isEmpty()) grammar += QStringLiteral("<filler> = %1;\n").arg(m_fillers.join(u" | "));
        // The penalty is read when the search is made, so the language model's search keeps its own.
        cmd_ln_t* config = ps_get_config(m_ps);
        const double wordPenalty = cmd_ln_float32_r(config, "-wip");
        cmd_ln_set_float32_r(config, "-wip", grammarWordPenalty);
        m_grammarUsable = ps_set_jsgf_string(m_ps, commandSearch, grammar.toUtf8().constData()) == 0;
        cmd_ln_set_float32_r(config, "-wip", wordPenalty);
        if (!m_grammarUsable) qCWarning(lcSpeech) << "the command grammar did not load";
        return m_grammarUsable;
    }

    // The phrases whose every word the dictionary knows.
    QStringList sayable(const QStringList& phrases) {
        QStringList known;
        for (const QString& phrase : phrases) {
            const QStringList words = phrase.split(u' ', Qt::SkipEmptyParts);
            const bool allKnown = !words.isEmpty() && std::ranges::all_of(words, [this](const QString& word) {
                char* pronunciation = ps_lookup_word(m_ps, word.toUtf8().constData());
                std::free(pronunciation);
                return pronunciation != nullptr;
            });
            if (allKnown && !known.contains(phrase)) known << phrase;
        }
        return known;
    }

    ps_decoder_t* m_ps = nullptr;
    bool m_open = false;
    std::vector<int16_t> m_fed;
    bool m_fedWhole = true;
    QStringList m_grammarKey;
    // The phrases of the current grammar.
    QStringList m_fillers;
    QStringList m_prefixes;
    bool m_grammarUsable = false;
};

} // namespace

QString PocketSphinxEngine::defaultModelDir() {
    return QStringLiteral("/usr/share/pocketsphinx/model/en-us");
}

PocketSphinxEngine::PocketSphinxEngine(QString modelDir) : m_modelDir(std::move(modelDir)) {}

QString PocketSphinxEngine::missing() const {
    const ModelFiles files = filesIn(m_modelDir);
    if (!QFileInfo(files.acoustic + QStringLiteral("/mdef")).isReadable())
        return QStringLiteral("no speech model at ") + files.acoustic;
    for (const QString& file : {files.languageModel, files.dictionary})
        if (!QFileInfo(file).isReadable()) return QStringLiteral("no speech model file ") + file;
    return {};
}

std::unique_ptr<SpeechDecoder> PocketSphinxEngine::makeDecoder() {
    if (const QString why = missing(); !why.isEmpty()) {
        qCWarning(lcSpeech).noquote() << why;
        throw SpeechModelError(why.toStdString());
    }
    static std::once_flag quiet;
    std::call_once(quiet, [] {
        err_set_logfp(nullptr); // also keeps the decoder's table of settings off stderr
        err_set_callback(&forwardLibraryLog, nullptr);
    });
    QElapsedTimer clock;
    clock.start();
    auto decoder = std::make_unique<PocketSphinxDecoder>(filesIn(m_modelDir));
    qCInfo(lcSpeech).noquote() << "model loaded in" << clock.elapsed() << "ms";
    return decoder;
}

} // namespace os
