#include "os/linux/PulseAudioSystem.h"

#include "os/linux/AppIdentities.h"

#include <QHash>
#include <QLoggingCategory>
#include <algorithm>
#include <array>
#include <memory>
#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/mainloop.h>
#include <pulse/proplist.h>

Q_LOGGING_CATEGORY(lcPulseUsers, "audio.users")

namespace os {
namespace {

struct Recorder {
    quint32 source = 0;
    qint32 pid = 0;
    QString binary;
};

// What the three introspection calls bring back.
struct Reading {
    std::optional<QString> defaultSource;
    QHash<quint32, bool> sourceIsMonitor;
    QList<Recorder> recorders;
    int pending = 0;
    bool failed = false;
};

QString property(const pa_proplist* list, const char* key) {
    const char* value = list ? pa_proplist_gets(list, key) : nullptr;
    return value ? QString::fromUtf8(value) : QString();
}

void onServerInfo(pa_context*, const pa_server_info* info, void* data) {
    auto* reading = static_cast<Reading*>(data);
    if (info && info->default_source_name)
        reading->defaultSource = QString::fromUtf8(info->default_source_name);
    --reading->pending;
}

void onSource(pa_context*, const pa_source_info* info, int eol, void* data) {
    auto* reading = static_cast<Reading*>(data);
    if (eol) {
        reading->failed |= eol < 0;
        --reading->pending;
        return;
    }
    reading->sourceIsMonitor.insert(info->index, info->monitor_of_sink != PA_INVALID_INDEX);
}

void onSourceOutput(pa_context*, const pa_source_output_info* info, int eol, void* data) {
    auto* reading = static_cast<Reading*>(data);
    if (eol) {
        reading->failed |= eol < 0;
        --reading->pending;
        return;
    }
    // A corked stream records nothing; a peak-detecting one is a level meter (pavucontrol and the like).
    if (info->corked || (info->resample_method && qstrcmp(info->resample_method, "peaks") == 0)) return;
    reading->recorders.append({info->source, property(info->proplist, PA_PROP_APPLICATION_PROCESS_ID).toInt(),
                               property(info->proplist, PA_PROP_APPLICATION_PROCESS_BINARY)});
}

} // namespace

// A connection on a private main loop, driven by hand with a deadline while a question is asked and left
// alone in between: the daemon sends nothing unasked.
class PulseAudioSystem::Connection {
public:
    Connection() : m_loop(pa_mainloop_new(), &pa_mainloop_free) {
        pa_proplist* props = pa_proplist_new();
        pa_proplist_sets(props, PA_PROP_APPLICATION_NAME, "Orvane");
        pa_proplist_sets(props, PA_PROP_APPLICATION_ID, "app.orvane.Orvane");
        m_context = pa_context_new_with_proplist(pa_mainloop_get_api(m_loop.get()), "Orvane", props);
        pa_proplist_free(props);
    }
    ~Connection() {
        if (m_context) {
            pa_context_disconnect(m_context);
            pa_context_unref(m_context);
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    pa_context* context() const { return m_context; }
    bool ready() const { return m_context && pa_context_get_state(m_context) == PA_CONTEXT_READY; }

    // Runs the loop until `done`, the deadline or a broken connection; true only for `done`.
    template <class Done> bool runUntil(Done done, Clock::time_point deadline) {
        while (!done()) {
            if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(m_context))) return false;
            const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
            if (left.count() <= 0) return false;
            if (pa_mainloop_prepare(m_loop.get(), int(left.count())) < 0 ||
                pa_mainloop_poll(m_loop.get()) < 0 || pa_mainloop_dispatch(m_loop.get()) < 0)
                return false;
        }
        return true;
    }

    // Takes in what arrived since the last question, such as the daemon hanging up.
    void catchUp() { pa_mainloop_iterate(m_loop.get(), 0, nullptr); }

    bool connect(Clock::time_point deadline) {
        // Never start a daemon: no daemon means nobody is recording.
        if (!m_context || pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
            return false;
        const auto settled = [this] { return pa_context_get_state(m_context) == PA_CONTEXT_READY; };
        return runUntil(settled, deadline);
    }

private:
    std::unique_ptr<pa_mainloop, decltype(&pa_mainloop_free)> m_loop;
    pa_context* m_context = nullptr;
};

PulseAudioSystem::PulseAudioSystem(AppIdentities& identities, std::chrono::milliseconds deadline)
    : m_identities(identities), m_deadline(deadline) {}

PulseAudioSystem::~PulseAudioSystem() = default;

PulseAudioSystem::Connection* PulseAudioSystem::connection(Clock::time_point deadline) {
    if (m_connection) {
        m_connection->catchUp();
        if (m_connection->ready()) return m_connection.get();
        m_connection.reset();
    }
    auto fresh = std::make_unique<Connection>();
    if (!fresh->connect(deadline)) return nullptr;
    m_connection = std::move(fresh);
    return m_connection.get();
}

std::optional<InputState> PulseAudioSystem::ask(Connection& connection, Clock::time_point deadline) {
    pa_context* c = connection.context();
    Reading reading;
    reading.pending = 3;
    const std::array<pa_operation*, 3> operations{
        pa_context_get_server_info(c, onServerInfo, &reading),
        pa_context_get_source_info_list(c, onSource, &reading),
        pa_context_get_source_output_info_list(c, onSourceOutput, &reading)};
    const bool answered = std::find(operations.cbegin(), operations.cend(), nullptr) == operations.cend() &&
                          connection.runUntil([&reading] { return reading.pending == 0; }, deadline) &&
                          !reading.failed;
    for (pa_operation* operation : operations) {
        if (!operation) continue;
        // An answer that comes after the deadline must find no callback: `reading` is gone by then.
        if (pa_operation_get_state(operation) == PA_OPERATION_RUNNING) pa_operation_cancel(operation);
        pa_operation_unref(operation);
    }
    if (!answered) return std::nullopt;
    InputState state{reading.defaultSource, {}};
    for (const Recorder& r : std::as_const(reading.recorders)) {
        // A source that has gone between the two lists counts as a monitor: nothing is known of it.
        if (reading.sourceIsMonitor.value(r.source, true)) continue;
        state.clients.append({r.pid, m_identities.identify(r.pid, {}, r.binary).id});
    }
    return state;
}

std::optional<InputState> PulseAudioSystem::inputState() {
    const Clock::time_point deadline = Clock::now() + m_deadline;
    // A connection kept from an earlier question may have died with its daemon: then one fresh try.
    for (int attempt = 0; attempt < 2; ++attempt) {
        Connection* c = connection(deadline);
        if (!c) break;
        if (std::optional<InputState> state = ask(*c, deadline)) {
            if (m_failing) qCInfo(lcPulseUsers) << "the sound server answers again";
            m_failing = false;
            return state;
        }
        m_connection.reset();
    }
    if (!m_failing)
        qCWarning(lcPulseUsers) << "no answer from the sound server within" << m_deadline.count()
                                << "ms; who records is unknown until it answers";
    m_failing = true;
    return std::nullopt;
}

} // namespace os
