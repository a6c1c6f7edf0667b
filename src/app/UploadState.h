#pragma once

#include <QString>
#include <QUrl>
#include <optional>
#include <variant>

// What the menu shows of the last send: one value for the whole application, not one per session.
namespace UploadState {

struct Busy {
    QString text; // a session's title or a step of the uploader
    bool operator==(const Busy&) const = default;
};
struct Saved {
    QString title;
    std::optional<QUrl> link;
    bool operator==(const Saved&) const = default;
};
struct Failed {
    QString title;
    QString message; // the session stays pending
    bool operator==(const Failed&) const = default;
};
struct Idle {
    bool operator==(const Idle&) const = default;
};

using State = std::variant<Idle, Busy, Saved, Failed>;

// The state in one line, for the tray's tooltip; empty when idle.
QString line(const State& state);

} // namespace UploadState
