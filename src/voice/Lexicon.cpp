#include "voice/Lexicon.h"

#include "core/Log.h"

#include <QHash>
#include <QList>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

struct Detachment {
    QLatin1StringView suffix;
    QLatin1StringView ending;
};

struct PartOfSpeech {
    WordClass wordClass;
    QLatin1StringView name;
    // WordNet's detachment rules: an inflected form ends in `suffix`; its base ends in `ending` instead.
    std::vector<Detachment> rules;
};

const std::array<PartOfSpeech, 4>& wordnetParts() {
    static const std::array<PartOfSpeech, 4> all = {{
        {WordClass::noun,
         "noun"_L1,
         {{"s"_L1, ""_L1},
          {"ses"_L1, "s"_L1},
          {"xes"_L1, "x"_L1},
          {"zes"_L1, "z"_L1},
          {"ches"_L1, "ch"_L1},
          {"shes"_L1, "sh"_L1},
          {"men"_L1, "man"_L1},
          {"ies"_L1, "y"_L1}}},
        {WordClass::verb,
         "verb"_L1,
         {{"s"_L1, ""_L1},
          {"ies"_L1, "y"_L1},
          {"es"_L1, "e"_L1},
          {"es"_L1, ""_L1},
          {"ed"_L1, "e"_L1},
          {"ed"_L1, ""_L1},
          {"ing"_L1, "e"_L1},
          {"ing"_L1, ""_L1}}},
        {WordClass::adjective,
         "adj"_L1,
         {{"er"_L1, ""_L1}, {"est"_L1, ""_L1}, {"er"_L1, "e"_L1}, {"est"_L1, "e"_L1}}},
        {WordClass::adverb, "adv"_L1, {}},
    }};
    return all;
}

// Words of the closed classes, which WordNet leaves out or files under a rare sense ("a" as a vitamin, "can"
// as a container).
const QHash<QString, WordClass>& closedClasses() {
    static const QHash<QString, WordClass> words = [] {
        QHash<QString, WordClass> all;
        auto add = [&all](WordClass wordClass, const char* list) {
            for (const QString& word : QString::fromLatin1(list).split(u' '))
                all.insert(word, wordClass);
        };
        add(WordClass::determiner,
            "a an the this that these those every each some any no all both either neither "
            "another such what which whose my your his her its our their much many few "
            "several enough");
        add(WordClass::pronoun,
            "i me you he him she it we us they them myself yourself himself herself itself "
            "ourselves yourselves themselves mine yours hers ours theirs who whom whoever "
            "whatever something anything nothing everything someone anyone everyone nobody "
            "somebody anybody everybody when where why how");
        add(WordClass::preposition,
            "about above across after against along among around as at before behind "
            "below beneath beside between beyond by despite down during except for from "
            "in inside into like near of off on onto out outside over past per since "
            "than through throughout till to toward towards under until up upon via with "
            "within without");
        add(WordClass::conjunction,
            "and but or nor so because although though while whereas if unless whether");
        add(WordClass::auxiliary,
            "am is are was were be been being can could may might must shall should will "
            "would");
        add(WordClass::number,
            "zero one two three four five six seven eight nine ten eleven twelve thirteen "
            "fourteen fifteen sixteen seventeen eighteen nineteen twenty thirty forty fifty "
            "sixty seventy eighty ninety hundred thousand million billion dozen");
        add(WordClass::interjection,
            "um uh er erm ah oh hmm mm hey hi hello yeah yep yes nope okay ok wow oops huh");
        return all;
    }();
    return words;
}

QByteArrayView firstField(QByteArrayView line) {
    const qsizetype blank = line.indexOf(' ');
    return blank < 0 ? line : line.first(blank);
}

// An index line: "lemma pos synset_cnt p_cnt [ptr_symbol...] sense_cnt tagsense_cnt synset_offset...". The
// tagged-sense count says how often the word was met in this part of speech in a tagged corpus.
int taggedSenses(QByteArrayView line) {
    const QList<QByteArray> fields = line.toByteArray().split(' ');
    if (fields.size() < 4) return 0;
    const qsizetype at = 4 + fields[3].toInt() + 1;
    return at < fields.size() ? fields[at].toInt() : 0;
}

} // namespace

bool SortedLines::open(const QString& path) {
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly) || file->size() == 0) return false;
    uchar* bytes = file->map(0, file->size());
    if (!bytes) return false;
    m_text = QByteArrayView(reinterpret_cast<const char*>(bytes), file->size());
    m_file = std::move(file);
    return true;
}

