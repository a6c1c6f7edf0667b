#include "surfaces/menu/MenuModel.h"

#include <QSettings>

namespace {
const QString upNextKey = QStringLiteral("ui.upNextOpen");
const QString todoPrefix = QStringLiteral("todo.");
} // namespace

MenuModel::MenuModel(QSettings& defaults, QObject* parent)
    : QObject(parent), m_defaults(defaults), m_upNextOpen(defaults.value(upNextKey, true).toBool()) {}

void MenuModel::begin() {
    m_actions.clear();
    m_order.clear();
}

QString MenuModel::act(const QString& id, std::function<void()> action) {
    if (!m_actions.contains(id)) m_order.append(id);
    m_actions.insert(id, std::move(action));
    return id;
}

void MenuModel::commit(MenuState state) {
    m_state = std::move(state);
    if (m_selected && !m_actions.contains(*m_selected)) m_selected.reset();
    emit changed();
}

void MenuModel::perform(const QString& id, bool keepOpen) {
    const auto action = m_actions.constFind(id);
    if (action == m_actions.cend()) return;
    // A copy: the action may rebuild the menu, which replaces the table.
    const std::function<void()> run = *action;
    if (!keepOpen) m_close();
    run();
}

void MenuModel::performSelected() {
    if (m_selected) perform(*m_selected, keepsOpen(*m_selected));
}

bool MenuModel::keepsOpen(const QString& id) {
    return id.startsWith(todoPrefix) || id == QLatin1String("upnext.toggle");
}

void MenuModel::move(int delta) {
    const QStringList list = visibleOrder();
    if (list.isEmpty()) return;
    qsizetype index = m_selected ? list.indexOf(*m_selected) : -1;
    if (index < 0) index = delta < 0 ? list.size() : -1;
    m_selected = list.at(std::clamp<qsizetype>(index + delta, 0, list.size() - 1));
    emit changed();
}

void MenuModel::clearSelection() {
    if (!m_selected) return;
    m_selected.reset();
    emit changed();
}

QStringList MenuModel::visibleOrder() const {
    if (m_upNextOpen) return m_order;
    QStringList visible;
    for (const QString& id : m_order)
        if (!id.startsWith(todoPrefix)) visible.append(id);
    return visible;
}

void MenuModel::setUpNextOpen(bool open) {
    if (open == m_upNextOpen) return;
    m_upNextOpen = open;
    m_defaults.setValue(upNextKey, open);
    emit changed();
}
