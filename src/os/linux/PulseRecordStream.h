#pragma once

#include "os/AudioCapture.h"
#include "os/StreamClock.h"

#include <pulse/context.h>
#include <pulse/stream.h>
#include <pulse/thread-mainloop.h>

namespace os {

// One PulseAudio record stream of a capture source: reads its fragments, stamps them on the monotonic
// timeline, and reports once when the stream stops following the source it was started for. Every member is
// used with the threaded main loop's lock held, or from the loop's own thread.
class PulseRecordStream {
public:
    // Creates the stream, not yet connected. Throws AudioCaptureError.
    PulseRecordStream(pa_threaded_mainloop* loop, pa_context* context, AudioSource source,
                      const pa_sample_spec& spec, const pa_channel_map& channels, AudioReceiver receiver);
    ~PulseRecordStream();
    PulseRecordStream(const PulseRecordStream&) = delete;
    PulseRecordStream& operator=(const PulseRecordStream&) = delete;

    // Starts recording from the source named `device`; false when the server refuses at once.
    bool connect(const QString& device);
    // Disconnects; no callback runs after it.
    void close();
    pa_stream_state_t state() const { return pa_stream_get_state(m_stream); }
    // Reports a change of configuration to the owner, once in the life of the stream.
    void changed(const QString& why);

    // The formats a capture buffer can carry; others are converted by the server.
    static bool deliverable(pa_sample_format_t format);

private:
    static void onRead(pa_stream* stream, size_t bytes, void* self);
    static void onState(pa_stream* stream, void* self);
    static void onMoved(pa_stream* stream, void* self);
    void read();
    // Seconds between a sample's capture and its arrival from the server; 0 until the server has told.
    double deviceLatency() const;

    pa_threaded_mainloop* m_loop;
    pa_stream* m_stream;
    AudioSource m_source;
    AudioFormat m_format;
    size_t m_frameBytes;
    StreamClock m_clock;
    AudioReceiver m_receiver;
    bool m_ready = false;
    bool m_reported = false;
};

} // namespace os
