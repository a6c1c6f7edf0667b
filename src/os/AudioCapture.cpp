#include "os/AudioCapture.h"

#include <chrono>

namespace os {

QString sourceName(AudioSource source) {
    return source == AudioSource::System ? QStringLiteral("system") : QStringLiteral("mic");
}

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace os
