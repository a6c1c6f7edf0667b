#pragma once

#include "core/Log.h"
#include "core/Paths.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace testsupport {

// Replaces the file at `path` with `bytes`; a test fails when it cannot.
inline void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

// The log lines written since it was made: the log file outlives earlier runs.
class LogWatch {
public:
    LogWatch() : m_from(size()) {}
    QString text() const {
        slogFlush();
        QFile file(Paths::logFile());
        if (!file.open(QIODevice::ReadOnly) || !file.seek(m_from)) return {};
        return QString::fromUtf8(file.readAll());
    }

private:
    static qint64 size() {
        slogFlush();
        return QFileInfo(Paths::logFile()).size();
    }
    const qint64 m_from;
};

} // namespace testsupport
