#include "workday/TodoStore.h"

#include <QPointer>
#include <variant>
#include <vector>

namespace {

struct Missing {};
struct Failed {
    QString text;
};
using Outcome = std::variant<QList<Todo>, Failed, Missing>;

QCoro::Task<Outcome> fetch(Workspace ws, API api) {
    try {
        auto asking = api.todos();
        QList<Todo> items = co_await std::move(asking);
        for (Todo& item : items)
            item.ws = ws;
        co_return items;
    } catch (const APIError& error) {
        if (error.isMissing()) co_return Missing{};
        co_return Failed{ws.name + QStringLiteral(": ") + error.errorDescription()};
    }
}

} // namespace

TodoStore::TodoStore(Clock clock, QObject* parent) : QObject(parent), m_clock(std::move(clock)) {}

QCoro::Task<> TodoStore::refresh(QList<Target> targets) {
    if (targets.isEmpty()) {
        m_items.clear();
        m_outdated.clear();
        m_needsUpdate = false;
        m_error.reset();
        m_servers.clear();
        emit changed();
        co_return;
    }
    QStringList servers;
    for (const Target& target : targets)
        servers.append(target.second.server());
    // Items of another setup never show beside the new one's, not even while it answers.
    if (servers != m_servers) {
        m_items.clear();
        m_servers = servers;
        emit changed();
    }

    // Every request is on its way before the first answer is awaited.
    std::vector<QCoro::Task<Outcome>> running;
    running.reserve(std::size_t(targets.size()));
    for (const auto& [ws, api] : targets)
        running.push_back(fetch(ws, api));
    std::vector<Outcome> outcomes;
    outcomes.reserve(running.size());
    const QPointer<TodoStore> self(this);
    for (auto& task : running)
        outcomes.push_back(co_await task);
    if (!self) co_return;

    QList<Todo> merged;
    QStringList outdated, errors;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const Workspace& ws = targets[qsizetype(i)].first;
        if (const auto* items = std::get_if<QList<Todo>>(&outcomes[i])) {
            merged.append(*items);
        } else if (const auto* failed = std::get_if<Failed>(&outcomes[i])) {
            errors.append(failed->text);
            for (const Todo& old : std::as_const(m_items))
                if (old.ws && old.ws->id == ws.id) merged.append(old);
        } else {
            outdated.append(ws.name);
        }
    }
    m_items = merged;
    m_needsUpdate = outdated.size() == targets.size();
    m_outdated = outdated;
    m_error = errors.isEmpty() ? std::nullopt : std::optional(errors.join(QStringLiteral("; ")));
    m_loaded = m_clock();
    emit changed();
}
