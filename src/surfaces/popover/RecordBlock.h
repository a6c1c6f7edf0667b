#pragma once

#include "surfaces/design/Motion.h"
#include "surfaces/menu/MenuState.h"
#include "surfaces/popover/PanelPart.h"

#include <QAbstractButton>

class LiveMeter;
class OVButton;
class Orb;

// The main button: "Tune in" while idle; the running recording with its clock, counts and "Wrap up"; or what
// is under way, without an action.
class RecordBlock : public QAbstractButton, public PanelPart {
public:
    struct Value {
        Rec::State rec;
        std::optional<QString> id;
        bool operator==(const Value&) const = default;
    };

    RecordBlock(const PanelActions& actions, const LiveMeter* meter, Motion motion,
                QWidget* parent = nullptr);
    void setValue(Value value);
    // Freezes the orb, for pictures.
    void setSnapshot(bool snapshot);

    void select(const std::optional<QString>& id) override;
    QRect areaOf(const QString& id) const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    bool idle() const { return std::holds_alternative<Rec::Idle>(m_value.rec); }
    const Rec::Recording* recording() const { return std::get_if<Rec::Recording>(&m_value.rec); }
    void paintIdle(QPainter& p, const QRect& text);
    void paintRecording(QPainter& p, const QRect& text, const Rec::Recording& r);

    const PanelActions& m_actions;
    Value m_value;
    bool m_selected = false;
    Orb* m_orb;
    OVButton* m_wrap;
};
