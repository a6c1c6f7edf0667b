#pragma once

#include "core/Clock.h"
#include "server/Todo.h"
#include "workday/TodoStore.h"

#include <QCoroTask>
#include <QObject>

class Nudges;
class Settings;

// "Up next": the to-dos of every connected destination, fetched on the timer, when the panel opens on an old
// list and after each change; and a to-do started or finished from the panel.
class Todos : public QObject {
    Q_OBJECT
public:
    struct Needs {
        Settings& settings;
        Nudges& nudges;
        Clock now;
    };
    explicit Todos(Needs needs, QObject* parent = nullptr);

    // A panel opened on to-dos older than this fetches them again.
    static constexpr qint64 freshSeconds = 60;

    void refreshTodos();
    // Never loaded, or loaded a minute ago or more.
    bool stale() const;
    // Starts the to-do, or finishes it when `start` is false, where it came from.
    void todoAction(const Todo& todo, bool start);
    const TodoStore& store() const { return m_store; }

signals:
    void changed();

private:
    QCoro::Task<> refresh();
    QCoro::Task<> act(Todo todo, bool start);

    Settings& m_settings;
    Nudges& m_nudges;
    Clock m_now;
    TodoStore m_store;
};
