#pragma once

#include "surfaces/popover/PanelPart.h"

#include <QAbstractButton>

// The full-width button that opens the board, with its key hint at the trailing edge.
class OpenBoardButton : public QAbstractButton, public PanelPart {
public:
    explicit OpenBoardButton(const PanelActions& actions, QWidget* parent = nullptr);
    void setID(const std::optional<QString>& id);

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::optional<QString> m_id;
    bool m_selected = false;
};
