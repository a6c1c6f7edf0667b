#pragma once

#include "os/FrameStream.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace os {

class X11FrameCamera;

// The primary X screen every `interval` seconds on a thread of its own ("orvane.frames"), through one
// X11FrameCamera that lives from `start` to `stop`; when nothing was drawn since the last frame, no grab.
// `stop` must not be called from within a callback.
class X11FrameStream final : public FrameStream {
public:
    // `display` names the X display (":1"); empty means $DISPLAY.
    explicit X11FrameStream(double interval = 2.0, int maxWidth = 1440, QString display = {});
    ~X11FrameStream() override;
    X11FrameStream(const X11FrameStream&) = delete;
    X11FrameStream& operator=(const X11FrameStream&) = delete;

    QSize start(Receiver receiver) override;
    void stop() override;

private:
    void run(std::unique_ptr<X11FrameCamera> camera, ScreenFrame first, Receiver receiver);
    // Waits one interval; false when the stream is stopping.
    bool pause();

    const double m_interval;
    const int m_maxWidth;
    const QString m_display;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
};

} // namespace os
