#pragma once

#include "surfaces/menu/MenuState.h"
#include "surfaces/popover/PanelPart.h"

#include <QWidget>

class ClampedText;
class OVButton;

// The work day: the clock symbol, the line of time tracked and its pause or resume button.
class WorkdayRow : public QWidget, public PanelPart {
public:
    explicit WorkdayRow(const PanelActions& actions, QWidget* parent = nullptr);
    void setValue(const WorkdayLine& value);

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    WorkdayLine m_value;
    ClampedText* m_line;
    OVButton* m_button;
};
