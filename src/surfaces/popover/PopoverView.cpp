#include "surfaces/popover/PopoverView.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVSection.h"
#include "surfaces/menu/MenuModel.h"
#include "surfaces/popover/AttentionCard.h"
#include "surfaces/popover/ClampedText.h"
#include "surfaces/popover/OpenBoardButton.h"
#include "surfaces/popover/PanelHeader.h"
#include "surfaces/popover/QuickRow.h"
#include "surfaces/popover/RecordBlock.h"
#include "surfaces/popover/RowList.h"
#include "surfaces/popover/TodoList.h"
#include "surfaces/popover/UpNextHead.h"
#include "surfaces/popover/WidgetPool.h"
#include "surfaces/popover/WorkdayRow.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyleOptionSlider>

namespace {
constexpr int padding = 14;
constexpr int barWidth = 8;

// A slim scroll bar in the palette's line colour: the bar keeps the style's geometry, so dragging the
// handle works as usual; only the drawing is the panel's own.
class ThinScrollBar : public QScrollBar {
public:
    ThinScrollBar() : QScrollBar(Qt::Vertical) { setAttribute(Qt::WA_Hover); }
    QSize sizeHint() const override { return {barWidth, QScrollBar::sizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QStyleOptionSlider option;
        initStyleOption(&option);
        const QRect handle =
            style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this);
        const Pal& pal = palOf(this);
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(underMouse() || isSliderDown() ? pal.tx3 : pal.ln3);
        p.drawRoundedRect(QRectF(handle).adjusted(2, 2, -2, -2), 2, 2);
    }
};

// A hairline across the panel between its groups of sections.
class Hairline : public QWidget {
public:
    Hairline() { setFixedHeight(9); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setPen(QPen(palOf(this).ln2, 1));
        p.drawLine(QPointF(2, 4.5), QPointF(width() - 2, 4.5));
    }
};

RowList::Item projectItem(const Proj& project) {
    return {project.id,
            {QStringLiteral("square.grid.2x2"), project.name, project.seat, false, false,
             QStringLiteral("arrow.right"), OVRowValue::Trailing::symbol}};
}
} // namespace

PopoverView::PopoverView(MenuModel& model, QWidget* parent)
    : PopoverView(model, nullptr, Motion(false), parent) {}

PopoverView::PopoverView(MenuModel& model, const LiveMeter* meter, Motion motion, QWidget* parent)
    : OVCard({14, true, 0}, nullptr, parent), m_model(model), m_actions(model), m_scroll(new QScrollArea),
      m_column(new QWidget), m_layout(new QVBoxLayout(m_column)), m_header(new PanelHeader),
      m_record(add(new RecordBlock(m_actions, meter, motion))), m_board(add(new OpenBoardButton(m_actions))),
      m_quick(add(new QuickRow(m_actions))), m_cardBox(new QWidget), m_upNext(add(new UpNextHead(m_actions))),
      m_note(new ClampedText(OVFont::sans(8.5), ClampedText::Ink::tertiary, 2)),
      m_todos(add(new TodoList(m_actions))), m_workday(add(new WorkdayRow(m_actions))),
      m_projectsHead(new OVSection({QStringLiteral("Projects"), std::nullopt})),
      m_projects(add(new RowList(m_actions))), m_footer(add(new RowList(m_actions))) {
    setFixedWidth(width + 2 * shadowMargin);
    m_layout->setContentsMargins(padding, padding, padding, padding - 4);
    m_layout->setSpacing(4);
    m_layout->addWidget(m_header);
    m_layout->addSpacing(8);
    m_layout->addWidget(m_record);
    m_layout->addWidget(m_board);
    m_layout->addWidget(m_quick);
    auto* cards = new QVBoxLayout(m_cardBox);
    cards->setContentsMargins(0, 2, 0, 2);
    cards->setSpacing(8);
    m_layout->addWidget(m_cardBox);
    m_layout->addWidget(new Hairline);
    m_layout->addWidget(m_upNext);
    m_note->setContentsMargins(6, 0, 6, 0);
    m_layout->addWidget(m_note);
    m_layout->addWidget(m_todos);
    m_layout->addWidget(m_workday);
    // The section heads line up with Up next's, which leaves room for its hover.
    m_projectsHead->setContentsMargins(6, 0, 6, 0);
    m_layout->addWidget(m_projectsHead);
    m_layout->addWidget(m_projects);
    m_layout->addWidget(new Hairline);
    m_layout->addWidget(m_footer);
    m_layout->addStretch(1);

    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->setVerticalScrollBar(new ThinScrollBar);
    m_scroll->setWidget(m_column);
    // The card's own ground shows through the scroll area.
    m_column->setAutoFillBackground(false);
    m_scroll->viewport()->setAutoFillBackground(false);
    setContent(m_scroll);

    connect(&m_model, &MenuModel::changed, this, &PopoverView::refresh);
    refresh();
}

PopoverView::~PopoverView() = default;

