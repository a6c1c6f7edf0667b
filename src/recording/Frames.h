#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <optional>
#include <vector>

// Pure image comparison on tiny grey copies of a frame, and the JPEG form of kept frames.
namespace Frames {

constexpr int maxShots = 181;
// A coarse difference at or above this is a visual change.
constexpr float changeThreshold = 0.03f;
// Below a visual change, a changed share of fine pixels at or above this may be a change of text.
constexpr float fineCandidate = 0.01f;
// A text candidate is kept when its word similarity to the last kept frame is below this.
constexpr double textKeepSimilarity = 0.7;

constexpr int signatureWidth = 32, signatureHeight = 18;
constexpr int fineWidth = 128, fineHeight = 72;

// The frame as 32x18 grey pixels, each 0...1; empty for an empty image. Every pixel is the average of the
// area it covers, so a cursor or a clock moves it by little.
std::vector<float> signature(const QImage& image);
// The frame as 128x72 grey bytes, averaged by area the same way; empty for an empty image.
QByteArray fine(const QImage& image);

// Mean absolute difference; 1 when either is empty or their lengths differ.
float diff(const std::vector<float>& a, const std::vector<float>& b);
// Share of pixels whose grey differs by more than 20; 1 when either is empty or their lengths differ.
float changedRatio(const QByteArray& a, const QByteArray& b);

// JPEG bytes at the given quality (0...1), first scaled down to maxWidth when wider; nothing when encoding
// fails.
std::optional<QByteArray> jpeg(const QImage& image, double quality = 0.6, std::optional<int> maxWidth = {});
// The image at the given width, aspect kept (height truncated), smoothly scaled in RGB.
std::optional<QImage> scale(const QImage& image, int width);
std::optional<QImage> load(const QString& path);

} // namespace Frames
