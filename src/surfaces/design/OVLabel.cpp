#include "surfaces/design/OVLabel.h"

#include "surfaces/design/Appearance.h"

OVLabel::OVLabel(const QString& text, const QFont& font, Ink ink, QWidget* parent)
    : QLabel(text, parent), m_ink(ink) {
    setFont(font);
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
}

// The ink is settled at paint time: only then is the label surely inside the card whose scheme it follows.
void OVLabel::paintEvent(QPaintEvent* event) {
    applyInk();
    QLabel::paintEvent(event);
}

void OVLabel::applyInk() {
    const Pal& pal = palOf(this);
    const QColor color = m_ink == Ink::text        ? pal.tx
                         : m_ink == Ink::secondary ? pal.tx2
                         : m_ink == Ink::tertiary  ? pal.tx3
                         : m_ink == Ink::warning   ? pal.amber
                         : m_ink == Ink::red       ? pal.red
                                                   : pal.ac;
    if (palette().color(QPalette::WindowText) == color) return;
    QPalette ink = palette();
    ink.setColor(QPalette::WindowText, color);
    setPalette(ink);
}
