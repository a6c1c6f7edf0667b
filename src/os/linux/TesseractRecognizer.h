#pragma once

#include "os/TextRecognizer.h"

#include <memory>

namespace os {

// Tesseract 5 with the English model, loaded on first use. Accurate reads the full image with the LSTM engine
// and its dictionaries; fast reads a small copy as one block, without dictionaries and without the second
// pass on inverted text, which is enough to tell two screens apart at a fraction of the cost.
class TesseractRecognizer : public TextRecognizer {
public:
    TesseractRecognizer();
    ~TesseractRecognizer() override;

    std::vector<TextLine> recognize(const QImage& image, Level level) override;

private:
    struct Engine;
    Engine& engine(Level level);

    std::unique_ptr<Engine> m_accurate;
    std::unique_ptr<Engine> m_fast;
};

} // namespace os
