#pragma once

#include "core/Clock.h"
#include "surfaces/HUDModel.h"
#include "surfaces/design/Motion.h"
#include "surfaces/design/OVCard.h"

class HUDMark;
class LiveMeter;
class OVButton;
class OVChip;
class OVLabel;
class Orb;
class QVBoxLayout;

// The recording panel's three faces, each a card drawn from the model. `refresh` redraws from the model,
// `tick` only what the passing seconds change.
class HUDView : public OVCard {
public:
    virtual void refresh() = 0;
    virtual void tick() {}
    // Freezes the orb, for rendering pictures.
    virtual void setSnapshot(bool) {}

protected:
    HUDView(HUDModel& model, OVCardValue look, QWidget* parent);
    HUDModel& m_model;
};

// The orb, the elapsed time and "Orvane active". A click on it asks for the card.
class HUDPill : public HUDView {
public:
    HUDPill(HUDModel& model, const LiveMeter* meter, Motion motion, Clock now, QWidget* parent = nullptr);
    void refresh() override;
    void tick() override;
    void setSnapshot(bool snapshot) override;

private:
    Clock m_now;
    Orb* m_orb;
    OVLabel* m_elapsed;
};

// The head with the orb, the elapsed time and both tracks, the feed of what Orvane picks up, and the
// panel's buttons.
class HUDCard : public HUDView {
public:
    static constexpr int width = 350; // the card itself; the widget adds the shadow margin

    HUDCard(HUDModel& model, const LiveMeter* meter, Motion motion, Clock now, QWidget* parent = nullptr);
    void refresh() override;
    void tick() override;
    void setSnapshot(bool snapshot) override;

private:
    void fillFeed();

    Clock m_now;
    Orb* m_orb;
    OVLabel* m_elapsed;
    OVChip* m_otherSide;
    OVChip* m_you;
    QVBoxLayout* m_feed;
    OVLabel* m_hearingNote;
    OVButton* m_voice;
};

// A small mark at the screen's edge.
class HUDDot : public HUDView {
public:
    explicit HUDDot(HUDModel& model, QWidget* parent = nullptr);
    void refresh() override;

private:
    HUDMark* m_mark;
};
