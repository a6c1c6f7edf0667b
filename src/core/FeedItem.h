#pragma once

// One row of the recording panel's feed.
namespace FeedItem {
enum class Kind { heard, nowIn, slide, pinned, noted, tip, card, info };
} // namespace FeedItem
