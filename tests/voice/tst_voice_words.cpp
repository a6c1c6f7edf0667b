#include "support/Files.h"
#include "support/Rows.h"
#include "voice/KeyPhrase.h"
#include "voice/Lexicon.h"
#include "voice/VoiceIntent.h"

#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;

// What a spoken sentence asks for, which words carry it, and the key phrase picked from it.
class TestVoiceWords : public QObject {
    Q_OBJECT
private slots:
    void intents_data() {
        QTest::addColumn<QString>("said");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("text");
        row("a screenshot with a note keeps the note without its full stop",
            u"Screenshot, their pricing leads with the annual plan."_s, u"screenshot"_s,
            u"Their pricing leads with the annual plan"_s);
        row("a greeting before a command is dropped and the note may be empty", u"Okay, save this"_s,
            u"screenshot"_s, QString());
        row("the longer prefix fits before its shorter form, and 'of' goes",
            u"take a screenshot of the leaderboard"_s, u"screenshot"_s, u"The leaderboard"_s);
        row("a colon after the prefix is cleaned off", u"Note: check the venue page on mobile."_s, u"note"_s,
            u"Check the venue page on mobile"_s);
        row("'note that' fits before 'note'", u"note that Mara wants the export by Friday"_s, u"note"_s,
            u"Mara wants the export by Friday"_s);
        row("'to do' makes a card", u"To do, fix the wallet filter tooltip."_s, u"card"_s,
            u"Fix the wallet filter tooltip"_s);
        row("a question is no command", u"What time is it"_s, u"unknown"_s, u"What time is it"_s);
        row("a word that begins with a prefix is not that prefix", u"notebook is out of battery"_s,
            u"unknown"_s, u"notebook is out of battery"_s);
        row("a card word inside a longer word is no card", u"cardboard boxes for the booth"_s, u"unknown"_s,
            u"cardboard boxes for the booth"_s);
        row("the misheard greeting and further fillers are stripped in turn",
            u"hey or vain, um, add a card: call the printer"_s, u"card"_s, u"Call the printer"_s);
        row("the greeting itself is stripped, and 'saying' goes", u"Hey Orvane note saying ship it"_s,
            u"note"_s, u"Ship it"_s);
        row("fillers alone leave nothing", u"uh, okay."_s, u"unknown"_s, QString());
    }
    void intents() {
        QFETCH(QString, said);
        QFETCH(QString, kind);
        QFETCH(QString, text);
        const VoiceIntent intent = VoiceIntent::parse(said);
        QCOMPARE(VoiceIntent::kindName(intent.kind), kind);
        QCOMPARE(intent.text, text);
    }

    void wordClasses_data() {
        QTest::addColumn<QString>("word");
        QTest::addColumn<bool>("wordnet");
        QTest::addColumn<QString>("wordClass");
        QTest::addColumn<QString>("lemma");
        row("a plural noun is found under its singular", u"pages"_s, true, u"noun"_s, u"page"_s);
        row("an irregular plural comes from the exception list", u"mice"_s, true, u"noun"_s, u"mouse"_s);
        row("an irregular past comes from the exception list", u"went"_s, true, u"verb"_s, u"go"_s);
        row("an irregular comparative comes from the exception list", u"bigger"_s, true, u"adjective"_s,
            u"big"_s);
        row("a word in two classes takes the one with more tagged senses", u"leads"_s, true, u"verb"_s,
            u"lead"_s);
        row("a capitalised name of a day is a noun", u"Friday"_s, true, u"noun"_s, u"friday"_s);
        row("the last word of the noun index is found", u"zyrian"_s, true, u"noun"_s, u"zyrian"_s);
        row("an adverb is found", u"quickly"_s, true, u"adverb"_s, u"quickly"_s);
        row("a determiner WordNet files as a vitamin is a determiner", u"a"_s, true, u"determiner"_s, u"a"_s);
        row("a possessive is a determiner", u"their"_s, true, u"determiner"_s, u"their"_s);
        row("a pronoun is a pronoun", u"We"_s, true, u"pronoun"_s, u"we"_s);
        row("a modal WordNet files as a container is an auxiliary", u"can"_s, true, u"auxiliary"_s, u"can"_s);
        row("a negated auxiliary is an auxiliary", u"don't"_s, true, u"auxiliary"_s, u"don't"_s);
        row("a contraction takes the class of its first word", u"we're"_s, true, u"pronoun"_s, u"we"_s);
        row("a preposition is a preposition", u"before"_s, true, u"preposition"_s, u"before"_s);
        row("a conjunction is a conjunction", u"because"_s, true, u"conjunction"_s, u"because"_s);
        row("a number word is a number", u"twelve"_s, true, u"number"_s, u"twelve"_s);
        row("digits are a number", u"3.5"_s, true, u"number"_s, u"3.5"_s);
        row("a word of the trade is another word", u"leaderboard"_s, true, u"other word"_s, u"leaderboard"_s);
        row("a name in the possessive is another word", u"Priya's"_s, true, u"other word"_s, u"priya"_s);
        row("without WordNet a noun is another word", u"pages"_s, false, u"other word"_s, u"pages"_s);
        row("without WordNet closed classes still hold", u"the"_s, false, u"determiner"_s, u"the"_s);
        row("without WordNet digits are still a number", u"2026"_s, false, u"number"_s, u"2026"_s);
    }
    void wordClasses() {
        QFETCH(QString, word);
        QFETCH(bool, wordnet);
        QFETCH(QString, wordClass);
        QFETCH(QString, lemma);
        const Lexicon& lexicon = wordnet ? Lexicon::shared() : missingWordNet();
        QVERIFY(lexicon.hasWordNet() == wordnet);
        const TaggedWord tagged = lexicon.tag(word);
        QCOMPARE(Lexicon::className(tagged.wordClass), wordClass);
        QCOMPARE(tagged.lemma, lemma);
    }

