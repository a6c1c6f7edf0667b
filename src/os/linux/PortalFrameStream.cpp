#include "os/linux/PortalFrameStream.h"

#include "os/CpuStages.h"
#include "os/linux/OwnWindowMarks.h"
#include "os/linux/ScreenCastPortal.h"

#include <QDBusConnection>
#include <QLoggingCategory>
#include <chrono>
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcPortalFrames, "frames")

namespace os {

struct PortalFrameStream::Format {
    spa_video_info_raw raw{};
    bool known = false;
    pw_buffer* held = nullptr; // the newest buffer, kept until it becomes a frame or a newer one comes
};

namespace {

constexpr std::chrono::seconds firstFramePatience{10};

std::optional<QImage::Format> imageFormat(spa_video_format format) {
    switch (format) {
    case SPA_VIDEO_FORMAT_BGRx:
    case SPA_VIDEO_FORMAT_BGRA:
        return QImage::Format_RGB32; // B, G, R, X in memory: one 0xXXRRGGBB word on this little-endian CPU
    case SPA_VIDEO_FORMAT_RGBx:
    case SPA_VIDEO_FORMAT_RGBA:
        return QImage::Format_RGBX8888;
    default:
        return std::nullopt;
    }
}

} // namespace

PortalFrameStream::PortalFrameStream(Tokens tokens, std::function<int()> ownWindowsShown, double interval,
                                     int maxWidth)
    : m_tokens(std::move(tokens)), m_ownWindowsShown(std::move(ownWindowsShown)), m_interval(interval),
      m_maxWidth(maxWidth) {
    pw_init(nullptr, nullptr);
}

PortalFrameStream::~PortalFrameStream() {
    stop();
}

QSize PortalFrameStream::start(Receiver receiver) {
    stop();
    auto portal = std::make_unique<ScreenCastPortal>(QDBusConnection::sessionBus());
    const ScreenCastPortal::Share share = portal->open(m_tokens.load ? m_tokens.load() : QString());
    if (!share.restoreToken.isEmpty() && m_tokens.save) m_tokens.save(share.restoreToken);
    m_portal = std::move(portal);

    m_receiver = std::move(receiver);
    m_format = std::make_unique<Format>();
    m_due = true;
    m_ended = false;
    m_clean = QImage();
    m_droppedLast = false;
    {
        std::lock_guard lock(m_mutex);
        m_firstSize.reset();
        m_failure.reset();
    }

    m_loop = pw_thread_loop_new("orvane.frames", nullptr);
    m_context = pw_context_new(pw_thread_loop_get_loop(m_loop), nullptr, 0);
    pw_thread_loop_start(m_loop);
    pw_thread_loop_lock(m_loop);
    m_core = pw_context_connect_fd(m_context, share.pipeWireFd, nullptr, 0);
    if (!m_core) {
        pw_thread_loop_unlock(m_loop);
        stop();
        throw ScreenError("could not connect to PipeWire for the screen's frames");
    }
    m_stream = pw_stream_new(m_core, "Orvane screen",
                             pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture",
                                               PW_KEY_MEDIA_ROLE, "Screen", nullptr));
    // PipeWire keeps the pointer for the stream's life.
    static const pw_stream_events events = [] {
        pw_stream_events e{};
        e.version = PW_VERSION_STREAM_EVENTS;
        e.param_changed = &PortalFrameStream::onParamChanged;
        e.process = &PortalFrameStream::onProcess;
        e.state_changed = [](void* self, pw_stream_state old, pw_stream_state state, const char* error) {
            onStateChanged(self, old, state, error);
        };
        return e;
    }();
    m_listener = std::make_unique<spa_hook>();
    pw_stream_add_listener(m_stream, m_listener.get(), &events, this);

    uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    const spa_rectangle defaultSize{1920, 1080}, smallest{1, 1}, largest{16384, 16384};
    const spa_fraction defaultRate{0, 1}, slowest{0, 1}, fastest{1000, 1};
    const spa_pod* params[] = {static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                               SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&defaultSize, &smallest, &largest),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&defaultRate, &slowest, &fastest)))};
    const int connected = pw_stream_connect(
        m_stream, PW_DIRECTION_INPUT, share.node,
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS), params, 1);

    m_timer = pw_loop_add_timer(pw_thread_loop_get_loop(m_loop), &PortalFrameStream::onTick, this);
    const auto seconds = std::chrono::duration<double>(m_interval);
    const auto nanos = std::chrono::duration_cast<std::chrono::nanoseconds>(seconds).count();
    timespec every{static_cast<time_t>(nanos / 1000000000), static_cast<long>(nanos % 1000000000)};
    pw_loop_update_timer(pw_thread_loop_get_loop(m_loop), m_timer, &every, &every, false);
    pw_thread_loop_unlock(m_loop);
    if (connected < 0) {
        stop();
        throw ScreenError("could not open the screen's PipeWire stream");
    }

    std::unique_lock lock(m_mutex);
    m_firstCame.wait_for(lock, firstFramePatience, [this] { return m_firstSize || m_failure; });
    const std::optional<QSize> size = m_firstSize;
    const std::optional<QString> failure = m_failure;
    lock.unlock();
    if (!size) {
        stop();
        throw ScreenError(failure ? failure->toStdString() : std::string("the screen share sent no frame"));
    }
    return *size;
}

void PortalFrameStream::stop() {
    if (m_loop) {
        pw_thread_loop_lock(m_loop);
        // The disconnection below is ours: it must not reach the receiver as the desktop's.
        m_ended = true;
        if (m_timer) pw_loop_destroy_source(pw_thread_loop_get_loop(m_loop), m_timer);
        m_timer = nullptr;
        if (m_stream) {
            if (m_format && m_format->held) pw_stream_queue_buffer(m_stream, m_format->held);
            pw_stream_disconnect(m_stream);
            pw_stream_destroy(m_stream);
        }
        m_stream = nullptr;
        if (m_core) pw_core_disconnect(m_core);
        m_core = nullptr;
        pw_thread_loop_unlock(m_loop);
        pw_thread_loop_stop(m_loop);
        if (m_context) pw_context_destroy(m_context);
        m_context = nullptr;
        pw_thread_loop_destroy(m_loop);
        m_loop = nullptr;
    }
    m_listener.reset();
    m_format.reset();
    if (m_portal) m_portal->close();
    m_portal.reset();
}

void PortalFrameStream::onParamChanged(void* self, uint32_t id, const spa_pod* param) {
    auto* stream = static_cast<PortalFrameStream*>(self);
    if (id != SPA_PARAM_Format || !param) return;
    uint32_t mediaType = 0;
    uint32_t mediaSubtype = 0;
    if (spa_format_parse(param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video ||
        mediaSubtype != SPA_MEDIA_SUBTYPE_raw)
        return;
    spa_video_info_raw raw{};
    if (spa_format_video_raw_parse(param, &raw) < 0) return;
    stream->m_format->raw = raw;
    stream->m_format->known = imageFormat(raw.format).has_value();
    qCInfo(lcPortalFrames) << "screen stream" << raw.size.width << "x" << raw.size.height << "format"
                           << raw.format;
    // Buffers this process can read: shared memory, never a GPU buffer.
    uint8_t buffer[256];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
    const spa_pod* params[] = {static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemPtr) | (1 << SPA_DATA_MemFd))))};
    pw_stream_update_params(stream->m_stream, params, 1);
}

void PortalFrameStream::onProcess(void* self) {
    auto* stream = static_cast<PortalFrameStream*>(self);
    Format& format = *stream->m_format;
    pw_buffer* newest = nullptr;
    while (pw_buffer* next = pw_stream_dequeue_buffer(stream->m_stream)) {
        if (newest) pw_stream_queue_buffer(stream->m_stream, newest);
        newest = next;
    }
    if (!newest) return;
    const spa_data& data = newest->buffer->datas[0];
    if (!data.data || !data.chunk || data.chunk->size == 0 ||
        (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED)) {
        pw_stream_queue_buffer(stream->m_stream, newest);
        return;
    }
    if (format.held) pw_stream_queue_buffer(stream->m_stream, format.held);
    format.held = newest;
    // The first frame is taken at once: `start` waits for its size.
    if (stream->m_clean.isNull() && !stream->m_ended) onTick(self, 1);
}

