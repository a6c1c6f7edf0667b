#include "os/linux/OwnWindowMarks.h"

#include <QPainter>
#include <atomic>
#include <optional>

namespace os::ownmarks {
namespace {

constexpr int signatureLength = 8;
constexpr std::array<QRgb, signatureLength> signature{0x313c35, 0x3e3238, 0x343a3f, 0x3b3036,
                                                      0x363f31, 0x303539, 0x3d333c, 0x32383e};
constexpr QRgb rgbMask = 0xffffff;
std::atomic<int> shownWindows{0};

// A byte of a size in one pixel, a nibble each in red and green.
QRgb byteColour(int byte) {
    return qRgb(0x30 + ((byte >> 4) & 0xf), 0x30 + (byte & 0xf), 0x33);
}

std::optional<int> colourByte(QRgb colour) {
    const int red = qRed(colour) - 0x30;
    const int green = qGreen(colour) - 0x30;
    if (red < 0 || red > 0xf || green < 0 || green > 0xf || qBlue(colour) != 0x33) return std::nullopt;
    return red << 4 | green;
}

} // namespace

std::array<QRgb, length> row(QSize size) {
    std::array<QRgb, length> pixels{};
    for (int i = 0; i < signatureLength; ++i)
        pixels[i] = 0xff000000 | signature[i];
    const int values[] = {size.width() >> 8, size.width() & 0xff, size.height() >> 8, size.height() & 0xff};
    for (int i = 0; i < 4; ++i)
        pixels[signatureLength + i] = byteColour(values[i]);
    return pixels;
}

std::vector<QRect> find(const QImage& frame) {
    std::vector<QRect> windows;
    if (frame.format() != QImage::Format_RGB32 && frame.format() != QImage::Format_ARGB32) return windows;
    const int width = frame.width();
    for (int y = 0; y < frame.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(frame.constScanLine(y));
        for (int x = 0; x + length <= width; ++x) {
            if ((line[x] & rgbMask) != signature[0]) continue;
            int matched = 1;
            while (matched < signatureLength && (line[x + matched] & rgbMask) == signature[matched])
                ++matched;
            if (matched < signatureLength) continue;
            int bytes[4];
            bool whole = true;
            for (int i = 0; i < 4 && whole; ++i) {
                const std::optional<int> byte = colourByte(line[x + signatureLength + i]);
                whole = byte.has_value();
                bytes[i] = byte.value_or(0);
            }
            const QSize size(bytes[0] << 8 | bytes[1], bytes[2] << 8 | bytes[3]);
            if (!whole || size.isEmpty()) continue;
            windows.push_back(QRect(QPoint(x, y), size).intersected(frame.rect()));
            x += length - 1;
        }
    }
    return windows;
}

void paintOut(QImage& frame, const std::vector<QRect>& windows, const QImage& previous) {
    if (windows.empty()) return;
    const bool earlier = previous.size() == frame.size();
    QPainter painter(&frame);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect& window : windows) {
        if (earlier)
            painter.drawImage(window.topLeft(), previous, window);
        else
            painter.fillRect(window, Qt::black);
    }
}

void setShown(int windows) {
    shownWindows = windows;
}

int shown() {
    return shownWindows;
}

} // namespace os::ownmarks
