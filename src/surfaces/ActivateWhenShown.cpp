#include "surfaces/ActivateWhenShown.h"

#include <QEvent>
#include <QWindow>

namespace {

// Activates its window at the first exposure, then goes.
class Activator : public QObject {
public:
    Activator(QWidget& window, std::function<void(WId)> activate)
        : QObject(&window), m_window(window), m_activate(std::move(activate)) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show && watched == &m_window) {
            // The native window exists from here on; it is mapped, not yet exposed.
            m_window.windowHandle()->installEventFilter(this);
        } else if (event->type() == QEvent::Expose && watched == m_window.windowHandle() &&
                   m_window.windowHandle()->isExposed()) {
            m_window.windowHandle()->removeEventFilter(this);
            m_window.removeEventFilter(this);
            m_activate(m_window.winId());
            deleteLater();
        }
        return false;
    }

private:
    QWidget& m_window;
    std::function<void(WId)> m_activate;
};

} // namespace

void activateWhenShown(QWidget& window, std::function<void(WId)> activate) {
    if (!activate) return;
    window.setAttribute(Qt::WA_ShowWithoutActivating);
    window.installEventFilter(new Activator(window, std::move(activate)));
}
