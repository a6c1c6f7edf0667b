#pragma once

#include "surfaces/Prompter.h"

#include <QList>
#include <vector>

// Keeps every alert asked; the test answers the newest unanswered one as the user would.
class FakePrompter final : public Prompter {
public:
    void ask(Alert alert, std::function<void(std::optional<QString> button)> answered) override {
        asked.append(alert);
        pending.push_back({std::move(alert), std::move(answered)});
    }

    // Presses `button` on the newest open alert, or closes it with nothing. False when no alert is open
    // or it has no such button, so a test that presses a misspelt button fails instead of cancelling.
    bool answer(std::optional<QString> button) {
        if (pending.empty()) return false;
        if (button && !pending.back().alert.buttons.contains(*button)) return false;
        auto open = std::move(pending.back());
        pending.pop_back();
        open.answered(std::move(button));
        return true;
    }

    const Alert& last() const { return asked.constLast(); }
    bool waiting() const { return !pending.empty(); }

    QList<Alert> asked; // every alert, answered or not, in the order asked

private:
    struct Open {
        Alert alert;
        std::function<void(std::optional<QString>)> answered;
    };
    std::vector<Open> pending;
};
