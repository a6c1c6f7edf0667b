#pragma once

#include "server/WrapStatus.h"

// A finished day as a server writes it, for the end-of-day window's preview and pictures.
namespace WrapSamples {
WrapStatus day();
}
