#include "recording/Frames.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace Frames {
namespace {

// The source rows or columns [first, last) that one of `cells` output cells covers; at least one, so that an
// image smaller than the grid repeats its pixels.
struct Range {
    int first, last;
};

std::vector<Range> ranges(int source, int cells) {
    std::vector<Range> out(cells);
    for (int i = 0; i < cells; ++i) {
        const int first = int(qint64(i) * source / cells);
        const int last = std::max(first + 1, int(qint64(i + 1) * source / cells));
        out[i] = {first, last};
    }
    return out;
}

// Rec. 601 luma in integers, the usual device grey.
inline std::uint32_t grey(QRgb p) {
    return (77 * ((p >> 16) & 0xFF) + 150 * ((p >> 8) & 0xFF) + 29 * (p & 0xFF)) >> 8;
}

// The image reduced to width x height grey bytes, each the rounded mean of the source pixels it covers. Each
// band of source rows is first summed per source column, a loop the compiler vectorises, then per output
// cell.
std::vector<std::uint8_t> areaAverage(const QImage& image, int width, int height) {
    if (image.isNull() || image.width() <= 0 || image.height() <= 0) return {};
    const QImage rgb = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32
                           ? image
                           : image.convertToFormat(QImage::Format_RGB32);
    const std::vector<Range> columns = ranges(rgb.width(), width);
    const std::vector<Range> rows = ranges(rgb.height(), height);
    std::vector<std::uint8_t> out(std::size_t(width) * height);
    std::vector<std::uint32_t> columnSums(std::size_t(rgb.width()));
    for (int y = 0; y < height; ++y) {
        std::fill(columnSums.begin(), columnSums.end(), 0);
        for (int sy = rows[y].first; sy < rows[y].last; ++sy) {
            const auto* line = reinterpret_cast<const QRgb*>(rgb.constScanLine(sy));
            for (std::size_t sx = 0; sx < columnSums.size(); ++sx)
                columnSums[sx] += grey(line[sx]);
        }
        const std::uint32_t bandRows = std::uint32_t(rows[y].last - rows[y].first);
        for (int x = 0; x < width; ++x) {
            std::uint64_t sum = 0;
            for (int sx = columns[x].first; sx < columns[x].last; ++sx)
                sum += columnSums[std::size_t(sx)];
            const std::uint64_t count =
                std::uint64_t(bandRows) * std::uint64_t(columns[x].last - columns[x].first);
            out[std::size_t(y) * width + x] = std::uint8_t((sum + count / 2) / count);
        }
    }
    return out;
}

} // namespace

std::vector<float> signature(const QImage& image) {
    const std::vector<std::uint8_t> pixels = areaAverage(image, signatureWidth, signatureHeight);
    std::vector<float> out(pixels.size());
    std::transform(pixels.begin(), pixels.end(), out.begin(), [](std::uint8_t v) { return v / 255.0f; });
    return out;
}

QByteArray fine(const QImage& image) {
    const std::vector<std::uint8_t> pixels = areaAverage(image, fineWidth, fineHeight);
    return QByteArray(reinterpret_cast<const char*>(pixels.data()), qsizetype(pixels.size()));
}

float diff(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.empty() || a.size() != b.size()) return 1;
    double total = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        total += std::fabs(a[i] - b[i]);
    return float(total / double(a.size()));
}

float changedRatio(const QByteArray& a, const QByteArray& b) {
    if (a.isEmpty() || a.size() != b.size()) return 1;
    qsizetype changed = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        changed += std::abs(int(std::uint8_t(a[i])) - int(std::uint8_t(b[i]))) > 20;
    return float(double(changed) / double(a.size()));
}

std::optional<QByteArray> jpeg(const QImage& image, double quality, std::optional<int> maxWidth) {
    if (image.isNull()) return std::nullopt;
    std::optional<QImage> scaled;
    if (maxWidth && image.width() > *maxWidth) {
        scaled = scale(image, *maxWidth);
        if (!scaled) return std::nullopt;
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(int(std::lround(std::clamp(quality, 0.0, 1.0) * 100)));
    if (!writer.write(scaled ? *scaled : image)) return std::nullopt;
    return bytes;
}

std::optional<QImage> scale(const QImage& image, int width) {
    if (image.isNull() || width <= 0) return std::nullopt;
    const int height = int(qint64(image.height()) * width / image.width());
    if (height <= 0) return std::nullopt;
    QImage out = image.convertToFormat(QImage::Format_RGB32)
                     .scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (out.isNull()) return std::nullopt;
    return out;
}

std::optional<QImage> load(const QString& path) {
    QImageReader reader(path);
    QImage image = reader.read();
    if (image.isNull()) return std::nullopt;
    return image;
}

} // namespace Frames
