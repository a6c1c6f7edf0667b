#include "surfaces/popover/PopoverPlacement.h"

#include <algorithm>

namespace PopoverPlacement {
namespace {

constexpr int inset = 4;   // the card keeps this far inside the free area
constexpr int overlap = 4; // the card tucks under the icon's panel edge by this much
constexpr int topRightGap = 8;

const Screen* screenHolding(const QList<Screen>& screens, QPoint point) {
    for (const Screen& screen : screens)
        if (screen.geometry.contains(point)) return &screen;
    return nullptr;
}

// An icon geometry is believed only when it is a real area within a screen: trays that give none answer an
// empty rectangle, and a tray that moved may answer where the icon stood before.
std::optional<QRect> usableIcon(const Request& r) {
    if (!r.icon || r.icon->isEmpty()) return std::nullopt;
    for (const Screen& screen : r.screens)
        if (screen.geometry.contains(*r.icon)) return r.icon;
    return std::nullopt;
}

// The pointer stands in for the icon when it lies on a desktop panel: on a screen, outside its free area.
std::optional<QRect> pointerOnPanel(const Request& r) {
    if (!r.pointer) return std::nullopt;
    const Screen* screen = screenHolding(r.screens, *r.pointer);
    if (!screen || screen->available.contains(*r.pointer)) return std::nullopt;
    return QRect(*r.pointer, QSize(1, 1));
}

// The card's rectangle next to the anchor, on the side away from the panel the anchor sits on.
QRect besideAnchor(QRect anchor, QRect free, QSize card) {
    QRect c(QPoint(0, 0), card);
    const QPoint mid = anchor.center();
    if (anchor.right() < free.left()) {
        c.moveTopLeft({anchor.right() + 1 - overlap, anchor.top()});
    } else if (anchor.left() > free.right()) {
        c.moveTopRight({anchor.left() - 1 + overlap, anchor.top()});
    } else if (anchor.top() > free.bottom() ||
               (anchor.bottom() >= free.top() && mid.y() > free.center().y())) {
        c.moveBottomLeft({mid.x() - card.width() / 2, anchor.top() - 1 + overlap});
    } else {
        c.moveTopLeft({mid.x() - card.width() / 2, anchor.bottom() + 1 - overlap});
    }
    return c;
}

QRect clampedInto(QRect card, QRect free) {
    const QRect room = free.adjusted(inset, 0, -inset, 0);
    card.setHeight(std::min(card.height(), room.height()));
    card.moveLeft(
        std::clamp(card.left(), room.left(), std::max(room.left(), room.right() + 1 - card.width())));
    card.moveTop(std::clamp(card.top(), room.top(), std::max(room.top(), room.bottom() + 1 - card.height())));
    return card;
}

} // namespace

QRect frame(const Request& r) {
    if (r.screens.isEmpty()) return QRect(QPoint(0, 0), r.outer);
    const QSize card = r.outer - QSize(2 * r.margin, 2 * r.margin);
    std::optional<QRect> anchor = usableIcon(r);
    if (!anchor) anchor = pointerOnPanel(r);
    const Screen* screen = anchor ? screenHolding(r.screens, anchor->center()) : &r.screens.first();
    QRect c;
    if (anchor) {
        c = besideAnchor(*anchor, screen->available, card);
    } else {
        const QRect free = screen->available;
        c = QRect(QPoint(free.right() + 1 - r.outer.width() - topRightGap + r.margin, free.top() + r.margin),
                  card);
    }
    return clampedInto(c, screen->available).adjusted(-r.margin, -r.margin, r.margin, r.margin);
}

} // namespace PopoverPlacement
