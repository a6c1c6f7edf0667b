#pragma once

#include "surfaces/design/Pal.h"
#include "surfaces/menu/Tone.h"

// Plain speaks in secondary text; the others in their palette colour.
QColor toneColor(Tone tone, const Pal& pal);
