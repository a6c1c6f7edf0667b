#pragma once

#include <cstdint>

namespace os {

// Where a recording's CPU time goes: each thread's CPU time while it is inside a stage, summed over threads.
// Off unless a measurement turns it on; then a scope costs two reads of the thread's CPU clock.
namespace cpustages {

enum class Stage {
    // The sound server's callbacks: a buffer's checks, copy and hand-off to its writer.
    SoundHandOff,
    Conversion,
    // The AAC encoder and the MP4 file it feeds.
    AacEncoding,
    Metering,
    // A frame from the X server, our windows painted out, narrowed.
    FrameGrab,
    // The prints a frame is compared by.
    Signatures,
    // A kept frame as JPEG.
    Jpeg,
    TextReading,
    count
};

void enable(bool on);
// CPU seconds spent in `stage` since the start of the process, while enabled.
double seconds(Stage stage);
const char* name(Stage stage);

// Counts the calling thread's CPU time from here to the end of the scope against `stage`. A scope opened
// inside another counts only for itself: the outer one pauses meanwhile.
class Scope {
public:
    explicit Scope(Stage stage);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

private:
    Stage m_stage;
    bool m_on;
    Scope* m_outer = nullptr;
};

} // namespace cpustages
} // namespace os