template <class Part> Part* PopoverView::add(Part* part) {
    m_fixedParts.emplaceBack(part, part);
    return part;
}

void PopoverView::setSnapshot(bool snapshot) {
    m_record->setSnapshot(snapshot);
}

void PopoverView::refresh() {
    const bool open = m_model.upNextOpen();
    if (!m_shown || *m_shown != m_model.state() || open != m_shownOpen) {
        fill(m_model.state(), open);
        m_shown = m_model.state();
        m_shownOpen = open;
        fitHeight();
    }
    showSelection();
}

void PopoverView::fill(const MenuState& s, bool upNextOpen) {
    m_header->setLines(s.name, s.sub, s.status, s.statusTone);
    m_record->setValue({s.rec, s.recID});
    m_board->setID(s.openBoard);
    m_quick->setButtons(s.quick);
    m_quick->setVisible(!s.quick.isEmpty());
    setCards(s.attention);

    m_upNext->setValue({s.upNextCount, s.upNextToggle, upNextOpen});
    m_note->setText(s.upNextNote.value_or(QString()));
    m_note->setVisible(s.upNextNote.has_value());
    // Folded, the rows are not laid out at all: a fold of hundreds of rows costs nothing.
    m_todos->setGroups(upNextOpen ? s.groups : QList<Group>());
    m_todos->setVisible(upNextOpen && !s.groups.isEmpty());

    m_workday->setVisible(s.workday.has_value());
    if (s.workday) m_workday->setValue(*s.workday);

    QList<RowList::Item> projects;
    for (const Proj& project : s.projects)
        projects.append(projectItem(project));
    if (s.newProject)
        projects.append({*s.newProject, {QStringLiteral("plus"), QStringLiteral("New project\u2026")}});
    m_projects->setItems(projects);
    m_projectsHead->setVisible(!projects.isEmpty());
    m_projects->setVisible(!projects.isEmpty());

    QList<RowList::Item> footer;
    for (const FooterRow& row : s.footer)
        footer.append({row.button.id,
                       {row.symbol, row.button.title, std::nullopt, false, false, row.button.kbd,
                        OVRowValue::Trailing::key}});
    m_footer->setItems(footer);
}

void PopoverView::setCards(const QList<Attn>& cards) {
    resizePool(m_cards, cards.size(), *m_cardBox->layout(),
               [this] { return new AttentionCard(m_actions, m_cardBox); });
    for (qsizetype i = 0; i < cards.size(); ++i)
        m_cards[i]->setValue(cards[i]);
    m_cardBox->setVisible(!cards.isEmpty());
}

int PopoverView::contentHeight() const {
    // Layouts learn of their children's new sizes through posted events, handled only on screen: there they
    // are handled now; before the panel is first shown every cached size is dropped, so that the height is
    // right at once either way.
    if (m_column->isVisible())
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    else
        for (QWidget* part : m_column->findChildren<QWidget*>())
            part->updateGeometry();
    QLayout* layout = m_column->layout();
    layout->invalidate();
    return layout->hasHeightForWidth() ? layout->totalHeightForWidth(width)
                                       : layout->totalSizeHint().height();
}

void PopoverView::fitHeight() {
    const int wanted = contentHeight();
    m_scrolls = wanted > maxHeight;
    m_scroll->setVerticalScrollBarPolicy(m_scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    // The bar stands in the right padding, so the rows keep their width when the content scrolls.
    m_layout->setContentsMargins(padding, padding, m_scrolls ? padding - barWidth : padding, padding - 4);
    setFixedHeight(std::min(wanted, maxHeight) + 2 * shadowMargin);
    if (wanted == m_contentHeight) return;
    m_contentHeight = wanted;
    emit contentHeightChanged(wanted);
}

QList<std::pair<QWidget*, PanelPart*>> PopoverView::parts() const {
    QList<std::pair<QWidget*, PanelPart*>> all = m_fixedParts;
    for (AttentionCard* card : m_cards)
        all.emplaceBack(card, card);
    return all;
}

void PopoverView::showSelection() {
    const std::optional<QString>& selected = m_model.selected();
    for (const auto& [widget, part] : parts())
        part->select(selected);
    if (!selected || !m_scrolls) return;
    m_column->layout()->activate();
    for (const auto& [widget, part] : parts()) {
        if (!widget->isVisibleTo(m_column)) continue;
        const QRect area = part->areaOf(*selected);
        if (area.isEmpty()) continue;
        const QPoint centre = widget->mapTo(m_column, area.center());
        m_scroll->ensureVisible(centre.x(), centre.y(), area.width() / 2 + padding,
                                area.height() / 2 + padding);
        return;
    }
}

QRect PopoverView::areaOf(const QString& id) const {
    for (const auto& [widget, part] : parts()) {
        if (!widget->isVisibleTo(m_column)) continue;
        const QRect area = part->areaOf(id);
        if (!area.isEmpty()) return QRect(widget->mapTo(this, area.topLeft()), area.size());
    }
    return {};
}
