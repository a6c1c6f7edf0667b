#include "core/Log.h"

#include "core/Paths.h"
#include "core/SerialQueue.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <cstdio>

QString LogFile::line(const QString& message) {
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) +
           QStringLiteral("  ") + message + QLatin1Char('\n');
}

void LogFile::append(const QString& line) const {
    const QFileInfo info(m_path);
    if (info.exists() && info.size() > maxBytes) QFile::remove(m_path);
    const QByteArray bytes = line.toUtf8();
    QFile file(m_path);
    if (file.exists() && file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        file.write(bytes);
        return;
    }
    // A missing file (the first line, or the first after a reset) is written whole.
    QFile fresh(m_path);
    if (fresh.open(QIODevice::WriteOnly | QIODevice::Truncate)) fresh.write(bytes);
}

namespace {
// The file is declared first so that it outlives the queue: at exit the queue's thread finishes the lines
// still waiting before the file goes.
struct Logger {
    LogFile file{Paths::logFile()};
    SerialQueue queue{QStringLiteral("orvane.log")};
};

Logger& logger() {
    static Logger instance;
    return instance;
}
} // namespace

void slog(const QString& message) {
    // The system log first, synchronously: stderr reaches the journal of the desktop session.
    const QByteArray system = QByteArrayLiteral("[Orvane] ") + message.toUtf8() + '\n';
    std::fwrite(system.constData(), 1, size_t(system.size()), stderr);
    QString line = LogFile::line(message);
    Logger& log = logger();
    log.queue.async([&log, line = std::move(line)] { log.file.append(line); });
}

void slogFlush() {
    logger().queue.sync([] {});
}
