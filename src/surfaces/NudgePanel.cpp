#include "surfaces/NudgePanel.h"

#include "surfaces/NudgeCard.h"

#include <QVBoxLayout>

NudgePanel::NudgePanel(const NudgeView& view, bool composited) : FloatingPanel(composited) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* card = new NudgeCard(view);
    layout->addWidget(card);
    fitTo(*card);
}
