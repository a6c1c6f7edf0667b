#include "surfaces/NudgePanel.h"

#include "surfaces/NudgeCard.h"

#include <QPropertyAnimation>
#include <QVBoxLayout>

namespace {
constexpr int fadeMs = 180;
}

NudgePanel::NudgePanel(const NudgeView& view)
    : QWidget(nullptr,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* card = new NudgeCard(view);
    layout->addWidget(card);
    setFixedSize(card->size());
}

void NudgePanel::appear(const Motion& motion) {
    if (motion.reduced()) {
        show();
        return;
    }
    setWindowOpacity(0);
    show();
    auto* fade = new QPropertyAnimation(this, "windowOpacity", this);
    fade->setDuration(fadeMs);
    fade->setStartValue(0.0);
    fade->setEndValue(1.0);
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}
