#include "os/linux/X11FrameCamera.h"

#include <algorithm>

namespace os {
namespace {
// Smaller frames keep every later step (comparison, OCR, JPEG) cheap; the aspect stays, the height is cut
// down.
ScreenFrame narrowed(ScreenFrame frame, int maxWidth) {
    const QSize size = frame.image.size();
    if (size.width() <= maxWidth) return frame;
    const int height = std::max(2, int(qint64(size.height()) * maxWidth / size.width()));
    frame.image = frame.image.scaled(maxWidth, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                      .convertToFormat(QImage::Format_RGB32);
    return frame;
}
} // namespace

X11FrameCamera::X11FrameCamera(const QString& display, int maxWidth)
    : m_grabber(display), m_eraser(m_grabber), m_changes(m_grabber), m_maxWidth(maxWidth) {}

ScreenFrame X11FrameCamera::take() {
    ScreenFrame frame =
        m_grabber.grab([this](QImage& image, const QRect& area) { m_eraser.paintOut(image, area); });
    return narrowed(std::move(frame), m_maxWidth);
}

} // namespace os
