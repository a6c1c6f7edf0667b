#include "surfaces/Nudges.h"

Nudges::Nudges(std::unique_ptr<NudgeDisplay> display) : m_display(std::move(display)) {
    m_autoClose.setSingleShot(true);
    QObject::connect(&m_autoClose, &QTimer::timeout, [this] { dismiss(TimeoutAction::run); });
}

Nudges::~Nudges() {
    m_display->withdraw();
}

void Nudges::avoidMoved() {
    if (m_kind && m_avoid) m_display->keepClearOf(m_avoid());
}

void Nudges::show(Nudge nudge) {
    if (m_kind && nudge.priority < m_priority) return;
    dismiss();

    NudgeView view{nudge.icon, nudge.title, nudge.message, {}, nudge.stacked, std::nullopt, Tone::plain, {}};
    if (const std::optional<NudgeTag> tag = NudgeView::tagFor(nudge.kind)) {
        view.tag = tag->text;
        view.tone = tag->tone;
    }
    // A button ends the nudge before it acts, so that its action may raise the next one.
    for (NudgeButton& button : nudge.buttons)
        view.buttons.push_back({button.title, button.primary, [this, action = std::move(button.action)] {
                                    dismiss();
                                    if (action) action();
                                }});
    view.close = [this] { dismiss(); };

    m_display->present(view, m_avoid ? m_avoid() : std::nullopt);
    m_kind = nudge.kind;
    m_priority = nudge.priority;
    m_onTimeout = std::move(nudge.onTimeout);
    if (nudge.timeout) m_autoClose.start(*nudge.timeout);
}

void Nudges::dismiss(TimeoutAction timeoutAction) {
    m_autoClose.stop();
    m_display->withdraw();
    m_kind.reset();
    m_priority = 0;
    // Taken out first: the action may show the next nudge.
    const std::function<void()> onTimeout = std::exchange(m_onTimeout, nullptr);
    if (timeoutAction == TimeoutAction::run && onTimeout) onTimeout();
}

void Nudges::dismiss(const QString& kind) {
    if (m_kind == kind) dismiss();
}
