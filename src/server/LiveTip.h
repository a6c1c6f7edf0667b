#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// A hint from the project about what is on the screen, with the card it proposes, if any.
struct LiveTip {
    QString title;
    QString body;
    std::optional<QString> cardTitle;
    std::optional<QString> cardWhy;

    bool operator==(const LiveTip&) const = default;
};

// The answer to the live text of a recording: a tip or none, and how soon the server wants the next text.
struct CoachReply {
    std::optional<LiveTip> tip;
    // Seconds; absent when the server says nothing usable.
    std::optional<double> nextAfter;

    bool operator==(const CoachReply&) const = default;

    // A tip with a blank title is no tip; a card without a title is no card.
    static CoachReply from(const QJsonObject& o);
};
