#include "surfaces/popover/PanelKeys.h"

#include "surfaces/menu/MenuModel.h"

#include <QKeyEvent>

PanelKeys::PanelKeys(MenuModel& model, std::function<void()> close, QObject* parent)
    : QObject(parent), m_model(model), m_close(std::move(close)) {}

bool PanelKeys::eventFilter(QObject*, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers mods = key->modifiers() & ~Qt::KeypadModifier;
    if (mods == Qt::NoModifier) {
        switch (key->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            m_model.performSelected();
            return true;
        case Qt::Key_Escape:
            m_close();
            return true;
        case Qt::Key_Down:
            m_model.move(1);
            return true;
        case Qt::Key_Up:
            m_model.move(-1);
            return true;
        default:
            return false;
        }
    }
    if (mods != Qt::ControlModifier) return false;
    // Ctrl+Q and Ctrl+W are every window's own keys and reach the panel's quit and close that way.
    if (key->key() == Qt::Key_Comma) {
        m_model.perform(QStringLiteral("f.settings"));
        return true;
    }
    if (key->key() == Qt::Key_O) {
        if (const auto& board = m_model.state().openBoard) m_model.perform(*board);
        return true;
    }
    return false;
}
