#pragma once

#include "voice/Lexicon.h"

#include <QSet>
#include <QString>
#include <optional>

// The short phrase that carries a stretch of speech: the best run of meaningful words in one of its clauses.
namespace KeyPhrase {

// Words that fill speech without saying anything.
const QSet<QString>& filler();
// Verbs too common to carry a phrase.
const QSet<QString>& weakVerbs();

// None for fewer than three words, or when no clause has a run of two words with a noun, number or other
// word in it.
std::optional<QString> extract(const QString& text, int maxWords = 7,
                               const Lexicon& lexicon = Lexicon::shared());

} // namespace KeyPhrase
