#pragma once

// A live smoke test of the recording chain: records the screen and the system audio for `seconds` into a
// scratch folder, stops, and reports what was saved. Returns the exit status.
namespace RecTest {
int run(double seconds);
}