void PortalFrameStream::onTick(void* self, uint64_t) {
    auto* stream = static_cast<PortalFrameStream*>(self);
    if (stream->m_ended) return;
    Format& format = *stream->m_format;
    if (!format.held) {
        if (!stream->m_clean.isNull() && stream->m_receiver.unchanged) stream->m_receiver.unchanged();
        return;
    }
    pw_buffer* held = std::exchange(format.held, nullptr);
    const std::optional<QImage::Format> kind = imageFormat(format.raw.format);
    if (format.known && kind) {
        const spa_data& data = held->buffer->datas[0];
        const int width = int(format.raw.size.width);
        const int height = int(format.raw.size.height);
        const int stride = data.chunk->stride > 0 ? data.chunk->stride : width * 4;
        if (qint64(data.chunk->offset) + qint64(stride) * height <= qint64(data.maxsize)) {
            const auto* pixels = static_cast<const uchar*>(data.data) + data.chunk->offset;
            QImage picture =
                QImage(pixels, width, height, stride, *kind).convertToFormat(QImage::Format_RGB32);
            pw_stream_queue_buffer(stream->m_stream, held);
            stream->take(picture);
            return;
        }
    }
    pw_stream_queue_buffer(stream->m_stream, held);
}

void PortalFrameStream::take(const QImage& picture) {
    const cpustages::Scope grabbing(cpustages::Stage::FrameGrab);
    // convertToFormat shares the buffer's memory when nothing needs converting: own the pixels first.
    QImage frame = picture.copy();
    const std::vector<QRect> ours = ownmarks::find(frame);
    const int shown = m_ownWindowsShown ? m_ownWindowsShown() : 0;
    if (int(ours.size()) < shown) {
        // A window of ours is on screen somewhere its mark is not: covered, scaled, or off the edge.
        if (!m_droppedLast)
            qCWarning(lcPortalFrames)
                << "a frame was dropped: a window of ours is shown and was not found in it";
        m_droppedLast = true;
        if (m_clean.isNull()) {
            // `start` still needs a size; the first frame kept is the black screen.
            frame.fill(Qt::black);
        } else {
            return;
        }
    } else {
        m_droppedLast = false;
        ownmarks::paintOut(frame, ours, m_clean);
    }
    m_clean = frame;
    ScreenFrame kept{
        frame.width() > m_maxWidth
            ? frame.scaledToWidth(m_maxWidth, Qt::SmoothTransformation).convertToFormat(QImage::Format_RGB32)
            : frame,
        true};
    const bool first = [&] {
        std::lock_guard lock(m_mutex);
        const bool none = !m_firstSize;
        if (none) m_firstSize = kept.image.size();
        return none;
    }();
    if (first) m_firstCame.notify_all();
    m_receiver.frame(std::move(kept));
}

void PortalFrameStream::onStateChanged(void* self, int, int state, const char* error) {
    auto* stream = static_cast<PortalFrameStream*>(self);
    if (state == PW_STREAM_STATE_ERROR)
        stream->end(QStringLiteral("the screen share failed: ") +
                    QString::fromUtf8(error ? error : "unknown"));
    else if (state == PW_STREAM_STATE_UNCONNECTED && !stream->m_clean.isNull())
        stream->end(QStringLiteral("the desktop ended the screen share"));
}

void PortalFrameStream::end(const QString& why) {
    if (m_ended) return;
    m_ended = true;
    qCWarning(lcPortalFrames) << "the frames end:" << why;
    {
        std::lock_guard lock(m_mutex);
        if (!m_firstSize) m_failure = why;
    }
    m_firstCame.notify_all();
    if (!m_clean.isNull() && m_receiver.stopped) m_receiver.stopped(why);
}

} // namespace os