std::optional<QByteArrayView> SortedLines::find(QByteArrayView key) const {
    // Bisects byte offsets; each probe widens to the line around it. `low` always stands at a line's start.
    qsizetype low = 0;
    qsizetype high = m_text.size();
    while (low < high) {
        const qsizetype middle = low + (high - low) / 2;
        const qsizetype start = middle == 0 ? 0 : m_text.lastIndexOf('\n', middle - 1) + 1;
        qsizetype end = m_text.indexOf('\n', middle);
        if (end < 0) end = m_text.size();
        const QByteArrayView line = m_text.sliced(start, end - start);
        const int order = firstField(line).compare(key);
        if (order == 0) return line;
        if (order < 0)
            low = end + 1;
        else
            high = start;
    }
    return std::nullopt;
}

Lexicon::Lexicon(const QString& dir) {
    bool complete = true;
    for (size_t i = 0; i < m_files.size(); ++i) {
        const QString name = wordnetParts()[i].name;
        complete = m_files[i].index.open(dir + u"/index."_s + name) && complete;
        // Adverbs have hardly any exceptions; a missing list is no reason to go without the rest.
        m_files[i].exceptions.open(dir + u'/' + name + u".exc"_s);
    }
    m_hasWordNet = complete;
    if (!complete) slog(u"lexicon: no WordNet index in %1, open-class words count as other words"_s.arg(dir));
}

const Lexicon& Lexicon::shared() {
    static const Lexicon lexicon(QString::fromLatin1(wordnetDir));
    return lexicon;
}

TaggedWord Lexicon::tag(const QString& word) const {
    const QString lower = word.toLower();
    if (lower.isEmpty()) return {WordClass::otherWord, lower};
    if (lower.front().isDigit()) return {WordClass::number, lower};
    if (const auto closed = closedClasses().constFind(lower); closed != closedClasses().cend())
        return {*closed, lower};
    const qsizetype apostrophe = lower.indexOf(u'\'');
    if (apostrophe > 0) {
        // "don't", "can't": a negated auxiliary; "we're", "Mara's": the word before the clitic.
        if (lower.endsWith(u"n't"_s)) return {WordClass::auxiliary, lower};
        return tag(lower.first(apostrophe));
    }
    if (m_hasWordNet)
        if (std::optional<TaggedWord> found = fromWordNet(lower)) return *found;
    return {WordClass::otherWord, lower};
}

std::optional<TaggedWord> Lexicon::fromWordNet(const QString& lower) const {
    const QString key = QString(lower).replace(u' ', u'_');
    std::optional<TaggedWord> best;
    int bestCount = -1;
    for (size_t i = 0; i < m_files.size(); ++i) {
        const PartOfSpeech& pos = wordnetParts()[i];
        // The forms the word may come from: its irregular bases, itself, then the detachment rules.
        QStringList forms;
        if (std::optional<QByteArrayView> line = m_files[i].exceptions.find(key.toUtf8()))
            for (const QByteArray& base : line->toByteArray().split(' ').mid(1))
                if (!base.isEmpty()) forms << QString::fromUtf8(base);
        forms << key;
        for (const Detachment& rule : pos.rules)
            if (key.size() > rule.suffix.size() && key.endsWith(rule.suffix))
                forms << key.first(key.size() - rule.suffix.size()) + rule.ending;
        for (const QString& form : forms) {
            const std::optional<QByteArrayView> line = m_files[i].index.find(form.toUtf8());
            if (!line) continue;
            const int count = taggedSenses(*line);
            if (count > bestCount) {
                bestCount = count;
                best = TaggedWord{pos.wordClass, QString(form).replace(u'_', u' ')};
            }
        }
    }
    return best;
}

QString Lexicon::className(WordClass wordClass) {
    switch (wordClass) {
    case WordClass::noun:
        return u"noun"_s;
    case WordClass::verb:
        return u"verb"_s;
    case WordClass::adjective:
        return u"adjective"_s;
    case WordClass::adverb:
        return u"adverb"_s;
    case WordClass::number:
        return u"number"_s;
    case WordClass::pronoun:
        return u"pronoun"_s;
    case WordClass::determiner:
        return u"determiner"_s;
    case WordClass::preposition:
        return u"preposition"_s;
    case WordClass::conjunction:
        return u"conjunction"_s;
    case WordClass::auxiliary:
        return u"auxiliary"_s;
    case WordClass::interjection:
        return u"interjection"_s;
    case WordClass::otherWord:
        break;
    }
    return u"other word"_s;
}
