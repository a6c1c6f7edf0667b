#include "surfaces/design/Tone.h"

QColor toneColor(Tone tone, const Pal& pal) {
    switch (tone) {
    case Tone::accent:
        return pal.ac;
    case Tone::red:
        return pal.red;
    case Tone::amber:
        return pal.amber;
    case Tone::silver:
        return pal.silver;
    case Tone::plain:
        break;
    }
    return pal.tx2;
}
