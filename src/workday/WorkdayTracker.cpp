#include "workday/WorkdayTracker.h"

#include "core/Fmt.h"
#include "core/JSONFile.h"
#include "core/Log.h"
#include "core/Privacy.h"
#include "workday/Idle.h"
#include "workday/Windows.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPointer>

WorkdayTracker::WorkdayTracker(Windows& windows, os::IdleSource& idle, QString dir, Clock clock,
                               QObject* parent)
    : QObject(parent), m_windows(windows), m_idle(idle), m_dir(std::move(dir)), m_clock(std::move(clock)),
      m_day(Fmt::day(m_clock())), m_spans(load(m_day, m_dir)) {}

QString WorkdayTracker::file(const QString& day, const QString& dir) {
    return dir + QLatin1Char('/') + day + QStringLiteral(".jsonl");
}

QList<WorkSpan> WorkdayTracker::load(const QString& day, const QString& dir) {
    QFile f(file(day, dir));
    if (!f.open(QIODevice::ReadOnly)) return {};
    QList<WorkSpan> spans;
    int skipped = 0;
    for (const QByteArray& line : f.readAll().split('\n')) {
        if (line.trimmed().isEmpty()) continue;
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(line, &error);
        try {
            if (error.error != QJsonParseError::NoError)
                throw Json::DecodeError(error.errorString().toStdString());
            spans.append(WorkSpan::fromJson(doc.object()));
        } catch (const Json::DecodeError&) {
            ++skipped;
        }
    }
    if (skipped > 0)
        slog(QStringLiteral("workday load: skipped %1 damaged lines of %2").arg(skipped).arg(f.fileName()));
    return spans;
}

void WorkdayTracker::merge(QList<WorkSpan>& spans, const QDateTime& at, const QString& app,
                           const std::optional<QString>& title, int interval) {
    const QDateTime sampleEnd = at.addSecs(interval);
    if (!spans.isEmpty()) {
        WorkSpan& last = spans.last();
        if (last.app == app && last.title == title && at <= last.end.addMSecs(interval * 500)) {
            last.end = std::max(last.end, sampleEnd);
            return;
        }
        // Spans never overlap. A clock set back before the last span began leaves nothing of it.
        if (last.end > at) {
            last.end = at;
            if (last.end <= last.start) spans.removeLast();
        }
    }
    spans.append({at, sampleEnd, app, title});
}

void WorkdayTracker::sample(bool includeTitles, const QDateTime& now) {
    const QString today = Fmt::day(now);
    if (today != m_day) {
        // A new day begins a new list, so no span crosses midnight. The old day's saves finish first: a clock
        // set back may return to it, and an upload of it reads its file.
        flush();
        m_day = today;
        m_spans = load(m_day, m_dir);
    }
    if (m_pausedUntil && now < *m_pausedUntil) return;
    if (Idle::seconds(m_idle) >= Idle::threshold) return;
    const std::optional<Windows::Win> front = m_windows.frontmost();
    if (!front) {
        if (m_windows.knowsFrontmost()) return;
        merge(m_spans, now, unknownApp, std::nullopt, interval);
        save();
        return;
    }
    const QString name = !front->owner.isEmpty()   ? front->owner
                         : !front->appId.isEmpty() ? front->appId
                                                   : QStringLiteral("?");
    // The focused window is the frontmost of its app; only an untitled one sends us through the window list.
    const std::optional<QString> title =
        !front->title.isEmpty() ? std::optional<QString>(front->title) : m_windows.frontTitle(front->pid);
    const auto [app, kept] = Privacy::classify(name, front->appId, title, includeTitles);
    merge(m_spans, now, app, kept, interval);
    save();
}

void WorkdayTracker::save() {
    // The list is shared, not copied, until the next sample changes it.
    m_writer.async([spans = m_spans, path = file(m_day, m_dir)] {
        QByteArray data;
        for (const WorkSpan& span : spans) {
            if (!span.start.isValid() || !span.end.isValid()) continue; // cannot be encoded
            data += QJsonDocument(span.toJson()).toJson(QJsonDocument::Compact);
            data += '\n';
        }
        try {
            JSONFile::writeAtomically(data, path);
        } catch (const JSONFile::WriteError& error) {
            // The list in memory stays; the next save writes it whole.
            slog(QStringLiteral("workday save: ") + QString::fromStdString(error.what()));
        }
    });
}

void WorkdayTracker::flush() {
    m_writer.sync([] {});
}

QCoro::Task<qsizetype> WorkdayTracker::upload(API api, std::optional<QString> day) {
    const QString d = day.value_or(m_day);
    const QList<WorkSpan> spans = d == m_day ? m_spans : load(d, m_dir);
    QJsonArray list;
    for (const WorkSpan& span : spans)
        list.append(span.dict());
    const QPointer<WorkdayTracker> self(this);
    try {
        auto sent = api.uploadWorkday(d, list);
        co_await std::move(sent);
    } catch (const APIError& error) {
        if (self) {
            if (error.isMissing()) m_needsUpdate = true;
            m_lastError = error.errorDescription();
        }
        throw;
    }
    if (self) {
        m_lastUpload = m_clock();
        m_needsUpdate = false;
        m_lastError.reset();
    }
    co_return spans.size();
}
