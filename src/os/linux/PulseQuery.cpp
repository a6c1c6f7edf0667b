#include "os/linux/PulseQuery.h"

#include <algorithm>
#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/mainloop.h>
#include <pulse/operation.h>
#include <pulse/proplist.h>

namespace os {

class PulseQuery::Connection {
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
        // Never start a daemon: none running is an answer in itself.
        if (!m_context || pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
            return false;
        const auto settled = [this] { return pa_context_get_state(m_context) == PA_CONTEXT_READY; };
        return runUntil(settled, deadline);
    }

private:
    std::unique_ptr<pa_mainloop, decltype(&pa_mainloop_free)> m_loop;
    pa_context* m_context = nullptr;
};

PulseQuery::PulseQuery(std::chrono::milliseconds deadline) : m_deadline(deadline) {}

PulseQuery::~PulseQuery() = default;

PulseQuery::Connection* PulseQuery::connection(Clock::time_point deadline) {
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

bool PulseQuery::ask(const std::function<std::vector<pa_operation*>(pa_context*)>& send,
                     const std::function<bool()>& answered) {
    const Clock::time_point deadline = Clock::now() + m_deadline;
    // A connection kept from an earlier question may have died with its daemon: then one fresh try.
    for (int attempt = 0; attempt < 2; ++attempt) {
        Connection* c = connection(deadline);
        if (!c) return false;
        const std::vector<pa_operation*> operations = send(c->context());
        const bool done = std::find(operations.cbegin(), operations.cend(), nullptr) == operations.cend() &&
                          c->runUntil(answered, deadline);
        for (pa_operation* operation : operations) {
            if (!operation) continue;
            if (pa_operation_get_state(operation) == PA_OPERATION_RUNNING) pa_operation_cancel(operation);
            pa_operation_unref(operation);
        }
        if (done) return true;
        m_connection.reset();
    }
    return false;
}

namespace {

void onServerInfo(pa_context*, const pa_server_info* info, void* data) {
    auto* sources = static_cast<PulseSources*>(data);
    if (info && info->default_source_name)
        sources->defaultSource = QString::fromUtf8(info->default_source_name);
    --sources->pending;
}

void onSource(pa_context*, const pa_source_info* info, int eol, void* data) {
    auto* sources = static_cast<PulseSources*>(data);
    if (eol) {
        sources->failed |= eol < 0;
        --sources->pending;
        return;
    }
    sources->list.append(
        {info->index, QString::fromUtf8(info->name), info->monitor_of_sink != PA_INVALID_INDEX});
}

} // namespace

std::vector<pa_operation*> PulseSources::request(pa_context* context) {
    *this = PulseSources{};
    pending = 2;
    return {pa_context_get_server_info(context, onServerInfo, this),
            pa_context_get_source_info_list(context, onSource, this)};
}

const PulseSources::Source* PulseSources::find(quint32 index) const {
    const auto found =
        std::find_if(list.cbegin(), list.cend(), [index](const Source& s) { return s.index == index; });
    return found == list.cend() ? nullptr : &*found;
}

} // namespace os
