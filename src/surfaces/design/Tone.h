#pragma once

#include "surfaces/design/Pal.h"

// The colour a tag or status line speaks in, in this order.
enum class Tone { plain, accent, red, amber, silver };

// Plain speaks in secondary text; the others in their palette colour.
QColor toneColor(Tone tone, const Pal& pal);
