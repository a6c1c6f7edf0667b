#pragma once

#include <QString>
#include <optional>

// A call that was noticed: the app's display name and, when known, the title of its window.
struct CallHit {
    QString app;
    std::optional<QString> title;

    bool operator==(const CallHit&) const = default;
};
