#include "app/Todos.h"

#include "core/Log.h"
#include "core/Strings.h"
#include "server/Settings.h"
#include "surfaces/Nudges.h"

#include <QPointer>

Todos::Todos(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_nudges(needs.nudges), m_now(needs.now),
      m_store(std::move(needs.now)) {
    connect(&m_store, &TodoStore::changed, this, &Todos::changed);
}

void Todos::refreshTodos() {
    refresh();
}

bool Todos::stale() const {
    const std::optional<QDateTime>& loaded = m_store.loaded();
    return !loaded || loaded->secsTo(m_now()) >= freshSeconds;
}

QCoro::Task<> Todos::refresh() {
    const QPointer<Todos> self(this);
    auto refreshing = m_store.refresh(m_settings.connected());
    co_await std::move(refreshing);
    if (!self) co_return;
    if (m_store.needsUpdate())
        slog(QStringLiteral("todos: needs an update (404)"));
    else if (m_store.error())
        slog(QStringLiteral("todos: ") + *m_store.error());
}

void Todos::todoAction(const Todo& todo, bool start) {
    act(todo, start);
}

QCoro::Task<> Todos::act(Todo todo, bool start) {
    const std::optional<API> api = m_settings.api(todo.ws ? todo.ws : m_settings.home());
    if (!api) co_return;
    const QPointer<Todos> self(this);
    try {
        auto asking = start ? api->startTodo(todo.id) : api->finishTodo(todo.id);
        co_await std::move(asking);
        slog(QStringLiteral("todo %1 %2")
                 .arg(start ? QStringLiteral("start") : QStringLiteral("finish"), todo.title));
    } catch (const APIError& error) {
        if (!self) co_return;
        m_nudges.show(
            {.kind = QStringLiteral("todo"),
             .priority = 1,
             .title = QStringLiteral("Couldn\u2019t update \u201c%1\u201d").arg(shortened(todo.title, 40)),
             .message = error.isMissing() ? QStringLiteral("This workspace needs an update.")
                                          : error.errorDescription()});
    }
    if (self) refreshTodos();
}
