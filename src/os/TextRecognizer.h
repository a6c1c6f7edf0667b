#pragma once

#include <QImage>
#include <QRectF>
#include <QString>
#include <stdexcept>
#include <vector>

namespace os {

struct TextRecognitionError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One line of text found in an image: its box normalised to 0...1 with the origin at the bottom left,
// and the recogniser's best reading of it.
struct TextLine {
    QRectF box;
    QString text;
};

// Reads the lines of text in an image. One instance serves one thread.
class TextRecognizer {
public:
    enum class Level { accurate, fast };

    virtual ~TextRecognizer() = default;
    // The lines in the recogniser's own order; throws TextRecognitionError when it cannot run at all.
    virtual std::vector<TextLine> recognize(const QImage& image, Level level) = 0;
};

} // namespace os
