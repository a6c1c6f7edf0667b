#pragma once

#include "surfaces/design/Motion.h"
#include "surfaces/design/Tone.h"
#include "surfaces/design/ValueWidget.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

class LiveMeter;

struct OrbValue {
    int size = 28;
    bool live = false;
    Tone tone = Tone::accent; // amber when something needs the user's eye
};

// One picture of the orb: where the turn is, how loud the microphone is, how much of a pulse is left.
struct OrbFrame {
    double turn = 0.8; // radians of rotation
    float level = 0;   // 0...1, the microphone
    double flare = 0;  // 1 at a pulse, fading to 0
};

// The app's living mark: a small sphere of text glyphs, brighter glyphs standing for more light. While live
// it turns, brightens with the microphone and flares at each pulse; otherwise, under reduced motion or as a
// snapshot it is a still picture.
class Orb : public ValueWidget<OrbValue> {
public:
    Orb(OrbValue value, Motion motion, const LiveMeter* meter = nullptr, QWidget* parent = nullptr);

    // Freezes the animation, for rendering pictures.
    void setSnapshot(bool snapshot);
    bool animating() const;
    QSize sizeHint() const override;

    static void paint(QPainter& painter, const QRectF& box, const QColor& ink, const OrbFrame& frame);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void valueChanged() override { updateTicking(); }

private:
    OrbFrame frame() const;
    void updateTicking();
    // Repaints only when the glyphs would differ from those on screen.
    void updateIfChanged();

    Motion m_motion;
    QPointer<const LiveMeter> m_meter;
    bool m_snapshot = false;
    QTimer m_tick;
    QElapsedTimer m_clock;
    QByteArray m_picture;
};
