#pragma once

#include "surfaces/menu/MenuState.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <functional>
#include <optional>

class QSettings;

// The panel's current state, the action behind each id, and the keyboard selection. Each rebuild brackets the
// actions with `begin` and `commit`; the selection and the fold of Up next outlive it. Main thread only.
class MenuModel : public QObject {
    Q_OBJECT
public:
    explicit MenuModel(QSettings& defaults, QObject* parent = nullptr);

    void begin();
    // Registers the action of `id`; a known id only has its action replaced. Answers the id.
    QString act(const QString& id, std::function<void()> action);
    void commit(MenuState state);
    // An unknown id does nothing. Menus close before they act; rows stay open.
    void perform(const QString& id, bool keepOpen = false);
    // Return: the selection acts, with the panel left open for a to-do row and the Up next fold.
    void performSelected();
    // Whether `id` runs with the panel left open: a to-do row, its buttons and the Up next fold.
    static bool keepsOpen(const QString& id);
    bool acts(const QString& id) const { return m_actions.contains(id); }
    // Moves the selection by `delta` rows: ↓ from nothing is the first, ↑ the last; it does not wrap.
    void move(int delta);

    const MenuState& state() const { return m_state; }
    const std::optional<QString>& selected() const { return m_selected; }
    void clearSelection();
    // The ids in screen order, without the to-do rows while Up next is folded.
    QStringList visibleOrder() const;
    bool upNextOpen() const { return m_upNextOpen; }
    void setUpNextOpen(bool open);
    // Run by `perform` before a menu action; set by the panel.
    void setClose(std::function<void()> close) { m_close = std::move(close); }

signals:
    void changed();

private:
    QSettings& m_defaults;
    MenuState m_state;
    QHash<QString, std::function<void()>> m_actions;
    QStringList m_order;
    std::optional<QString> m_selected;
    bool m_upNextOpen;
    std::function<void()> m_close = [] {};
};
