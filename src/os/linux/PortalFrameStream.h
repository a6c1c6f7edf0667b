#pragma once

#include "os/FrameStream.h"

#include <QImage>
#include <QString>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

struct pw_thread_loop;
struct pw_context;
struct pw_core;
struct pw_stream;
struct spa_source;
struct spa_hook;
struct spa_pod;

namespace os {

class ScreenCastPortal;

// The primary monitor every `interval` seconds from the desktop's ScreenCast portal over PipeWire: the
// Wayland counterpart of X11FrameStream. PipeWire's own thread ("orvane.frames") takes the newest buffer
// when a frame is due and hands every other one straight back, so a busy screen costs a buffer swap, not a
// copy. A screen that sent nothing since the last frame is "unchanged". Our own windows, which the portal
// cannot leave out, are found by the marks they draw (OwnWindowMarks) and painted over from the last frame;
// a frame in which a window of ours is shown but its mark is not found is dropped, never kept.
// The restore token the portal gives is kept through `tokens`, so the monitor is asked for once.
class PortalFrameStream final : public FrameStream {
public:
    struct Tokens {
        std::function<QString()> load;
        std::function<void(const QString&)> save;
    };

    // `ownWindowsShown` counts the windows of ours on screen now; any thread may call it.
    PortalFrameStream(Tokens tokens, std::function<int()> ownWindowsShown, double interval = 2.0,
                      int maxWidth = 1440);
    ~PortalFrameStream() override;
    PortalFrameStream(const PortalFrameStream&) = delete;
    PortalFrameStream& operator=(const PortalFrameStream&) = delete;

    QSize start(Receiver receiver) override;
    void stop() override;

private:
    struct Format;
    // PipeWire's callbacks, on its thread.
    static void onParamChanged(void* self, uint32_t id, const spa_pod* param);
    static void onProcess(void* self);
    static void onStateChanged(void* self, int old, int state, const char* error);
    static void onTick(void* self, uint64_t expirations);
    void take(const QImage& picture);
    void end(const QString& why);

    const Tokens m_tokens;
    const std::function<int()> m_ownWindowsShown;
    const double m_interval;
    const int m_maxWidth;
    std::unique_ptr<ScreenCastPortal> m_portal;
    pw_thread_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_stream* m_stream = nullptr;
    std::unique_ptr<spa_hook> m_listener;
    spa_source* m_timer = nullptr;
    std::unique_ptr<Format> m_format;
    Receiver m_receiver;

    // On PipeWire's thread only.
    bool m_due = true;            // the next buffer becomes a frame
    bool m_sentSinceTick = false; // a buffer came since the last frame was due
    bool m_ended = false;
    QImage m_clean; // the last frame kept, full size, our windows painted out
    bool m_droppedLast = false;

    // The first frame's size, for `start`.
    std::mutex m_mutex;
    std::condition_variable m_firstCame;
    std::optional<QSize> m_firstSize;
    std::optional<QString> m_failure;
};

} // namespace os
