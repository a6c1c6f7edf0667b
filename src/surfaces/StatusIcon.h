#pragma once

#include <QByteArray>
#include <QImage>
#include <optional>

// The mark: one slanted stroke.
namespace StatusIcon {
// The tray icon. Not recording: dark ink on a light panel, light ink on a dark one; recording: lime, and with
// `dot` a red dot cut into the top right corner. Ringed in the opposite tone, to read on any panel.
QImage slash(int size = 18, bool recording = false, bool dot = false, bool darkPanel = true);
// The application icon as PNG: the mark in lime on a rounded dark square.
std::optional<QByteArray> appIcon(int pixels);
// The same icon as SVG, for themes that scale it.
QByteArray appIconSvg();
} // namespace StatusIcon
