#pragma once

#include "surfaces/menu/MenuState.h"
#include "surfaces/popover/PanelPart.h"

#include <QWidget>

class QuickButton;

// The row of small actions under the main button: each with its symbol, title and key hint.
class QuickRow : public QWidget, public PanelPart {
public:
    explicit QuickRow(const PanelActions& actions, QWidget* parent = nullptr);
    void setButtons(const QList<MBtn>& buttons);

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;

private:
    const PanelActions& m_actions;
    QList<QuickButton*> m_buttons;
};
