#pragma once

#include "os/AudioBuffer.h"

#include <QString>
#include <functional>
#include <optional>
#include <stdexcept>

namespace os {

// What a recording hears: the other side is whatever the computer plays, the user is the microphone.
enum class AudioSource { System, Mic };

// "system" or "mic", as log lines name the sources.
QString sourceName(AudioSource source);

// The clock that capture times are read from, in seconds: monotonic, shared by every source, so that the
// tracks of one recording line up.
double monotonicSeconds();

struct AudioCaptureError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The default source is the monitor of a sink, as on a computer without a microphone: recording it as the
// microphone would record the other side a second time.
struct NoMicrophoneError : AudioCaptureError {
    using AudioCaptureError::AudioCaptureError;
};

// What a started source hands to its owner. Both callbacks run on the capture's own thread: they must be
// quick, and must not call back into the capture (hop to a queue of your own first).
struct AudioReceiver {
    // A run of samples in the format the sound server delivers, and the monotonic time of its first sample.
    // The samples are valid only during the call.
    std::function<void(const AudioBuffer& buffer, double at)> buffer;
    // The source changed under the stream: a new default device, a device unplugged, the stream ended by the
    // server, or the server restarted. Buffers may stop or come from another device; restart the source to
    // follow the current default.
    std::function<void()> configurationChanged;
    // The format to deliver buffers in, converted by the sound server; the device's own when none.
    std::optional<AudioFormat> format;
};

// Live capture of the system audio and the microphone.
class AudioCapture {
public:
    virtual ~AudioCapture() = default;
    // Starts capturing `source` from its current default device; a source that runs is restarted. Throws
    // AudioCaptureError when there is no sound server or no such device, NoMicrophoneError when the
    // microphone's default is a monitor; it never waits more than a few seconds.
    virtual void start(AudioSource source, AudioReceiver receiver) = 0;
    // After it returns no callback of `source` runs any more. Stopping a source that does not run does
    // nothing.
    virtual void stop(AudioSource source) = 0;
};

} // namespace os
