#include "surfaces/WindowShortcuts.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>

WindowShortcuts::WindowShortcuts(std::function<void()> quit, QObject* parent)
    : QObject(parent), m_quit(std::move(quit)) {}

bool WindowShortcuts::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress || !watched->isWidgetType()) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->modifiers() != Qt::ControlModifier) return false;
    if (key->key() == Qt::Key_Q) {
        m_quit();
        return true;
    }
    if (key->key() == Qt::Key_W) {
        if (QWidget* window = QApplication::activeWindow()) {
            window->close();
            return true;
        }
    }
    return false;
}
