#include "voice/KeyPhrase.h"

#include <QStringList>
#include <algorithm>
#include <span>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

struct Word {
    QString text;
    TaggedWord tag;
};
using Clause = std::vector<Word>;

// A character that belongs to a word: letters and digits, and the apostrophes, hyphens, points and commas
// inside one ("don't", "to-do", "3.5", "1,200").
bool inWord(const QString& text, qsizetype i) {
    const QChar c = text[i];
    if (c.isLetterOrNumber()) return true;
    const bool between =
        i > 0 && i + 1 < text.size() && text[i - 1].isLetterOrNumber() && text[i + 1].isLetterOrNumber();
    if (c == u'\'' || c == u'’' || c == u'-') return between;
    if (c == u'.' || c == u',') return between && text[i - 1].isDigit() && text[i + 1].isDigit();
    return false;
}

// Words with their classes, cut into clauses at punctuation and at conjunctions.
std::vector<Clause> clauses(const QString& text, const Lexicon& lexicon) {
    std::vector<Clause> all(1);
    auto endClause = [&all] {
        if (!all.back().empty()) all.emplace_back();
    };
    for (qsizetype i = 0; i < text.size();) {
        if (!inWord(text, i)) {
            if (!text[i].isSpace()) endClause();
            ++i;
            continue;
        }
        qsizetype end = i;
        while (end < text.size() && inWord(text, end))
            ++end;
        QString word = text.mid(i, end - i).replace(u'’', u'\'');
        i = end;
        const TaggedWord tag = lexicon.tag(word);
        if (tag.wordClass == WordClass::conjunction)
            endClause();
        else
            all.back().push_back({word, tag});
    }
    return all;
}

bool useful(const Word& word) {
    const QString lower = word.text.toLower();
    if (KeyPhrase::filler().contains(lower)) return false;
    switch (word.tag.wordClass) {
    case WordClass::verb:
        return !KeyPhrase::weakVerbs().contains(lower);
    case WordClass::noun:
    case WordClass::adjective:
    case WordClass::number:
    case WordClass::adverb:
    case WordClass::otherWord:
        return true;
    default:
        return false;
    }
}

bool namesSomething(const Word& word) {
    const WordClass c = word.tag.wordClass;
    return c == WordClass::noun || c == WordClass::number || c == WordClass::otherWord;
}

// Nouns say most of what a stretch is about; other meaningful words count once and function words not at
// all. The length adds up to 5 words, so that a fuller stretch wins over a bare pair.
int score(std::span<const Word> stretch) {
    int total = int(std::min<size_t>(stretch.size(), 5));
    for (const Word& word : stretch)
        if (useful(word)) total += word.tag.wordClass == WordClass::noun ? 2 : 1;
    return total;
}

// The clause's longest run from a useful word to a useful word, cut to `maxWords`; empty when it has none.
std::span<const Word> bestStretch(const Clause& clause, int maxWords) {
    const auto first = std::find_if(clause.begin(), clause.end(), useful);
    if (first == clause.end()) return {};
    auto last = std::find_if(clause.rbegin(), clause.rend(), useful).base();
    if (last - first > maxWords) last = first + maxWords;
    while (last > first && !useful(*(last - 1)))
        --last;
    return {first, last};
}

} // namespace

const QSet<QString>& KeyPhrase::filler() {
    static const QSet<QString> words = {
        u"um"_s,   u"uh"_s,    u"like"_s,     u"yeah"_s,      u"okay"_s,   u"ok"_s,    u"so"_s,   u"right"_s,
        u"well"_s, u"just"_s,  u"actually"_s, u"basically"_s, u"really"_s, u"kind"_s,  u"sort"_s, u"mean"_s,
        u"know"_s, u"thing"_s, u"things"_s,   u"stuff"_s,     u"gonna"_s,  u"wanna"_s, u"lot"_s};
    return words;
}

const QSet<QString>& KeyPhrase::weakVerbs() {
    static const QSet<QString> words = {u"is"_s,   u"are"_s, u"was"_s, u"were"_s,  u"be"_s,   u"been"_s,
                                        u"have"_s, u"has"_s, u"had"_s, u"do"_s,    u"does"_s, u"did"_s,
                                        u"go"_s,   u"get"_s, u"got"_s, u"think"_s, u"guess"_s};
    return words;
}

std::optional<QString> KeyPhrase::extract(const QString& text, int maxWords, const Lexicon& lexicon) {
    const QString trimmed = text.trimmed();
    if (trimmed.simplified().split(u' ').size() < 3) return std::nullopt;
    std::span<const Word> best;
    int bestScore = -1;
    const std::vector<Clause> all = clauses(trimmed, lexicon);
    for (const Clause& clause : all) {
        const std::span<const Word> stretch = bestStretch(clause, maxWords);
        if (stretch.size() < 2 || std::none_of(stretch.begin(), stretch.end(), namesSomething)) continue;
        // Strictly higher: the earliest stretch wins a tie.
        if (const int s = score(stretch); s > bestScore) {
            bestScore = s;
            best = stretch;
        }
    }
    if (best.empty()) return std::nullopt;
    QStringList words;
    for (const Word& word : best)
        words << word.text;
    return words.join(u' ');
}
