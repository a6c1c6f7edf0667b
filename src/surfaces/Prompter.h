#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

// One question to the user, with its buttons in order; the first is the default.
struct Alert {
    QString title;
    QString text;
    QStringList buttons{QStringLiteral("OK")};
};

// Shows alerts without a nested event loop: the answer comes back through a callback. Main thread.
class Prompter {
public:
    virtual ~Prompter() = default;
    // `answered` gets the text of the button chosen, or nothing when the alert was closed or could not be
    // shown (no display), which every caller treats as "Cancel". It never runs inside `ask`.
    virtual void ask(Alert alert, std::function<void(std::optional<QString> button)> answered) = 0;
};
