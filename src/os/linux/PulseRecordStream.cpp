#include "os/linux/PulseRecordStream.h"

#include <pulse/error.h>
#include <pulse/sample.h>

#include <QLoggingCategory>
#include <algorithm>

Q_LOGGING_CATEGORY(lcPulseStream, "audio.pulse")

namespace os {
namespace {
// About 85 ms a fragment (4096 frames at 48 kHz), the pace the live meter's decay is tuned for. Shorter
// fragments cost a wake-up, a copy and a hop to the writer's queue each: at 20 ms that was a third of the
// recording's CPU on a still screen.
constexpr pa_usec_t fragmentUsec = 85333;

AudioFormat formatOf(const pa_sample_spec& spec) {
    const SampleType type = spec.format == PA_SAMPLE_S16NE   ? SampleType::Int16
                            : spec.format == PA_SAMPLE_S32NE ? SampleType::Int32
                                                             : SampleType::Float32;
    return AudioFormat{type, int(spec.rate), int(spec.channels), false};
}
} // namespace

bool PulseRecordStream::deliverable(pa_sample_format_t format) {
    return format == PA_SAMPLE_S16NE || format == PA_SAMPLE_S32NE || format == PA_SAMPLE_FLOAT32NE;
}

PulseRecordStream::PulseRecordStream(pa_threaded_mainloop* loop, pa_context* context, AudioSource source,
                                     const pa_sample_spec& spec, const pa_channel_map& channels,
                                     AudioReceiver receiver)
    : m_loop(loop),
      m_stream(pa_stream_new(context, sourceName(source).toUtf8().constData(), &spec, &channels)),
      m_source(source), m_format(formatOf(spec)), m_frameBytes(pa_frame_size(&spec)), m_clock(int(spec.rate)),
      m_receiver(std::move(receiver)) {
    if (!m_stream)
        throw AudioCaptureError("no " + sourceName(source).toStdString() +
                                " stream: " + pa_strerror(pa_context_errno(context)));
    pa_stream_set_read_callback(m_stream, &PulseRecordStream::onRead, this);
    pa_stream_set_state_callback(m_stream, &PulseRecordStream::onState, this);
    pa_stream_set_moved_callback(m_stream, &PulseRecordStream::onMoved, this);
}

PulseRecordStream::~PulseRecordStream() {
    close();
    pa_stream_unref(m_stream);
}

void PulseRecordStream::close() {
    pa_stream_set_read_callback(m_stream, nullptr, nullptr);
    pa_stream_set_state_callback(m_stream, nullptr, nullptr);
    pa_stream_set_moved_callback(m_stream, nullptr, nullptr);
    if (PA_STREAM_IS_GOOD(state())) pa_stream_disconnect(m_stream);
}

bool PulseRecordStream::connect(const QString& device) {
    const pa_sample_spec* spec = pa_stream_get_sample_spec(m_stream);
    pa_buffer_attr attributes{};
    attributes.maxlength = uint32_t(-1);
    attributes.fragsize = uint32_t(pa_usec_to_bytes(fragmentUsec, spec));
    // The server's interpolated latency of a record stream swings by hundreds of milliseconds while a
    // device settles; the time of a buffer is worked out from the device's own latency and the local queue.
    const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE);
    return pa_stream_connect_record(m_stream, device.toUtf8().constData(), &attributes, flags) == 0;
}

void PulseRecordStream::changed(const QString& why) {
    if (m_reported) return;
    m_reported = true;
    qCInfo(lcPulseStream).noquote() << "audio configuration changed for" << sourceName(m_source) + ":" << why;
    if (m_receiver.configurationChanged) m_receiver.configurationChanged();
}

void PulseRecordStream::onRead(pa_stream*, size_t, void* self) {
    static_cast<PulseRecordStream*>(self)->read();
}

void PulseRecordStream::onState(pa_stream*, void* self) {
    auto* stream = static_cast<PulseRecordStream*>(self);
    const pa_stream_state_t state = stream->state();
    if (state == PA_STREAM_READY) stream->m_ready = true;
    // Ending after it ran means the device went away, the server killed the stream or the server died.
    if (stream->m_ready && (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED))
        stream->changed(QStringLiteral("the stream ended"));
    pa_threaded_mainloop_signal(stream->m_loop, 0);
}

void PulseRecordStream::onMoved(pa_stream* stream, void* self) {
    static_cast<PulseRecordStream*>(self)->changed(QStringLiteral("moved to ") +
                                                   QString::fromUtf8(pa_stream_get_device_name(stream)));
}

double PulseRecordStream::deviceLatency() const {
    const pa_timing_info* timing = pa_stream_get_timing_info(m_stream);
    if (!timing) return 0;
    // A monitor's latency is less its sink's, which it hands out before playing it. The sink's latency is
    // reported late and large while the sink settles, so it never moves a buffer past its arrival.
    return std::max(0.0, (double(timing->source_usec) - double(timing->sink_usec)) / 1e6);
}

void PulseRecordStream::read() {
    while (pa_stream_readable_size(m_stream) > 0) {
        const void* data = nullptr;
        size_t bytes = 0;
        if (pa_stream_peek(m_stream, &data, &bytes) != 0) {
            qCWarning(lcPulseStream).noquote()
                << sourceName(m_source)
                << "read failed:" << pa_strerror(pa_context_errno(pa_stream_get_context(m_stream)));
            return;
        }
        if (bytes == 0) return;
        const auto frames = qint64(bytes / m_frameBytes);
        // Everything that has arrived and is not read yet was captured before the last of it, which left the
        // device its latency ago.
        const double queued = double(pa_stream_readable_size(m_stream) / m_frameBytes) / m_format.sampleRate;
        const double at = m_clock.place(monotonicSeconds() - deviceLatency() - queued, frames);
        // A hole (no data) still takes its time on the clock: the next buffer lands after it, and the writer
        // fills the gap with silence.
        if (data && frames > 0 && m_receiver.buffer)
            m_receiver.buffer(AudioBuffer{m_format, int(frames), {data}}, at);
        pa_stream_drop(m_stream);
    }
}

} // namespace os
