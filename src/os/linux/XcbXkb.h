#pragma once

// xcb's XKB header, which names a field `explicit`, a C++ keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
