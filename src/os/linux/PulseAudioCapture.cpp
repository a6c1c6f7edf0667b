#include "os/linux/PulseAudioCapture.h"

#include "os/linux/PulseRecordStream.h"

#include <pulse/error.h>
#include <pulse/rtclock.h>
#include <pulse/subscribe.h>
#include <pulse/timeval.h>

#include <QLoggingCategory>
#include <optional>

Q_LOGGING_CATEGORY(lcPulseCapture, "audio.pulse")

namespace os {
namespace {
// A server that does not answer in this time is taken as absent, so that a hung daemon never hangs a
// recording.
constexpr pa_usec_t answerUsec = 5 * PA_USEC_PER_SEC;

// Holds the main loop's lock; on the loop's own thread, where the lock is held already, it does nothing.
class Locked {
public:
    explicit Locked(pa_threaded_mainloop* loop)
        : m_loop(pa_threaded_mainloop_in_thread(loop) ? nullptr : loop) {
        if (m_loop) pa_threaded_mainloop_lock(m_loop);
    }
    ~Locked() {
        if (m_loop) pa_threaded_mainloop_unlock(m_loop);
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    pa_threaded_mainloop* m_loop;
};

// The answer to one request, filled in on the loop's thread.
template <typename T> struct Reply {
    pa_threaded_mainloop* loop;
    std::optional<T> value;
};

struct Defaults {
    QString sink;
    QString source;
};

struct Timeout {
    pa_threaded_mainloop* loop;
    bool expired = false;
};

QString errorText(pa_context* context) {
    return QString::fromUtf8(pa_strerror(pa_context_errno(context)));
}

pa_sample_spec specOf(const AudioFormat& format) {
    const pa_sample_format_t type = format.type == SampleType::Int16   ? PA_SAMPLE_S16NE
                                    : format.type == SampleType::Int32 ? PA_SAMPLE_S32NE
                                                                       : PA_SAMPLE_FLOAT32NE;
    return pa_sample_spec{type, uint32_t(format.sampleRate), uint8_t(format.channels)};
}

QString deviceQuery(AudioSource source) {
    return source == AudioSource::System ? QStringLiteral("@DEFAULT_MONITOR@")
                                         : QStringLiteral("@DEFAULT_SOURCE@");
}
} // namespace

PulseAudioCapture::PulseAudioCapture() = default;

PulseAudioCapture::~PulseAudioCapture() {
    if (!m_loop) return;
    {
        Locked lock(m_loop);
        m_streams.clear();
        m_retired.clear();
        disconnect();
    }
    pa_threaded_mainloop_stop(m_loop);
    pa_threaded_mainloop_free(m_loop);
}

void PulseAudioCapture::start(AudioSource source, AudioReceiver receiver) {
    // The loop's thread starts with the first source, so that a program that never records never starts it.
    if (!m_loop) {
        pa_threaded_mainloop* loop = pa_threaded_mainloop_new();
        if (!loop) fail(QStringLiteral("no audio thread"));
        if (pa_threaded_mainloop_start(loop) < 0) {
            pa_threaded_mainloop_free(loop);
            fail(QStringLiteral("no audio thread"));
        }
        m_loop = loop;
    }
    // Waiting for the server on its own thread would wait forever.
    if (pa_threaded_mainloop_in_thread(m_loop))
        fail(sourceName(source) + QStringLiteral(" capture started from the capture thread"));
    Locked lock(m_loop);
    m_retired.clear();
    m_streams.erase(source);
    connect();
    Device found = device(source);
    if (receiver.format) {
        found.spec = specOf(*receiver.format);
        pa_channel_map_init_extend(&found.channels, found.spec.channels, PA_CHANNEL_MAP_DEFAULT);
    }
    if (source == AudioSource::Mic && found.monitor) {
        qCWarning(lcPulseCapture).noquote()
            << "audio capture: the default source" << found.name << "is a monitor, no microphone";
        throw NoMicrophoneError("the default source " + found.name.toStdString() + " is a monitor");
    }
    std::unique_ptr<PulseRecordStream> stream;
    try {
        stream = std::make_unique<PulseRecordStream>(m_loop, m_context, source, found.spec, found.channels,
                                                     std::move(receiver));
    } catch (const AudioCaptureError& error) {
        fail(QString::fromUtf8(error.what()));
    }
    PulseRecordStream& starting = *stream;
    const bool started = starting.connect(found.name) &&
                         wait([&] { return starting.state() != PA_STREAM_CREATING; }) &&
                         starting.state() == PA_STREAM_READY;
    if (!started)
        fail(QStringLiteral("%1 capture from %2 did not start: %3")
                 .arg(sourceName(source), found.name, errorText(m_context)));
    char spec[PA_SAMPLE_SPEC_SNPRINT_MAX];
    qCInfo(lcPulseCapture).noquote() << sourceName(source) << "capture from" << found.name
                                     << pa_sample_spec_snprint(spec, sizeof spec, &found.spec);
    m_streams[source] = std::move(stream);
}

void PulseAudioCapture::stop(AudioSource source) {
    if (!m_loop) return;
    Locked lock(m_loop);
    const auto running = m_streams.find(source);
    if (running == m_streams.end()) return;
    std::unique_ptr<PulseRecordStream> stopping = std::move(running->second);
    m_streams.erase(running);
    // A stream that is stopped from its own callback is still in use further up that thread's stack.
    if (pa_threaded_mainloop_in_thread(m_loop)) {
        stopping->close();
        m_retired.push_back(std::move(stopping));
    } else {
        m_retired.clear();
    }
}

void PulseAudioCapture::connect() {
    if (m_context && pa_context_get_state(m_context) == PA_CONTEXT_READY) return;
    // A connection lost when the server died or restarted cannot be revived; its streams are dead as well,
    // and their owners have been told.
    m_streams.clear();
    disconnect();
    m_context = pa_context_new(pa_threaded_mainloop_get_api(m_loop), "Orvane");
    if (!m_context) fail(QStringLiteral("no sound server connection"));
    pa_context_set_state_callback(m_context, &PulseAudioCapture::onContextState, this);
    const auto settled = [this] {
        const pa_context_state_t state = pa_context_get_state(m_context);
        return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
    };
    // Starting a sound server that is not running is the desktop's business, not a recorder's.
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 || !wait(settled) ||
        pa_context_get_state(m_context) != PA_CONTEXT_READY)
        fail(QStringLiteral("no sound server: ") + errorText(m_context));

