#pragma once

#include <QByteArrayView>
#include <QFile>
#include <QString>
#include <array>
#include <memory>
#include <optional>

// The classes that decide which words of a stretch of speech carry its meaning.
enum class WordClass {
    noun,
    verb,
    adjective,
    adverb,
    number,
    pronoun,
    determiner,
    preposition,
    conjunction,
    auxiliary,
    interjection,
    // A word of no known class: a name, a word of the trade, a mishearing.
    otherWord,
};

// A word's class and the dictionary form it was found under ("pages": noun, "page").
struct TaggedWord {
    WordClass wordClass = WordClass::otherWord;
    QString lemma;

    bool operator==(const TaggedWord&) const = default;
};

// A text file of lines sorted by their first field, mapped into memory and searched in place.
class SortedLines {
public:
    // False when the file cannot be opened or mapped.
    bool open(const QString& path);
    // The line whose first field (up to the first blank) is `key`, without its line feed.
    std::optional<QByteArrayView> find(QByteArrayView key) const;

private:
    std::unique_ptr<QFile> m_file;
    QByteArrayView m_text;
};

// Word classes from WordNet's index files, with its rules for inflected forms, and closed-class words from
// lists of our own. Without WordNet every open-class word is an "other word". Read-only once built, so any
// thread may use it.
class Lexicon {
public:
    static constexpr const char* wordnetDir = "/usr/share/wordnet";

    // Maps WordNet's files in `dir`; logs once when they are not there.
    explicit Lexicon(const QString& dir);
    // The one for the installed WordNet, built on first use.
    static const Lexicon& shared();

    bool hasWordNet() const { return m_hasWordNet; }
    // One word as it was said, without the punctuation round it.
    TaggedWord tag(const QString& word) const;

    static QString className(WordClass wordClass);

private:
    // WordNet's four parts of speech, in the order that settles a tie of counts.
    static constexpr int partsOfSpeech = 4;
    struct Files {
        SortedLines index;
        SortedLines exceptions;
    };
    std::optional<TaggedWord> fromWordNet(const QString& lower) const;

    std::array<Files, partsOfSpeech> m_files;
    bool m_hasWordNet = false;
};
