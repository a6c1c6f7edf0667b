#pragma once

#include <QList>
#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct pa_context;
struct pa_operation;

namespace os {

// Questions to the sound server (PulseAudio, or PipeWire's PulseAudio server) over one connection on a
// private main loop, driven by hand while a question is asked and left alone in between: the daemon sends
// nothing unasked. Each question gives up after `deadline`, so a dead or restarting daemon never holds up the
// caller; a kept connection that has died with its daemon is made anew once. It never starts a daemon. Used
// from one thread at a time.
class PulseQuery {
public:
    explicit PulseQuery(std::chrono::milliseconds deadline = std::chrono::milliseconds(300));
    ~PulseQuery();
    PulseQuery(const PulseQuery&) = delete;
    PulseQuery& operator=(const PulseQuery&) = delete;

    // `send` issues the requests on a ready connection (it may run twice: reset what it fills in);
    // `answered` tells when every reply has come. Requests still running at the deadline are cancelled, so
    // their callbacks never see the caller's data gone. False when no full answer came in time.
    bool ask(const std::function<std::vector<pa_operation*>(pa_context*)>& send,
             const std::function<bool()>& answered);

    std::chrono::milliseconds deadline() const { return m_deadline; }

private:
    class Connection;
    using Clock = std::chrono::steady_clock;
    Connection* connection(Clock::time_point deadline);

    std::chrono::milliseconds m_deadline;
    std::unique_ptr<Connection> m_connection;
};

// The server's sources and which of them is the default, as one question of a PulseQuery brings them back.
struct PulseSources {
    struct Source {
        quint32 index = 0;
        QString name;
        bool monitor = false; // the monitor of an output, not a microphone
    };
    std::optional<QString> defaultSource;
    QList<Source> list;
    int pending = 0;
    bool failed = false; // a list ended in an error

    // Starts afresh and sends the two requests that fill this in; answered when `pending` is 0 again.
    std::vector<pa_operation*> request(pa_context* context);
    // The source of that index, or nothing when it is not in the list (gone since).
    const Source* find(quint32 index) const;
};

} // namespace os
