#include "surfaces/popover/TodoList.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetrics>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

namespace {
constexpr int groupHeight = 20;
constexpr int rowHeight = 40;
constexpr int plainRowHeight = 32; // a row without meta
constexpr int markColumn = 18;
constexpr int buttonHeight = 22;
constexpr int buttonPadding = 8;
constexpr int gap = 4;

const QString startTitle = QStringLiteral("Start");
const QString doneTitle = QStringLiteral("Done");

QFont groupFont() {
    QFont font = OVFont::mono(7.5, QFont::Medium);
    font.setCapitalization(QFont::AllUppercase);
    font.setLetterSpacing(QFont::PercentageSpacing, 106);
    return font;
}
QFont titleFont() {
    return OVFont::sans(9.5, QFont::Medium);
}
QFont metaFont() {
    return OVFont::sans(8);
}
QFont buttonFont() {
    return OVFont::sans(8.5, QFont::DemiBold);
}
int buttonWidth(const QString& title) {
    return QFontMetrics(buttonFont()).horizontalAdvance(title) + 2 * buttonPadding;
}
} // namespace

TodoList::TodoList(const PanelActions& actions, QWidget* parent) : QWidget(parent), m_actions(actions) {
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void TodoList::setGroups(const QList<Group>& groups) {
    if (groups == m_groups) return;
    m_groups = groups;
    layOut();
    updateGeometry();
    update();
}

void TodoList::layOut() {
    m_lines.clear();
    const int doneWidth = buttonWidth(doneTitle), startWidth = buttonWidth(startTitle);
    int y = 0;
    // Read only, so that the lines' pointers stay on the list's one copy.
    for (const Group& group : std::as_const(m_groups)) {
        // To-dos without a project stand without a head.
        if (!group.name.isEmpty()) {
            m_lines.append({y, groupHeight, &group.name, nullptr, {}, {}});
            y += groupHeight;
        }
        for (const TodoRow& row : group.items) {
            Line line{y, row.meta ? rowHeight : plainRowHeight, nullptr, &row, {}, {}};
            const int buttonTop = y + (line.height - buttonHeight) / 2;
            line.done = QRect(width() - 6 - doneWidth, buttonTop, doneWidth, buttonHeight);
            if (row.start)
                line.start = QRect(line.done.left() - gap - startWidth, buttonTop, startWidth, buttonHeight);
            m_lines.append(line);
            y += line.height;
        }
    }
    m_height = y;
}

QSize TodoList::sizeHint() const {
    return {240, m_height};
}

void TodoList::resizeEvent(QResizeEvent*) {
    layOut();
}

std::optional<QString> TodoList::idAt(const QPoint& pos) const {
    for (const Line& line : m_lines) {
        if (pos.y() < line.top || pos.y() >= line.top + line.height) continue;
        if (!line.row) return std::nullopt;
        if (line.done.contains(pos)) return line.row->done;
        if (line.start.contains(pos)) return line.row->start;
        return line.row->id;
    }
    return std::nullopt;
}

void TodoList::select(const std::optional<QString>& id) {
    const bool mine = id && id->startsWith(QLatin1String("todo."));
    const std::optional<QString> selected = mine ? id : std::nullopt;
    if (selected == m_selected) return;
    const QRect before = m_selected ? areaOf(*m_selected) : QRect();
    m_selected = selected;
    update(before.united(m_selected ? areaOf(*m_selected) : QRect()));
}

QRect TodoList::areaOf(const QString& id) const {
    for (const Line& line : m_lines) {
        if (!line.row) continue;
        if (line.row->id == id) return QRect(0, line.top, width(), line.height);
        if (line.row->done == id) return line.done;
        if (line.row->start == id) return line.start;
    }
    return {};
}

void TodoList::setHovered(std::optional<QString> id) {
    if (id == m_hovered) return;
    const QRect before = m_hovered ? areaOf(*m_hovered) : QRect();
    m_hovered = std::move(id);
    update(before.united(m_hovered ? areaOf(*m_hovered) : QRect()).adjusted(-3, -3, 3, 3));
    setCursor(m_hovered ? Qt::PointingHandCursor : Qt::ArrowCursor);
}

void TodoList::mouseMoveEvent(QMouseEvent* event) {
    setHovered(idAt(event->position().toPoint()));
}

void TodoList::leaveEvent(QEvent*) {
    setHovered(std::nullopt);
}

void TodoList::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    m_pressed = idAt(event->position().toPoint());
}

