#include "surfaces/popover/ClampedText.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/Tone.h"

#include <QEvent>
#include <QFontMetrics>
#include <QPainter>
#include <QTextLayout>

ClampedText::ClampedText(const QFont& font, Ink ink, int maxLines, QWidget* parent)
    : QWidget(parent), m_ink(ink), m_maxLines(maxLines) {
    setFont(font);
    // Its height is the height for the width it gets; its minimum is one line, never the lines it would take
    // at some narrower width.
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void ClampedText::setText(const QString& text) {
    if (text == m_text) return;
    m_text = text;
    m_linesWidth = -1;
    updateGeometry();
    update();
}

void ClampedText::setTone(std::optional<Tone> tone) {
    if (tone == m_tone) return;
    m_tone = tone;
    update();
}

const QStringList& ClampedText::linesAt(int width) const {
    if (width == m_linesWidth) return m_lines;
    m_linesWidth = width;
    m_lines.clear();
    if (width <= 0 || m_text.isEmpty()) return m_lines;
    const QFontMetrics fm(font());
    QTextLayout layout(m_text, font());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList& lines = m_lines;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (lines.size() == m_maxLines - 1) {
            // The last line takes the rest, cut to the width; a long text is not laid out any further.
            const QString rest = m_text.mid(line.textStart()).simplified();
            lines << fm.elidedText(rest, Qt::ElideRight, width);
            break;
        }
        lines << m_text.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    return m_lines;
}

QSize ClampedText::sizeHint() const {
    // One line of the text, up to a comfortable measure; the layout gives it the width there is.
    const QFontMetrics fm(font());
    const int width =
        std::max(1, std::min(fm.horizontalAdvance(m_text.left(80)), 40 * fm.averageCharWidth()));
    return {width, heightForWidth(width)};
}

QSize ClampedText::minimumSizeHint() const {
    return {0, QFontMetrics(font()).height()};
}

int ClampedText::heightForWidth(int width) const {
    const QFontMetrics fm(font());
    return int(std::max<qsizetype>(1, linesAt(width).size())) * fm.lineSpacing();
}

void ClampedText::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange) m_linesWidth = -1;
    QWidget::changeEvent(event);
}

void ClampedText::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    QColor ink = m_ink == Ink::text ? pal.tx : m_ink == Ink::secondary ? pal.tx2 : pal.tx3;
    if (m_tone) ink = toneColor(*m_tone, pal);
    const QFontMetrics fm(font());
    QPainter p(this);
    p.setFont(font());
    p.setPen(ink);
    int y = fm.ascent();
    for (const QString& line : linesAt(width())) {
        p.drawText(0, y, line);
        y += fm.lineSpacing();
    }
}
