#pragma once

// A live smoke test of the recording chain: records the screen and the system audio for `seconds` into a
// scratch folder, stops, and reports what was saved, through the X server or on Wayland the desktop's
// portal. Returns the exit status.
namespace RecTest {
int run(double seconds, bool wayland);
}
