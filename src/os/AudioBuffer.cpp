#include "os/AudioBuffer.h"

namespace {
QString typeName(SampleType type) {
    switch (type) {
    case SampleType::Int16:
        return QStringLiteral("int16");
    case SampleType::Int32:
        return QStringLiteral("int32");
    case SampleType::Float32:
        return QStringLiteral("float32");
    }
    return QStringLiteral("unknown");
}
} // namespace

QString AudioFormat::description() const {
    return QStringLiteral("%1 Hz, %2 ch, %3, %4")
        .arg(sampleRate)
        .arg(channels)
        .arg(typeName(type), planar ? QStringLiteral("planar") : QStringLiteral("interleaved"));
}
