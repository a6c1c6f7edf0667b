#pragma once

#include "surfaces/FloatingPanel.h"
#include "surfaces/HUD.h"

#include <QPointer>
#include <QSettings>

class HUDPanel;
class LiveMeter;

// The recording panel on the screen: it shows the model in the size the user chose last, at the corner where
// the user left it, and remembers both (`hud.mode`, `hud.topRight`). The panel is made at the first show and
// kept, or made anew when the desktop starts or stops compositing. Main thread.
class HUDController : public QObject, public HUD {
    Q_OBJECT
public:
    HUDController(QSettings& defaults, LiveMeter& meter, PanelDesktop desktop, std::function<Motion()> motion,
                  Clock now = systemNow, QObject* parent = nullptr);
    ~HUDController() override;

    HUDModel& model() override { return m_model; }
    void show(const QDateTime& started, bool micOk) override;
    void hide() override;
    std::optional<QRect> frame() const override;

    // The panel's window once made.
    HUDPanel* panel() const;

private:
    void fit();
    void modelChanged();
    void storeCorner();

    QSettings& m_d;
    LiveMeter& m_meter;
    PanelDesktop m_desktop;
    std::function<Motion()> m_motion;
    Clock m_now;
    HUDModel m_model;
    QPointer<HUDPanel> m_panel;
};
