#pragma once

#include <QImage>
#include <QRect>
#include <QSize>
#include <array>
#include <vector>

// Where this program's windows lie in a picture of the screen that the desktop took. A Wayland desktop
// shares the screen with our windows in it and tells no client where its windows are, so each window of
// ours draws a short row of pixels at its top-left corner that names its size; a frame is searched for these
// rows and each window's rectangle is painted over. The pixels are dark greys a step apart, which nothing on
// a screen draws in this order by chance, and they survive a lossless share (not a scaled one).
namespace os::ownmarks {

constexpr int length = 12;

// The row a window of `size` device pixels draws at its top-left corner, left to right.
std::array<QRgb, length> row(QSize size);

// The rectangles of the windows whose rows `frame` shows, clipped to it.
std::vector<QRect> find(const QImage& frame);

// Paints `windows` out of `frame` with what `previous`, an earlier frame of the same size without them,
// showed there; black where there is no such frame.
void paintOut(QImage& frame, const std::vector<QRect>& windows, const QImage& previous);

// How many windows of ours are on screen now, each with its row drawn: set by the windows' side on the main
// thread, read by the frames' thread.
void setShown(int windows);
int shown();

} // namespace os::ownmarks
