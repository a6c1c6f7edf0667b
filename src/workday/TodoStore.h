#pragma once

#include "core/Clock.h"
#include "server/API.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QStringList>
#include <optional>

// The list behind "Up next": the open to-dos of every connected destination at once. A destination that fails
// for a moment keeps its last items; one whose server lacks the route is named, not counted as a failure; no
// destination waits for another. Main thread; only the requests run at the same time.
class TodoStore : public QObject {
    Q_OBJECT
public:
    using Target = std::pair<Workspace, API>;

    // The statuses of a to-do under way, in lower case.
    static inline const QStringList startedStatuses = {QStringLiteral("in_progress"),
                                                       QStringLiteral("in progress"),
                                                       QStringLiteral("started"), QStringLiteral("doing")};

    explicit TodoStore(Clock clock = systemNow, QObject* parent = nullptr);

    // Asks every target at once and takes the answers in the targets' order. Never fails: each failure ends
    // in `error`, `outdated` or `needsUpdate`. Overlapping refreshes each write their whole result.
    QCoro::Task<> refresh(QList<Target> targets);

    const QList<Todo>& items() const { return m_items; }
    // Every destination answered 404.
    bool needsUpdate() const { return m_needsUpdate; }
    // The names of the destinations that answered 404.
    const QStringList& outdated() const { return m_outdated; }
    const std::optional<QString>& error() const { return m_error; }
    // When the last refresh finished.
    const std::optional<QDateTime>& loaded() const { return m_loaded; }
    const QStringList& servers() const { return m_servers; }

signals:
    void changed();

private:
    Clock m_clock;
    QList<Todo> m_items;
    bool m_needsUpdate = false;
    QStringList m_outdated;
    std::optional<QString> m_error;
    std::optional<QDateTime> m_loaded;
    QStringList m_servers;
};