// A click is a press and a release on the same row or button.
void TodoList::mouseReleaseEvent(QMouseEvent* event) {
    const std::optional<QString> pressed = std::exchange(m_pressed, std::nullopt);
    if (event->button() != Qt::LeftButton || !pressed) return;
    if (idAt(event->position().toPoint()) == pressed) m_actions.run(*pressed);
}

void TodoList::paintEvent(QPaintEvent* event) {
    const Pal& pal = palOf(this);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRect exposed = event->rect();
    for (const Line& line : m_lines) {
        if (line.top + line.height < exposed.top()) continue;
        if (line.top > exposed.bottom()) break;
        if (line.row) {
            paintRow(p, line);
            continue;
        }
        p.setFont(groupFont());
        p.setPen(pal.tx3);
        p.drawText(QRect(6, line.top, width() - 12, line.height), Qt::AlignLeft | Qt::AlignBottom,
                   QFontMetrics(groupFont()).elidedText(*line.group, Qt::ElideRight, width() - 12));
    }
}

void TodoList::paintRow(QPainter& p, const Line& line) const {
    const Pal& pal = palOf(this);
    const TodoRow& row = *line.row;
    const QRectF box(0.5, line.top + 1.5, width() - 1, line.height - 3);
    if (m_selected == row.id || m_hovered == row.id) {
        p.setPen(Qt::NoPen);
        p.setBrush(m_selected == row.id ? pal.ln2 : pal.ln);
        p.drawRoundedRect(box, 7, 7);
    }
    // The busy mark: a small accent triangle; an idle to-do has a quiet ring.
    const QPointF mark(10, line.top + (row.meta ? 14.5 : line.height / 2.0));
    if (row.busy) {
        p.setPen(Qt::NoPen);
        p.setBrush(pal.ac);
        p.drawPolygon(QPolygonF{mark + QPointF(-3, -4), mark + QPointF(4, 0), mark + QPointF(-3, 4)});
    } else {
        p.setPen(QPen(pal.tx3, 1));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(mark, 3.5, 3.5);
    }
    const int textLeft = markColumn + 2;
    const int textWidth = (row.start ? line.start.left() : line.done.left()) - 8 - textLeft;
    const QFontMetrics tm(titleFont());
    p.setFont(titleFont());
    p.setPen(pal.tx);
    if (row.meta) {
        p.drawText(textLeft, line.top + 6 + tm.ascent(), tm.elidedText(row.title, Qt::ElideRight, textWidth));
        const QFontMetrics mm(metaFont());
        p.setFont(metaFont());
        p.setPen(pal.tx3);
        p.drawText(textLeft, line.top + 6 + tm.height() + 1 + mm.ascent(),
                   mm.elidedText(*row.meta, Qt::ElideRight, textWidth));
    } else {
        p.drawText(QRect(textLeft, line.top, textWidth, line.height), Qt::AlignLeft | Qt::AlignVCenter,
                   tm.elidedText(row.title, Qt::ElideRight, textWidth));
    }
    if (row.start) paintButton(p, line.start, startTitle, *row.start);
    paintButton(p, line.done, doneTitle, row.done);
}

void TodoList::paintButton(QPainter& p, const QRect& box, const QString& title, const QString& id) const {
    const Pal& pal = palOf(this);
    const QRectF body = QRectF(box).adjusted(0.5, 0.5, -0.5, -0.5);
    p.setPen(QPen(pal.ln3, 1));
    p.setBrush(m_hovered == id ? pal.bg3 : Qt::transparent);
    p.drawRoundedRect(body, 6, 6);
    if (m_selected == id) paintFocusRing(p, body, 6, pal);
    p.setFont(buttonFont());
    p.setPen(pal.tx2);
    p.drawText(box, Qt::AlignCenter, title);
}
