#include "os/linux/PulseAudioSystem.h"

#include "os/linux/AppIdentities.h"

#include <QLoggingCategory>
#include <pulse/introspect.h>
#include <pulse/proplist.h>
#include <vector>

Q_LOGGING_CATEGORY(lcPulseUsers, "audio.users")

namespace os {
namespace {

struct Recorder {
    quint32 source = 0;
    qint32 pid = 0;
    QString binary;
};

// Who records, as the listing of recording streams brings it back.
struct Recorders {
    QList<Recorder> list;
    int pending = 0;
    bool failed = false;
};

QString property(const pa_proplist* list, const char* key) {
    const char* value = list ? pa_proplist_gets(list, key) : nullptr;
    return value ? QString::fromUtf8(value) : QString();
}

void onSourceOutput(pa_context*, const pa_source_output_info* info, int eol, void* data) {
    auto* recorders = static_cast<Recorders*>(data);
    if (eol) {
        recorders->failed |= eol < 0;
        --recorders->pending;
        return;
    }
    // A corked stream records nothing; a peak-detecting one is a level meter (pavucontrol and the like).
    if (info->corked || (info->resample_method && qstrcmp(info->resample_method, "peaks") == 0)) return;
    recorders->list.append({info->source, property(info->proplist, PA_PROP_APPLICATION_PROCESS_ID).toInt(),
                            property(info->proplist, PA_PROP_APPLICATION_PROCESS_BINARY)});
}

} // namespace

PulseAudioSystem::PulseAudioSystem(AppIdentities& identities, std::chrono::milliseconds deadline)
    : m_identities(identities), m_query(deadline) {}

PulseAudioSystem::~PulseAudioSystem() = default;

std::optional<InputState> PulseAudioSystem::inputState() {
    PulseSources sources;
    Recorders recorders;
    const auto send = [&](pa_context* c) {
        std::vector<pa_operation*> operations = sources.request(c);
        recorders = Recorders{};
        recorders.pending = 1;
        operations.push_back(pa_context_get_source_output_info_list(c, onSourceOutput, &recorders));
        return operations;
    };
    const auto answered = [&] { return sources.pending == 0 && recorders.pending == 0; };
    if (!m_query.ask(send, answered) || sources.failed || recorders.failed) {
        if (!m_failing)
            qCWarning(lcPulseUsers) << "no answer from the sound server within" << m_query.deadline().count()
                                    << "ms; who records is unknown until it answers";
        m_failing = true;
        return std::nullopt;
    }
    if (m_failing) qCInfo(lcPulseUsers) << "the sound server answers again";
    m_failing = false;
    InputState state{sources.defaultSource, {}};
    for (const Recorder& r : std::as_const(recorders.list)) {
        // A source that has gone between the two lists counts as a monitor: nothing is known of it.
        const PulseSources::Source* source = sources.find(r.source);
        if (!source || source->monitor) continue;
        state.clients.append({r.pid, m_identities.identify(r.pid, {}, r.binary).id});
    }
    return state;
}

} // namespace os
