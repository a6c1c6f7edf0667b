#pragma once

#include "surfaces/HUD.h"

// The recording panel as a record: whether it shows and since when, with the real model.
class FakeHUD final : public HUD {
public:
    explicit FakeHUD(Clock now) : m_model(std::move(now)) {}

    HUDModel& model() override { return m_model; }
    void show(const QDateTime& started, bool micOk) override {
        m_model.reset(started, micOk);
        showing = true;
    }
    void hide() override { showing = false; }
    std::optional<QRect> frame() const override {
        return showing ? std::optional<QRect>(QRect(1500, 40, 200, 40)) : std::nullopt;
    }

    bool showing = false;

private:
    HUDModel m_model;
};
