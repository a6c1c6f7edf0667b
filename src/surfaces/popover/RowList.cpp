#include "surfaces/popover/RowList.h"

#include "surfaces/popover/WidgetPool.h"

#include <QBoxLayout>

RowList::RowList(const PanelActions& actions, QWidget* parent) : QWidget(parent), m_actions(actions) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
}

void RowList::setItems(const QList<Item>& items) {
    resizePool(m_rows, items.size(), *layout(), [this] {
        auto* row = new OVRow({}, this);
        const qsizetype index = m_rows.size();
        connect(row, &QAbstractButton::clicked, this, [this, index] { m_actions.run(m_items[index].id); });
        return row;
    });
    for (qsizetype i = 0; i < items.size(); ++i) {
        OVRowValue look = items[i].look;
        look.selected = m_rows[i]->value().selected;
        if (!(look == m_rows[i]->value())) m_rows[i]->setValue(std::move(look));
    }
    m_items = items;
}

void RowList::select(const std::optional<QString>& id) {
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        OVRowValue look = m_rows[i]->value();
        const bool selected = id && *id == m_items[i].id;
        if (look.selected == selected) continue;
        look.selected = selected;
        m_rows[i]->setValue(std::move(look));
    }
}

QRect RowList::areaOf(const QString& id) const {
    for (qsizetype i = 0; i < m_items.size(); ++i)
        if (m_items[i].id == id) return m_rows[i]->geometry();
    return {};
}
