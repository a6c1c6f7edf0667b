#pragma once

#include <QString>
#include <QStringList>
#include <vector>

// What a spoken sentence asks for: pin the screen, save a note, propose a card, or nothing we know.
struct VoiceIntent {
    enum class Kind { screenshot, note, card, unknown };

    Kind kind = Kind::unknown;
    // The screenshot's note, the note, the card, or for `unknown` everything that was said.
    QString text;

    // Greetings and hesitations that may come before a command, tried in this order.
    static const QStringList fillers;
    struct Rule {
        Kind kind;
        QStringList prefixes;
    };
    // The commands and the phrases that begin them, tried in this order.
    static const std::vector<Rule>& rules();
    // Every rule's prefixes, in the same order: what the command grammar listens for.
    static const QStringList& prefixes();

    static VoiceIntent parse(const QString& text);
    // The text without the fillers in front and the blanks and punctuation at its ends.
    static QString stripFillers(const QString& text);
    // "screenshot", "note", "card" or "unknown".
    static QString kindName(Kind kind);

    bool operator==(const VoiceIntent&) const = default;
};
