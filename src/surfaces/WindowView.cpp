#include "surfaces/WindowView.h"

#include "surfaces/design/Appearance.h"

#include <QEvent>
#include <QPainter>

WindowView::WindowView(QWidget* parent) : QWidget(parent) {
    setPalette(controlPalette(Pal::system()));
}

void WindowView::useScheme(ColorScheme scheme) {
    m_fixedScheme = true;
    fixScheme(this, scheme);
    setPalette(controlPalette(Pal::of(scheme)));
}

void WindowView::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), palOf(this).bg);
}

// Qt's own controls follow the desktop's light or dark setting as the design's components do.
void WindowView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange && !m_fixedScheme)
        setPalette(controlPalette(Pal::system()));
    QWidget::changeEvent(event);
}
