#pragma once

#include "os/AudioCapture.h"

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/thread-mainloop.h>

#include <map>
#include <memory>
#include <vector>

namespace os {

class PulseRecordStream;

// The sound server's capture through libpulse, on a threaded main loop of its own that starts with the first
// source. "system" records the monitor of the default sink, "mic" the default source unless that is a monitor
// (the default of a sound server without a microphone). The connection is made
// again after the server went away, at the next start.
class PulseAudioCapture final : public AudioCapture {
public:
    PulseAudioCapture();
    ~PulseAudioCapture() override;
    PulseAudioCapture(const PulseAudioCapture&) = delete;
    PulseAudioCapture& operator=(const PulseAudioCapture&) = delete;

    void start(AudioSource source, AudioReceiver receiver) override;
    void stop(AudioSource source) override;

private:
    struct Device {
        QString name;
        pa_sample_spec spec;
        pa_channel_map channels;
        bool monitor = false;
    };

    // With the lock held: a ready connection, made anew if there is none. Throws AudioCaptureError.
    void connect();
    void disconnect();
    // With the lock held: the device that `source` records now. Throws AudioCaptureError.
    Device device(AudioSource source);
    // With the lock held: waits until `done` or a few seconds have passed; true when done.
    template <typename Done> bool wait(Done done);
    // With the lock held: waits for the answer to a request; false when none came.
    bool answered(pa_operation* request);
    // Logs and throws AudioCaptureError.
    [[noreturn]] void fail(const QString& text);

    static void onContextState(pa_context* context, void* self);
    static void onServerEvent(pa_context* context, pa_subscription_event_type_t type, uint32_t index,
                              void* self);
    static void onServerChange(pa_context* context, const pa_server_info* server, void* self);
    static void onServerInfo(pa_context* context, const pa_server_info* server, void* reply);
    static void onSourceInfo(pa_context* context, const pa_source_info* source, int last, void* reply);

    pa_threaded_mainloop* m_loop = nullptr;
    pa_context* m_context = nullptr;
    std::map<AudioSource, std::unique_ptr<PulseRecordStream>> m_streams;
    // Streams stopped from within one of their own callbacks: closed at once, freed at the next call from
    // another thread.
    std::vector<std::unique_ptr<PulseRecordStream>> m_retired;
    // The defaults as last seen, to tell which source a change of the server's defaults concerns.
    QString m_defaultSink;
    QString m_defaultSource;
};

} // namespace os
