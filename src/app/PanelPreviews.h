#pragma once

#include <QString>
#include <QWidget>
#include <functional>
#include <vector>

// The tray panel in the states worth looking at, each built from hand-made inputs as the app builds it.
namespace Previews {
struct PanelSample {
    QString name;
    std::function<QWidget*()> make; // the panel, owning its model
};
std::vector<PanelSample> panelSamples();
} // namespace Previews
