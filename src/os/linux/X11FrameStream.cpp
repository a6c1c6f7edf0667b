#include "os/linux/X11FrameStream.h"

#include "os/CpuStages.h"
#include "os/linux/X11FrameCamera.h"

#include <QLoggingCategory>
#include <chrono>
#include <pthread.h>
#include <set>
#include <string>

Q_LOGGING_CATEGORY(lcFrames, "frames")

namespace os {

X11FrameStream::X11FrameStream(double interval, int maxWidth, QString display)
    : m_interval(interval), m_maxWidth(maxWidth), m_display(std::move(display)) {}

X11FrameStream::~X11FrameStream() {
    stop();
}

QSize X11FrameStream::start(Receiver receiver) {
    stop();
    std::unique_ptr<X11FrameCamera> camera;
    ScreenFrame first;
    try {
        camera = std::make_unique<X11FrameCamera>(m_display, m_maxWidth);
        first = camera->take();
    } catch (const ScreenError& e) {
        qCWarning(lcFrames) << "no frames:" << e.what();
        throw ScreenError("no display to record");
    }
    const QSize size = first.image.size();
    m_stopping = false;
    m_thread =
        std::thread(&X11FrameStream::run, this, std::move(camera), std::move(first), std::move(receiver));
    return size;
}

void X11FrameStream::stop() {
    if (!m_thread.joinable()) return;
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

bool X11FrameStream::pause() {
    std::unique_lock lock(m_mutex);
    return !m_wake.wait_for(lock, std::chrono::duration<double>(m_interval), [this] { return m_stopping; });
}

void X11FrameStream::run(std::unique_ptr<X11FrameCamera> camera, ScreenFrame first, Receiver receiver) {
    pthread_setname_np(pthread_self(), "orvane.frames");
    receiver.frame(std::move(first));
    std::set<std::string> reported;
    while (pause()) {
        if (!camera->changed()) {
            if (receiver.unchanged) receiver.unchanged();
            continue;
        }
        ScreenFrame frame;
        try {
            const cpustages::Scope grabbing(cpustages::Stage::FrameGrab);
            frame = camera->take();
        } catch (const ScreenError& e) {
            if (camera->lost()) {
                qCWarning(lcFrames) << "the X display went away; the frames end";
                receiver.stopped(QStringLiteral("lost the connection to the X display"));
                return;
            }
            // The same failure every two seconds for an hour would drown the log.
            if (reported.insert(e.what()).second) qCWarning(lcFrames) << "a frame was lost:" << e.what();
            continue;
        }
        receiver.frame(std::move(frame));
    }
}

} // namespace os
