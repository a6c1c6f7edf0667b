#include "surfaces/HUDPanel.h"

#include "surfaces/HUDViews.h"

#include <QApplication>
#include <QMouseEvent>
#include <QVBoxLayout>

HUDPanel::HUDPanel(HUDModel& model, const LiveMeter* meter, Motion motion, const Clock& now, bool composited)
    : FloatingPanel(composited), m_model(model), m_pill(new HUDPill(model, meter, motion, now)),
      m_card(new HUDCard(model, meter, motion, now)), m_dot(new HUDDot(model)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    for (HUDView* v :
         {static_cast<HUDView*>(m_pill), static_cast<HUDView*>(m_card), static_cast<HUDView*>(m_dot)})
        layout->addWidget(v);
    m_tick.setInterval(1000);
    connect(&m_tick, &QTimer::timeout, this, [this] { view().tick(); });
    refresh();
}

HUDView& HUDPanel::view() const {
    switch (m_model.mode()) {
    case HUDModel::Mode::pill:
        return *m_pill;
    case HUDModel::Mode::card:
        return *m_card;
    case HUDModel::Mode::dot:
        return *m_dot;
    }
    return *m_pill;
}

void HUDPanel::refresh() {
    HUDView& current = view();
    for (HUDView* v :
         {static_cast<HUDView*>(m_pill), static_cast<HUDView*>(m_card), static_cast<HUDView*>(m_dot)})
        v->setVisible(v == &current);
    current.refresh();
    layout()->activate();
    fitTo(current);
    updateTicking();
}

void HUDPanel::updateTicking() {
    if (isVisible() && m_model.mode() != HUDModel::Mode::dot)
        m_tick.start();
    else
        m_tick.stop();
}

void HUDPanel::showEvent(QShowEvent* event) {
    view().tick();
    updateTicking();
    FloatingPanel::showEvent(event);
}

void HUDPanel::hideEvent(QHideEvent* event) {
    m_tick.stop();
    FloatingPanel::hideEvent(event);
}

void HUDPanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    m_pressedAt = event->globalPosition().toPoint();
    m_grip = event->position().toPoint();
    m_dragging = false;
}

void HUDPanel::mouseMoveEvent(QMouseEvent* event) {
    const QPoint at = event->globalPosition().toPoint();
    if (!m_dragging) {
        if (!m_pressedAt || (at - *m_pressedAt).manhattanLength() < QApplication::startDragDistance()) return;
        // Far enough to be a drag, not a click. The panel follows the pointer itself: handed to the window
        // manager (startSystemMove), the drag reports success under openbox and then never moves the window.
        m_dragging = true;
        m_pressedAt.reset();
    }
    place(at - m_grip);
}

void HUDPanel::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const bool click = m_pressedAt.has_value(), dragEnds = m_dragging;
    m_pressedAt.reset();
    m_dragging = false;
    if (dragEnds) emit dragged();
    if (click && m_model.mode() != HUDModel::Mode::card) m_model.set(HUDModel::Mode::card);
}
