#pragma once

#include "surfaces/design/Pal.h"

#include <QPalette>

class QWidget;

// Which palette a component draws with. By default the desktop's: the widget's own resolved palette, which Qt
// updates on an application palette change and follows with a repaint. A widget given a fixed scheme (a
// preview, a picture) draws itself and everything inside it in that scheme.
void fixScheme(QWidget* widget, ColorScheme scheme);
const Pal& palOf(const QWidget* widget);
// Qt's own controls (fields, lists, pickers) in the palette's colours.
QPalette controlPalette(const Pal& pal);
