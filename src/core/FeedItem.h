#pragma once

#include <QString>

// One row of the recording panel's feed.
namespace FeedItem {
enum class Kind { heard, nowIn, slide, pinned, noted, tip, card, info };

// The label the panel shows before a row's text.
inline QString label(Kind kind) {
    switch (kind) {
    case Kind::heard:
        return QStringLiteral("Heard");
    case Kind::nowIn:
        return QStringLiteral("Now in");
    case Kind::slide:
        return QStringLiteral("New slide");
    case Kind::pinned:
        return QStringLiteral("Pinned");
    case Kind::noted:
        return QStringLiteral("Noted");
    case Kind::tip:
        return QStringLiteral("Tip");
    case Kind::card:
        return QStringLiteral("Card");
    case Kind::info:
        return QStringLiteral("Orvane");
    }
    return {};
}
} // namespace FeedItem
