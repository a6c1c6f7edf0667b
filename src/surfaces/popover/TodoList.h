#pragma once

#include "surfaces/menu/MenuState.h"
#include "surfaces/popover/PanelPart.h"

#include <QWidget>

// The to-dos under Up next, by project: each row with its title, meta, busy mark and the "Start" and "Done"
// buttons. Drawn in one widget, so that hundreds of rows cost one layout and only the rows in view are
// painted.
class TodoList : public QWidget, public PanelPart {
public:
    explicit TodoList(const PanelActions& actions, QWidget* parent = nullptr);
    void setGroups(const QList<Group>& groups);

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    // One line as laid out: a project's name, or a to-do with the places of its buttons.
    struct Line {
        int top = 0;
        int height = 0;
        const QString* group = nullptr;
        const TodoRow* row = nullptr;
        QRect start, done;
    };
    void layOut();
    std::optional<QString> idAt(const QPoint& pos) const;
    void paintRow(QPainter& p, const Line& line) const;
    void paintButton(QPainter& p, const QRect& box, const QString& title, const QString& id) const;
    void setHovered(std::optional<QString> id);

    const PanelActions& m_actions;
    QList<Group> m_groups;
    QList<Line> m_lines;
    int m_height = 0;
    std::optional<QString> m_selected, m_hovered, m_pressed;
};
