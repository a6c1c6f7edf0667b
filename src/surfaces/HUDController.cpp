#include "surfaces/HUDController.h"

#include "surfaces/HUDCorner.h"
#include "surfaces/HUDPanel.h"
#include "surfaces/HUDViews.h"
#include "surfaces/design/LiveMeter.h"

#include <QGuiApplication>
#include <QScreen>

namespace {
constexpr char modeKey[] = "hud.mode";
constexpr char cornerKey[] = "hud.topRight";
constexpr int dotEdgeGap = 4; // between the dot and the screen's edge
} // namespace

HUDController::HUDController(QSettings& defaults, LiveMeter& meter, PanelDesktop desktop,
                             std::function<Motion()> motion, Clock now, QObject* parent)
    : QObject(parent), m_d(defaults), m_meter(meter), m_desktop(std::move(desktop)),
      m_motion(std::move(motion)), m_now(now), m_model(std::move(now)) {
    connect(&m_model, &HUDModel::rowAdded, &m_meter, &LiveMeter::pulse);
    connect(&m_model, &HUDModel::changed, this, &HUDController::modelChanged);
    connect(&m_model, &HUDModel::modeChanged, this, [this](HUDModel::Mode mode) {
        m_d.setValue(modeKey, HUDModel::modeName(mode));
        if (!m_panel) return;
        m_panel->refresh();
        fit();
    });
}

HUDController::~HUDController() {
    delete m_panel.data();
}

HUDPanel* HUDController::panel() const {
    return m_panel;
}

void HUDController::show(const QDateTime& started, bool micOk) {
    m_model.reset(started, micOk);
    const bool composited = m_desktop.composited();
    if (m_panel && m_panel->composited() != composited) delete m_panel.data();
    if (!m_panel) {
        m_panel = new HUDPanel(m_model, &m_meter, m_motion(), m_now, composited);
        connect(m_panel, &HUDPanel::dragged, this, &HUDController::storeCorner);
    }
    m_model.set(HUDModel::modeNamed(m_d.value(modeKey).toString()).value_or(HUDModel::Mode::pill));
    m_panel->winId();
    m_desktop.onAllDesktops(*m_panel->windowHandle());
    m_panel->appear(m_motion());
}

void HUDController::hide() {
    if (m_panel) m_panel->vanish(m_motion());
}

std::optional<QRect> HUDController::frame() const {
    if (!m_panel || !m_panel->isVisible()) return std::nullopt;
    return m_panel->cardFrame();
}

void HUDController::modelChanged() {
    if (!m_panel) return;
    const QSize before = m_panel->size();
    m_panel->refresh();
    if (m_panel->size() != before) fit();
}

void HUDController::fit() {
    const QScreen* primary = QGuiApplication::primaryScreen();
    if (!primary) return; // no screen: the panel stays where the window system puts it
    QList<QRect> screens;
    for (const QScreen* s : QGuiApplication::screens())
        screens.append(s->geometry());
    QPoint corner = HUDCorner::wanted(HUDCorner::parse(m_d.value(cornerKey).toString()), screens,
                                      primary->availableGeometry());
    const QScreen* holder = QGuiApplication::screenAt(corner);
    const QRect available = (holder ? holder : primary)->availableGeometry();
    if (m_model.mode() == HUDModel::Mode::dot) corner.setX(available.right() - dotEdgeGap);
    const int m = OVCard::shadowMargin;
    QPoint origin(corner.x() - m_panel->width() + 1 + m, corner.y() - m);
    // A pill left near the left edge grows into a card that still fits on its screen.
    origin.setX(std::max(origin.x(), available.left() - m));
    m_panel->place(origin);
    if (onFrameChanged) onFrameChanged();
}

// Only the user's drags are stored: never the controller's own placing, nor a drag of the dot, whose place
// follows the screen's edge.
void HUDController::storeCorner() {
    if (m_model.mode() == HUDModel::Mode::dot) return;
    m_d.setValue(cornerKey, HUDCorner::text(m_panel->cardFrame().topRight()));
    if (onFrameChanged) onFrameChanged();
}