    Reply<Defaults> defaults{m_loop};
    if (!answered(pa_context_get_server_info(m_context, &PulseAudioCapture::onServerInfo, &defaults)) ||
        !defaults.value)
        fail(QStringLiteral("the sound server did not answer: ") + errorText(m_context));
    m_defaultSink = defaults.value->sink;
    m_defaultSource = defaults.value->source;
    pa_context_set_subscribe_callback(m_context, &PulseAudioCapture::onServerEvent, this);
    if (pa_operation* subscribing =
            pa_context_subscribe(m_context, PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr))
        pa_operation_unref(subscribing);
}

void PulseAudioCapture::disconnect() {
    if (!m_context) return;
    pa_context_set_state_callback(m_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
    pa_context_disconnect(m_context);
    pa_context_unref(m_context);
    m_context = nullptr;
}

PulseAudioCapture::Device PulseAudioCapture::device(AudioSource source) {
    Reply<Device> reply{m_loop};
    const QByteArray query = deviceQuery(source).toUtf8();
    if (!answered(pa_context_get_source_info_by_name(m_context, query.constData(),
                                                     &PulseAudioCapture::onSourceInfo, &reply)) ||
        !reply.value)
        fail(QStringLiteral("no %1 audio source (%2): %3")
                 .arg(sourceName(source), QString::fromUtf8(query), errorText(m_context)));
    // A format that a buffer cannot carry is converted by the server; rate and channels stay the device's.
    if (!PulseRecordStream::deliverable(reply.value->spec.format))
        reply.value->spec.format = PA_SAMPLE_FLOAT32NE;
    return *reply.value;
}

template <typename Done> bool PulseAudioCapture::wait(Done done) {
    Timeout timeout{m_loop};
    pa_time_event* timer = pa_context_rttime_new(
        m_context, pa_rtclock_now() + answerUsec,
        [](pa_mainloop_api*, pa_time_event*, const struct timeval*, void* timeout) {
            auto* expiring = static_cast<Timeout*>(timeout);
            expiring->expired = true;
            pa_threaded_mainloop_signal(expiring->loop, 0);
        },
        &timeout);
    while (!done() && !timeout.expired)
        pa_threaded_mainloop_wait(m_loop);
    if (timer) pa_threaded_mainloop_get_api(m_loop)->time_free(timer);
    return done();
}

bool PulseAudioCapture::answered(pa_operation* request) {
    if (!request) return false;
    const bool done = wait([request] { return pa_operation_get_state(request) != PA_OPERATION_RUNNING; });
    // A late answer must not reach a reply that is gone.
    if (!done) pa_operation_cancel(request);
    pa_operation_unref(request);
    return done;
}

void PulseAudioCapture::fail(const QString& text) {
    qCWarning(lcPulseCapture).noquote() << "audio capture:" << text;
    throw AudioCaptureError(text.toStdString());
}

void PulseAudioCapture::onContextState(pa_context* context, void* self) {
    auto* capture = static_cast<PulseAudioCapture*>(self);
    // A connection that fails after it was made takes its streams along; they tell their owners.
    if (pa_context_get_state(context) == PA_CONTEXT_FAILED && !capture->m_streams.empty())
        qCWarning(lcPulseCapture).noquote() << "sound server connection lost:" << errorText(context);
    pa_threaded_mainloop_signal(capture->m_loop, 0);
}

void PulseAudioCapture::onServerEvent(pa_context* context, pa_subscription_event_type_t, uint32_t,
                                      void* self) {
    if (pa_operation* asking = pa_context_get_server_info(context, &PulseAudioCapture::onServerChange, self))
        pa_operation_unref(asking);
}

void PulseAudioCapture::onServerChange(pa_context*, const pa_server_info* server, void* self) {
    auto* capture = static_cast<PulseAudioCapture*>(self);
    if (!server) return;
    const QString sink = QString::fromUtf8(server->default_sink_name);
    const QString source = QString::fromUtf8(server->default_source_name);
    const std::pair<AudioSource, QString> changes[] = {
        {AudioSource::System,
         sink != capture->m_defaultSink ? QStringLiteral("default sink is now ") + sink : QString()},
        {AudioSource::Mic,
         source != capture->m_defaultSource ? QStringLiteral("default source is now ") + source : QString()}};
    capture->m_defaultSink = sink;
    capture->m_defaultSource = source;
    for (const auto& [kind, why] : changes) {
        const auto running = capture->m_streams.find(kind);
        if (!why.isEmpty() && running != capture->m_streams.end()) running->second->changed(why);
    }
}

void PulseAudioCapture::onServerInfo(pa_context*, const pa_server_info* server, void* reply) {
    auto* defaults = static_cast<Reply<Defaults>*>(reply);
    if (server)
        defaults->value = Defaults{QString::fromUtf8(server->default_sink_name),
                                   QString::fromUtf8(server->default_source_name)};
    pa_threaded_mainloop_signal(defaults->loop, 0);
}

void PulseAudioCapture::onSourceInfo(pa_context*, const pa_source_info* source, int last, void* reply) {
    auto* device = static_cast<Reply<Device>*>(reply);
    if (source && last == 0)
        device->value = Device{QString::fromUtf8(source->name), source->sample_spec, source->channel_map,
                               source->monitor_of_sink != PA_INVALID_INDEX};
    pa_threaded_mainloop_signal(device->loop, 0);
}

} // namespace os
