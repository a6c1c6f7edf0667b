#pragma once

#include "surfaces/design/OVRow.h"
#include "surfaces/popover/PanelPart.h"

#include <QWidget>

// A column of plain rows, each running its id: the projects and the footer.
class RowList : public QWidget, public PanelPart {
public:
    struct Item {
        QString id;
        OVRowValue look;
        bool operator==(const Item&) const = default;
    };

    explicit RowList(const PanelActions& actions, QWidget* parent = nullptr);
    // Rows are kept and given their new looks; only a change in their number makes or drops any.
    void setItems(const QList<Item>& items);

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;

private:
    const PanelActions& m_actions;
    QList<Item> m_items;
    QList<OVRow*> m_rows;
};
