#pragma once

#include "core/Paths.h"
#include "recording/Session.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QUuid>
#include <memory>
#include <optional>

// A pin made while no recording runs; `textOnly` is stored only when true.
struct QueuedPin {
    QDateTime at;
    QString note;
    QString file;
    std::optional<bool> textOnly;

    bool operator==(const QueuedPin&) const = default;
    QJsonValue toJson() const;
    static QueuedPin fromJson(const QJsonValue& v);
};

// Pins waiting on disk until they are sent as one session: queue.json and the images beside it.
// Used on the main thread only.
class PinQueue {
public:
    explicit PinQueue(QString folder = Paths::pins()) : m_folder(std::move(folder)) {}

    QString url() const { return m_folder + QStringLiteral("/queue.json"); }
    // Empty when the file is missing or unreadable.
    QList<QueuedPin> all() const;
    qsizetype count() const { return all().size(); }

    // Writes the image and appends the pin; a failure is logged ("queue pin: ...") and leaves the queue as it
    // was.
    void add(const QByteArray& jpeg, const QString& note, bool textOnly = false,
             const QDateTime& now = QDateTime::currentDateTimeUtc());
    // Turns the queue into one finished session; nothing (and no folder) for an empty queue. A pin whose
    // image is gone is skipped and dropped; one whose image could not be read or copied stays queued with its
    // image. When no pin could be copied there is no session either.
    std::shared_ptr<Session> toSession(const std::optional<QUuid>& workspace,
                                       const QString& recordings = Paths::recordings());

private:
    QString m_folder;
};
