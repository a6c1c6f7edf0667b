#pragma once

#include "surfaces/menu/Tone.h"

#include <QList>
#include <QString>
#include <optional>
#include <variant>

// What the tray panel shows, as plain data: the panel draws it, `dump` writes it as text. Ids name the
// actions registered beside it.
struct MBtn {
    QString id;
    QString title;
    bool primary = false;
    std::optional<QString> kbd;
    bool operator==(const MBtn&) const = default;
};

namespace Rec {
struct Recording {
    double elapsed = 0;
    int shots = 0;
    int pins = 0;
    bool mic = false;
    bool operator==(const Recording&) const = default;
};
struct Idle {
    bool operator==(const Idle&) const = default;
};
struct Starting {
    bool operator==(const Starting&) const = default;
};
struct Saving {
    bool operator==(const Saving&) const = default;
};
using State = std::variant<Idle, Starting, Saving, Recording>;
} // namespace Rec

// A card that wants a decision.
struct Attn {
    QString id;
    QString tag;
    Tone tone = Tone::plain;
    QString title;
    std::optional<QString> detail;
    std::optional<QString> open; // the action of the whole card
    QList<MBtn> buttons;
    bool stacked = false;
    bool operator==(const Attn&) const = default;
};

struct TodoRow {
    QString id;
    QString title;
    bool busy = false;
    std::optional<QString> meta;
    std::optional<QString> start;
    QString done;
    bool operator==(const TodoRow&) const = default;
};

struct Group {
    QString name;
    QList<TodoRow> items;
    bool operator==(const Group&) const = default;
};

struct Proj {
    QString id;
    QString name;
    std::optional<QString> seat;
    bool operator==(const Proj&) const = default;
};

struct WorkdayLine {
    QString line;
    std::optional<MBtn> button;
    bool operator==(const WorkdayLine&) const = default;
};

struct FooterRow {
    MBtn button;
    QString symbol;
    bool operator==(const FooterRow&) const = default;
};

struct MenuState {
    QString name;
    QString sub;
    QString status;
    Tone statusTone = Tone::plain;
    Rec::State rec = Rec::Idle{};
    std::optional<QString> recID;
    std::optional<QString> openBoard;
    QList<MBtn> quick;
    QList<Attn> attention;
    int upNextCount = 0;
    std::optional<QString> upNextToggle;
    std::optional<QString> upNextNote;
    QList<Group> groups;
    std::optional<QString> upNextRefresh;
    std::optional<WorkdayLine> workday;
    QList<Proj> projects;
    std::optional<QString> newProject;
    QList<FooterRow> footer;
    bool operator==(const MenuState&) const = default;

    // The state as the lines a user reads, top to bottom; what `--dump-menu` prints.
    QString dump() const;
};
