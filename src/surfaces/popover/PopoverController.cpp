#include "surfaces/popover/PopoverController.h"

#include "os/PressMonitor.h"
#include "surfaces/design/OVCard.h"
#include "surfaces/menu/MenuModel.h"
#include "surfaces/popover/PopoverPanel.h"
#include "surfaces/popover/PopoverPlacement.h"
#include "surfaces/popover/PopoverView.h"

#include <QGuiApplication>
#include <QScreen>

PopoverController::PopoverController(Needs needs, QObject* parent) : QObject(parent), m_n(std::move(needs)) {
    m_n.model.setClose([this] { close(); });
    connect(&m_n.presses, &os::PressMonitor::pressed, this, &PopoverController::pressed);
}

PopoverController::~PopoverController() {
    m_n.model.setClose([] {});
    m_n.presses.stop();
    delete m_panel;
}

PopoverPanel* PopoverController::panel() const {
    return m_panel;
}

void PopoverController::toggle(const TrayAnchor& from) {
    if (m_shown) {
        close();
        return;
    }
    if (m_closedFromOutside && m_closedFromOutside->msecsTo(m_n.now()) < reopenGuard.count()) return;
    open(from);
}

void PopoverController::open(const TrayAnchor& from) {
    m_anchor = from;
    m_closedFromOutside.reset();
    if (m_n.onOpen) m_n.onOpen();
    // A desktop that started or stopped compositing wants the other kind of window.
    if (!m_panel || m_panel->composited() != m_n.desktop.composited()) makePanel();
    m_n.model.clearSelection();
    layout();
    m_n.desktop.onAllDesktops(*m_panel->windowHandle());
    m_panel->appear(m_n.motion());
    m_panel->raise();
    m_n.presses.start();
    if (!std::exchange(m_shown, true)) emit openChanged(true);
}

void PopoverController::close() {
    m_n.presses.stop();
    if (!m_shown) return;
    m_shown = false;
    // Opening again while it fades keeps it on the screen: appear stops the fade before it hides.
    m_panel->vanish(m_n.motion());
    emit openChanged(false);
}

void PopoverController::makePanel() {
    delete m_panel;
    m_panel = new PopoverPanel(m_n.model, m_n.desktop.composited(), m_n.focus);
    connect(m_panel, &PopoverPanel::closeWanted, this, &PopoverController::close);
    connect(m_panel, &PopoverPanel::focusLost, this, &PopoverController::closeFromOutside);
    connect(&m_panel->view(), &PopoverView::contentHeightChanged, this, [this] {
        // After the view settles, not within its own layout pass.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_shown) layout();
            },
            Qt::QueuedConnection);
    });
}

void PopoverController::layout() {
    PopoverView& view = m_panel->view();
    const int margin = OVCard::shadowMargin;
    // The view's size is the card's with its shadow, at most the cap: taller content scrolls inside.
    const QSize outer = view.sizeHint().expandedTo(view.minimumSize()).boundedTo(view.maximumSize());
    PopoverPlacement::Request request{m_anchor ? m_anchor->icon : std::nullopt,
                                      m_anchor ? std::optional(m_anchor->pointer) : std::nullopt,
                                      {},
                                      outer,
                                      margin};
    const QScreen* primary = QGuiApplication::primaryScreen();
    if (primary) request.screens.append({primary->geometry(), primary->availableGeometry()});
    for (const QScreen* screen : QGuiApplication::screens())
        if (screen != primary) request.screens.append({screen->geometry(), screen->availableGeometry()});
    const QRect frame = PopoverPlacement::frame(request);
    m_panel->fitTo(view, frame.size());
    m_panel->place(frame.topLeft());
}

void PopoverController::closeFromOutside() {
    if (!m_shown) return;
    close();
    m_closedFromOutside = m_n.now();
}

void PopoverController::pressed(QPoint global) {
    if (m_shown && m_panel && !m_panel->frameGeometry().contains(global)) closeFromOutside();
}
