#pragma once

#include "os/ScreenSource.h"

// Whether screen capture really works now.
namespace ScreenAccess {
// True when at least one display can be read; a failure is logged as "screen access probe: <reason>".
bool works(os::ScreenSource& screen);
} // namespace ScreenAccess
