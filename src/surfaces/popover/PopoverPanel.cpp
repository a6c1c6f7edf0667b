#include "surfaces/popover/PopoverPanel.h"

#include "surfaces/popover/PanelKeys.h"
#include "surfaces/popover/PopoverView.h"

#include <QCloseEvent>
#include <QVBoxLayout>
#include <QWindow>

PopoverPanel::PopoverPanel(MenuModel& model, bool composited, std::function<void(WId)> focus)
    : FloatingPanel(composited, Focus::menu), m_view(new PopoverView(model)), m_focus(std::move(focus)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_view);
    create();
    windowHandle()->installEventFilter(new PanelKeys(
        model, [this] { emit closeWanted(); }, this));
    windowHandle()->installEventFilter(this);
}

void PopoverPanel::showEvent(QShowEvent* event) {
    m_focusWanted = true;
    FloatingPanel::showEvent(event);
}

// The focus can be set only on a window the server shows; the first exposure after a show says it does.
bool PopoverPanel::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Expose && m_focusWanted && windowHandle()->isExposed()) {
        m_focusWanted = false;
        if (m_focus) m_focus(winId());
    }
    return FloatingPanel::eventFilter(watched, event);
}

void PopoverPanel::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange) {
        if (isActiveWindow())
            m_hadFocus = true;
        else if (std::exchange(m_hadFocus, false))
            emit focusLost();
    }
    FloatingPanel::changeEvent(event);
}

void PopoverPanel::closeEvent(QCloseEvent* event) {
    event->ignore();
    emit closeWanted();
}
