#pragma once

#include "core/Clock.h"
#include "core/SerialQueue.h"
#include "server/API.h"
#include "workday/WorkSpan.h"

#include <QCoroTask>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <optional>

class Windows;
namespace os {
class IdleSource;
}

// Notes which app is in front every 15 seconds, merges the samples into spans, keeps one file per day
// (<dir>/<day>.jsonl) and sends the day to the home destination. Lives on the main thread; the day file is
// written on a queue of its own ("orvane.workday"), in the order of the saves, so that its fsyncs never hold
// up the main thread. The queue writes whatever is still queued when the tracker goes.
class WorkdayTracker : public QObject {
    Q_OBJECT
public:
    static constexpr int interval = 15;
    static constexpr int uploadSeconds = 900;
    // The app of a span on a desktop that does not say which app is in front: the time at work still counts.
    static inline const QString unknownApp = QStringLiteral("(unknown app)");

    // Loads today's spans from `dir`.
    WorkdayTracker(Windows& windows, os::IdleSource& idle, QString dir, Clock clock = systemNow,
                   QObject* parent = nullptr);

    static QString file(const QString& day, const QString& dir);
    // The spans of a day's file; a damaged line is skipped, a missing file is an empty day.
    static QList<WorkSpan> load(const QString& day, const QString& dir);
    // Folds one sample at `at` into the list: the last span grows, or is cut back and a new one begins.
    static void merge(QList<WorkSpan>& spans, const QDateTime& at, const QString& app,
                      const std::optional<QString>& title, int interval = WorkdayTracker::interval);

    // One sample of the app in front, unless paused, idle or nothing is in front; saved at once. Where the
    // desktop cannot tell what is in front, the sample is of `unknownApp`.
    void sample(bool includeTitles, const QDateTime& now);
    void sample(bool includeTitles) { sample(includeTitles, m_clock()); }
    // Queues a rewrite of the day file with the spans as they are now.
    void save();
    // Returns once every save queued so far is on disk.
    void flush();
    // Sends the whole day (today by default); gives the number of spans sent. Throws APIError.
    QCoro::Task<qsizetype> upload(API api, std::optional<QString> day = std::nullopt);

    const QString& day() const { return m_day; }
    const QList<WorkSpan>& spans() const { return m_spans; }
    const std::optional<QDateTime>& pausedUntil() const { return m_pausedUntil; }
    void setPausedUntil(const std::optional<QDateTime>& until) { m_pausedUntil = until; }
    const std::optional<QDateTime>& lastUpload() const { return m_lastUpload; }
    // The server has no work-day endpoint yet.
    bool needsUpdate() const { return m_needsUpdate; }
    const std::optional<QString>& lastError() const { return m_lastError; }

private:
    Windows& m_windows;
    os::IdleSource& m_idle;
    QString m_dir;
    Clock m_clock;
    QString m_day;
    QList<WorkSpan> m_spans;
    std::optional<QDateTime> m_pausedUntil;
    std::optional<QDateTime> m_lastUpload;
    bool m_needsUpdate = false;
    std::optional<QString> m_lastError;
    SerialQueue m_writer{QStringLiteral("orvane.workday")};
};
