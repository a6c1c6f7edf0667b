#include "voice/ScreenGrab.h"

#include "core/Log.h"
#include "recording/Frames.h"
#include "voice/PinCapture.h"

ScreenGrab::ScreenGrab(std::function<os::ScreenFrame()> grab) : m_grab(std::move(grab)) {}

// The queue ends first, finishing a grab under way, while the grab function still exists.
ScreenGrab::~ScreenGrab() {
    m_queue.reset();
}

void ScreenGrab::mainDisplay(Completion completion) {
    if (!m_queue) m_queue = std::make_unique<SerialQueue>(QStringLiteral("orvane.grab"));
    m_queue->async([this, completion = std::move(completion)] {
        std::optional<QByteArray> jpeg;
        try {
            jpeg = Frames::jpeg(m_grab().image, PinCapture::jpegQuality, PinCapture::jpegMaxWidth);
        } catch (const os::ScreenError& e) {
            slog(QStringLiteral("screen grab: ") + QString::fromUtf8(e.what()));
        }
        // Queued to this object: the answer is dropped with it when it is gone before the main thread runs
        // it.
        QMetaObject::invokeMethod(
            this, [completion, jpeg = std::move(jpeg)] { completion(jpeg); }, Qt::QueuedConnection);
    });
}
