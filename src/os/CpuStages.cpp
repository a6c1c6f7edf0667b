#include "os/CpuStages.h"

#include <array>
#include <atomic>
#include <ctime>

namespace os::cpustages {
namespace {
std::atomic<bool> on = false;
std::array<std::atomic<std::int64_t>, std::size_t(Stage::count)> nanoseconds{};

// The innermost open scope of this thread, and when it last began to count.
thread_local Scope* innermost = nullptr;
thread_local std::int64_t countingSince = 0;

std::int64_t threadCpu() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::int64_t(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

void add(Stage stage, std::int64_t ns) {
    nanoseconds[std::size_t(stage)].fetch_add(ns, std::memory_order_relaxed);
}
} // namespace

void enable(bool enabled) {
    on = enabled;
}

double seconds(Stage stage) {
    return double(nanoseconds[std::size_t(stage)].load()) / 1e9;
}

const char* name(Stage stage) {
    switch (stage) {
    case Stage::SoundHandOff:
        return "sound buffers: checks, copy, hand-off";
    case Stage::Conversion:
        return "conversion to 48 kHz mono";
    case Stage::AacEncoding:
        return "AAC encoding and the MP4 file";
    case Stage::Metering:
        return "level metering";
    case Stage::FrameGrab:
        return "frame grab";
    case Stage::Signatures:
        return "frame signatures";
    case Stage::Jpeg:
        return "JPEG of kept frames";
    case Stage::TextReading:
        return "text reading (OCR)";
    case Stage::count:
        break;
    }
    return "?";
}

Scope::Scope(Stage stage) : m_stage(stage), m_on(on.load(std::memory_order_relaxed)) {
    if (!m_on) return;
    const std::int64_t now = threadCpu();
    if (innermost) add(innermost->m_stage, now - countingSince);
    m_outer = innermost;
    innermost = this;
    countingSince = now;
}

Scope::~Scope() {
    if (!m_on) return;
    const std::int64_t now = threadCpu();
    add(m_stage, now - countingSince);
    innermost = m_outer;
    countingSince = now;
}

} // namespace os::cpustages
