#pragma once

#include "surfaces/NudgeDisplay.h"

#include <QTimer>
#include <chrono>
#include <memory>

// One request to show a nudge.
struct Nudge {
    QString kind;
    int priority = 0;
    QString icon = QStringLiteral("/");
    QString title;
    std::optional<QString> message;
    std::vector<NudgeButton> buttons;
    bool stacked = false;
    std::optional<std::chrono::milliseconds> timeout;
    std::function<void()> onTimeout; // runs when the time-out ends the nudge, never otherwise
};

// The app's one nudge card: at most one shows; one of higher or equal priority replaces it, a lower one is
// dropped. Main thread only. The app makes one and hands it to whoever raises nudges.
class Nudges {
public:
    enum class TimeoutAction { skip, run };

    explicit Nudges(std::unique_ptr<NudgeDisplay> display);
    ~Nudges();
    Nudges(const Nudges&) = delete;
    Nudges& operator=(const Nudges&) = delete;

    void show(Nudge nudge);
    // Ends the nudge on screen; its time-out action runs only when asked to.
    void dismiss(TimeoutAction timeoutAction = TimeoutAction::skip);
    // Ends the nudge only if it is of this kind, without its time-out action.
    void dismiss(const QString& kind);

    bool showing() const { return m_kind.has_value(); }
    const std::optional<QString>& kind() const { return m_kind; }
    int priority() const { return m_priority; }

    // A screen area to keep clear of, asked each time a nudge appears (the recording panel's frame).
    void setAvoid(std::function<std::optional<QRect>()> avoid) { m_avoid = std::move(avoid); }
    // The area changed (the panel grew into its card, or was dragged): the nudge on screen moves out of it.
    void avoidMoved();

private:
    std::unique_ptr<NudgeDisplay> m_display;
    std::optional<QString> m_kind;
    int m_priority = 0;
    QTimer m_autoClose;
    std::function<void()> m_onTimeout;
    std::function<std::optional<QRect>()> m_avoid;
};
