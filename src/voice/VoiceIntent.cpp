#include "voice/VoiceIntent.h"

using namespace Qt::StringLiterals;

namespace {

bool isEdgeJunk(QChar c) {
    return c.isSpace() || c.isPunct();
}

QString trimmedOfPunctuation(const QString& text) {
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && isEdgeJunk(text[from]))
        ++from;
    while (to > from && isEdgeJunk(text[to - 1]))
        --to;
    return text.mid(from, to - from);
}

// `text` (lower case) is `phrase`, or begins with it followed by one of `separators`.
bool beginsWith(const QString& lower, const QString& phrase, QStringView separators) {
    if (lower == phrase) return true;
    return lower.size() > phrase.size() && lower.startsWith(phrase) &&
           separators.contains(lower[phrase.size()]);
}

QString cleanedPayload(QString rest) {
    qsizetype skip = 0;
    while (skip < rest.size() && (rest[skip] == u' ' || QStringView(u",:.-").contains(rest[skip])))
        ++skip;
    rest = rest.mid(skip);
    for (const QString& lead : {u"of "_s, u"that "_s, u"saying "_s})
        if (rest.startsWith(lead, Qt::CaseInsensitive)) rest = rest.mid(lead.size());
    rest = rest.trimmed();
    if (rest.endsWith(u'.')) rest.chop(1);
    if (!rest.isEmpty()) rest[0] = rest[0].toUpper();
    return rest;
}

} // namespace

// The second greeting is "hey orvane" in words the general language model knows: how it splits the name when
// the name is said quickly. The model heard synthesised greetings as nothing steadier than this.
const QStringList VoiceIntent::fillers = {u"hey orvane"_s, u"hey or vain"_s, u"orvane"_s, u"okay"_s, u"ok"_s,
                                          u"please"_s,     u"so"_s,          u"um"_s,     u"uh"_s};

const std::vector<VoiceIntent::Rule>& VoiceIntent::rules() {
    static const std::vector<Rule> all = {
        {Kind::screenshot,
         {u"take a screenshot"_s, u"screenshot"_s, u"screen shot"_s, u"save this"_s, u"pin this"_s,
          u"capture this"_s}},
        {Kind::note, {u"make a note"_s, u"add a note"_s, u"take a note"_s, u"note that"_s, u"note"_s}},
        {Kind::card,
         {u"add a card"_s, u"new card"_s, u"make a card"_s, u"create a card"_s, u"card"_s, u"add a to-do"_s,
          u"add a todo"_s, u"add to-do"_s, u"to-do"_s, u"todo"_s, u"to do"_s}},
    };
    return all;
}

const QStringList& VoiceIntent::prefixes() {
    static const QStringList all = [] {
        QStringList each;
        for (const Rule& rule : rules())
            each << rule.prefixes;
        return each;
    }();
    return all;
}

QString VoiceIntent::stripFillers(const QString& text) {
    QString rest = text.trimmed();
    for (bool stripped = true; stripped;) {
        stripped = false;
        rest = trimmedOfPunctuation(rest);
        const QString lower = rest.toLower();
        for (const QString& filler : fillers) {
            if (beginsWith(lower, filler, u" ,")) {
                rest = rest.mid(filler.size());
                stripped = true;
                break;
            }
        }
    }
    return rest;
}

VoiceIntent VoiceIntent::parse(const QString& text) {
    const QString rest = stripFillers(text);
    const QString lower = rest.toLower();
    for (const Rule& rule : rules())
        for (const QString& prefix : rule.prefixes)
            if (beginsWith(lower, prefix, u" ,:."))
                return {rule.kind, cleanedPayload(rest.mid(prefix.size()))};
    return {Kind::unknown, rest};
}

QString VoiceIntent::kindName(Kind kind) {
    switch (kind) {
    case Kind::screenshot:
        return u"screenshot"_s;
    case Kind::note:
        return u"note"_s;
    case Kind::card:
        return u"card"_s;
    case Kind::unknown:
        break;
    }
    return u"unknown"_s;
}
