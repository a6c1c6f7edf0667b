#pragma once

#include <QString>

// The one application log, `orvane.log` in the support directory. Callable from any thread; returns at once.
void slog(const QString& message);
// Waits until every line queued so far is on disk.
void slogFlush();

// The log file and its one rule: a file above 1,000,000 bytes is deleted and the log begins anew.
class LogFile {
public:
    static constexpr qint64 maxBytes = 1'000'000;

    explicit LogFile(QString path) : m_path(std::move(path)) {}
    void append(const QString& line) const;
    const QString& path() const { return m_path; }

    // "yyyy-MM-dd HH:mm:ss", two blanks, the message, a line feed; local time.
    static QString line(const QString& message);

private:
    QString m_path;
};
