#pragma once

#include <QString>
#include <QtGlobal>
#include <memory>
#include <span>

// Decodes the first audio track of a file into mono float samples, a packet at a time. A file cut short, as a
// killed writer leaves it, decodes up to where it breaks off.
class MonoDecoder {
public:
    // `rate`: the sample rate to deliver, 0 for the file's own. Throws AudioError when the file can't be
    // opened or holds no audio track.
    explicit MonoDecoder(const QString& path, int rate = 0);
    ~MonoDecoder();
    MonoDecoder(const MonoDecoder&) = delete;
    MonoDecoder& operator=(const MonoDecoder&) = delete;

    int sampleRate() const;
    // The next decoded samples, which stay valid until the next call; false at the end. Throws AudioError
    // when the decoded audio can't be converted.
    bool next(std::span<const float>& samples);

private:
    struct State;
    std::unique_ptr<State> m;
};
