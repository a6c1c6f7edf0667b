#pragma once

#include "surfaces/menu/MenuState.h"
#include "surfaces/popover/PanelPart.h"

#include <QAbstractButton>

class ClampedText;
class OVButton;
class OVChip;
class QBoxLayout;

// A card that wants a decision: its tag, title and detail, and its buttons side by side or stacked. A card
// with an action of its own opens on a click anywhere and shows the open symbol.
class AttentionCard : public QAbstractButton, public PanelPart {
public:
    explicit AttentionCard(const PanelActions& actions, QWidget* parent = nullptr);
    void setValue(const Attn& attn);
    const Attn& value() const { return m_attn; }

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void makeButtons();

    const PanelActions& m_actions;
    Attn m_attn;
    bool m_selected = false;
    OVChip* m_tag;
    ClampedText* m_title;
    ClampedText* m_detail;
    QWidget* m_buttonBox = nullptr;
    QList<OVButton*> m_buttons;
};
