#pragma once

#include <QRect>
#include <QString>
#include <optional>

class MenuModel;

// A part of the tray panel that shows some of the model's ids. It draws the keyboard selection itself and
// says where an id stands, so that the panel can scroll it into view.
class PanelPart {
public:
    virtual ~PanelPart() = default;
    // Draws `id` as selected when it is one of this part's ids, and nothing as selected otherwise.
    virtual void select(const std::optional<QString>& id) = 0;
    // Where `id` stands in the part's own coordinates; empty when the part does not show it.
    virtual QRect areaOf(const QString& id) const = 0;
};

// What a part does with a click: the id runs through the model, with the panel left open for a to-do and the
// Up next fold.
class PanelActions {
public:
    explicit PanelActions(MenuModel& model) : m_model(model) {}
    void run(const QString& id) const;
    // An id shown without an action (the pin button while a region is picked) draws as out of use.
    bool acts(const QString& id) const;

private:
    MenuModel& m_model;
};