    void missingWordNetIsLoggedOnce() {
        testsupport::LogWatch log;
        const Lexicon lexicon(u"/nonexistent/wordnet"_s);
        QCOMPARE(lexicon.tag(u"pages"_s).wordClass, WordClass::otherWord);
        QCOMPARE(log.text().count(u"lexicon: no WordNet"_s), 1);
    }

    // `contains` empty: no phrase. `leavesOut`: a word of the text that the phrase must not hold.
    void keyPhrases_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("maxWords");
        QTest::addColumn<QString>("contains");
        QTest::addColumn<QString>("leavesOut");
        row("rambling speech gives the run round its nouns without the fillers",
            u"so um I think their pricing page leads with the annual plan you know"_s, 7, u"pricing page"_s,
            u"know"_s);
        row("a plain sentence is cut to the longest phrase allowed",
            u"we should ship the leaderboard filter before the Friday release"_s, 7, u"leaderboard filter"_s,
            u"release"_s);
        row("fillers alone give none", u"yeah okay right"_s, 7, QString(), QString());
        row("two words give none", u"pricing page"_s, 7, QString(), QString());
        row("words without a noun, number or other word give none", u"we quickly ran away"_s, 7, QString(),
            QString());
        row("a conjunction ends a clause and the better clause wins",
            u"we went there and the venue booking page broke twice"_s, 7, u"venue booking page"_s, u"went"_s);
        row("punctuation ends a clause", u"good, the export by Friday. Fine."_s, 7, u"export by Friday"_s,
            u"Fine"_s);
        row("a cut stretch is trimmed back to a meaningful word", u"check the wallet filter of the tooltip"_s,
            4, u"check the wallet filter"_s, u"of"_s);
        row("numbers count as meaningful", u"we need 40 chairs for the booth"_s, 7, u"40 chairs"_s,
            QString());
    }
    void keyPhrases() {
        QFETCH(QString, text);
        QFETCH(int, maxWords);
        QFETCH(QString, contains);
        QFETCH(QString, leavesOut);
        const std::optional<QString> phrase = KeyPhrase::extract(text, maxWords);
        if (contains.isEmpty()) {
            QVERIFY2(!phrase, qPrintable(phrase.value_or(QString())));
            return;
        }
        QVERIFY(phrase);
        QVERIFY2(phrase->contains(contains), qPrintable(*phrase));
        const QStringList words = phrase->split(u' ');
        QVERIFY(words.size() <= maxWords);
        for (const QString& end : {words.first(), words.last()})
            QVERIFY2(!KeyPhrase::filler().contains(end.toLower()), qPrintable(*phrase));
        QVERIFY2(!phrase->contains(u','), qPrintable(*phrase));
        if (!leavesOut.isEmpty()) QVERIFY2(!words.contains(leavesOut), qPrintable(*phrase));
    }

private:
    static const Lexicon& missingWordNet() {
        static const Lexicon lexicon(u"/nonexistent/wordnet"_s);
        return lexicon;
    }
};

QTEST_GUILESS_MAIN(TestVoiceWords)
#include "tst_voice_words.moc"
