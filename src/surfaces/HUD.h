#pragma once

#include "surfaces/HUDModel.h"

#include <QDateTime>
#include <QRect>
#include <functional>
#include <optional>

// The recording panel as the tuning-in flow sees it: a window on the screen in the app, a record in tests.
class HUD {
public:
    virtual ~HUD() = default;
    virtual HUDModel& model() = 0;
    // Resets the model and shows the panel in the stored mode at the stored corner.
    virtual void show(const QDateTime& started, bool micOk) = 0;
    // Fades the panel out; the stored mode stays.
    virtual void hide() = 0;
    // Where the panel is while it shows, for nudges to keep clear of.
    virtual std::optional<QRect> frame() const = 0;

    // The frame moved or changed size. Main thread.
    std::function<void()> onFrameChanged;
};
