#pragma once

#include "os/SpeechEngine.h"

#include <QString>

namespace os {

// Speech on this computer through PocketSphinx and its US English models: the general language model for
// free speech, a grammar with a rejection path for commands.
class PocketSphinxEngine final : public SpeechEngine {
public:
    // The folder of Debian's pocketsphinx-en-us.
    static QString defaultModelDir();

    explicit PocketSphinxEngine(QString modelDir = defaultModelDir());

    QString missing() const override;
    std::unique_ptr<SpeechDecoder> makeDecoder() override;

private:
    QString m_modelDir;
};

} // namespace os
