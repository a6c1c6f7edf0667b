#include "voice/RegionPicker.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <algorithm>
#include <cstdlib>

namespace {
// Shorter drags than this, in either direction, are clicks.
constexpr int smallestDrag = 4;
const QColor dim(0, 0, 0, 110);
} // namespace

RegionOverlay::RegionOverlay(QScreen* screen, QImage frozen) : m_frozen(std::move(frozen)) {
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                   Qt::BypassWindowManagerHint);
    setAttribute(Qt::WA_DeleteOnClose);
    setCursor(Qt::CrossCursor);
    setScreen(screen);
    setGeometry(screen->geometry());
}

QRect RegionOverlay::chosen() const {
    return QRect(QPoint(std::min(m_anchor.x(), m_point.x()), std::min(m_anchor.y(), m_point.y())),
                 QSize(std::abs(m_point.x() - m_anchor.x()), std::abs(m_point.y() - m_anchor.y())));
}

bool RegionOverlay::hasSelection() const {
    const QRect r = chosen();
    return r.width() >= smallestDrag && r.height() >= smallestDrag;
}

QImage RegionOverlay::selection() const {
    if (!hasSelection()) return {};
    // The screenshot has the screen's device pixels; the widget counts logical ones.
    const qreal ratio = m_frozen.devicePixelRatio();
    const QRect r = chosen() & rect();
    return m_frozen.copy(QRectF(QPointF(r.topLeft()) * ratio, QSizeF(r.size()) * ratio).toRect());
}

void RegionOverlay::paintEvent(QPaintEvent*) {
    if (m_wantsKeyboard && !m_holdsKeyboard) {
        grabKeyboard();
        m_holdsKeyboard = true;
    }
    QPainter p(this);
    p.drawImage(rect(), m_frozen);
    QRegion shade(rect());
    if (m_dragging || hasSelection()) {
        const QRect r = chosen();
        shade -= r;
        p.setPen(QPen(Qt::white, 1, Qt::DashLine));
        p.drawRect(r.adjusted(0, 0, -1, -1));
    }
    p.setClipRegion(shade);
    p.fillRect(rect(), dim);
}

void RegionOverlay::mousePressEvent(QMouseEvent* e) {
    if (e->button() != Qt::LeftButton) return;
    m_anchor = m_point = e->position().toPoint();
    m_dragging = true;
    update();
}

void RegionOverlay::mouseMoveEvent(QMouseEvent* e) {
    if (!m_dragging) return;
    m_point = e->position().toPoint();
    update();
}

void RegionOverlay::mouseReleaseEvent(QMouseEvent* e) {
    if (!m_dragging || e->button() != Qt::LeftButton) return;
    m_dragging = false;
    m_point = e->position().toPoint();
    m_done = true;
    if (hasSelection())
        emit taken();
    else
        emit cancelled();
}

void RegionOverlay::keyPressEvent(QKeyEvent* e) {
    if (e->key() == Qt::Key_Escape) {
        m_done = true;
        emit cancelled();
    } else if ((e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) && hasSelection()) {
        m_done = true;
        emit taken();
    }
}

void RegionOverlay::closeEvent(QCloseEvent* e) {
    // Closed by the window manager or the user's desktop: that is a cancel.
    if (!m_done) {
        m_done = true;
        emit cancelled();
    }
    QWidget::closeEvent(e);
}

RegionPicker::RegionPicker(Completion completion) : m_completion(std::move(completion)) {}

RegionPicker* RegionPicker::start(Completion completion, const Freeze& freeze) {
    auto* picker = new RegionPicker(std::move(completion));
    for (QScreen* screen : QGuiApplication::screens()) {
        QImage frozen = freeze ? freeze(*screen) : QImage();
        if (frozen.isNull()) frozen = screen->grabWindow(0).toImage();
        if (frozen.isNull()) continue;
        auto* overlay = new RegionOverlay(screen, std::move(frozen));
        connect(overlay, &RegionOverlay::taken, picker,
                [picker, overlay] { picker->finish(overlay->selection()); });
        connect(overlay, &RegionOverlay::cancelled, picker, [picker] { picker->finish(std::nullopt); });
        picker->m_overlays.append(overlay);
    }
    if (picker->m_overlays.isEmpty()) {
        picker->finish(std::nullopt);
        return picker;
    }
    for (RegionOverlay* overlay : std::as_const(picker->m_overlays)) {
        overlay->showFullScreen();
        overlay->raise();
    }
    picker->m_overlays.first()->holdKeyboard();
    return picker;
}

void RegionPicker::finish(std::optional<QImage> region) {
    if (m_finished) return;
    m_finished = true;
    for (const QPointer<RegionOverlay>& overlay : std::as_const(m_overlays)) {
        if (overlay) {
            overlay->releaseKeyboard();
            overlay->close();
        }
    }
    if (region && region->isNull()) region.reset();
    Completion completion = std::move(m_completion);
    deleteLater();
    if (completion) completion(std::move(region));
}
