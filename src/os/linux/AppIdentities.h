#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <optional>

namespace os {

// The identity of a running program, the Linux counterpart of a bundle identifier, and its display name.
struct AppIdentity {
    QString id;
    QString name;

    bool operator==(const AppIdentity&) const = default;
};

// Names the application behind a process, in this order: its Flatpak id; the desktop file that its window
// class names (StartupWMClass, or the file's own id); the desktop file that starts its executable, unless
// that is an interpreter or runtime, which runs every kind of program; its window class; its executable's
// name. The display name is the desktop file's Name, else the class, else the id. What a process says of
// itself is read once per process, keyed by pid and start time, so a pid that the system hands to another
// program is a new process. The desktop files are read once, on the first question. Not thread-safe: the
// desktop readers that share it run on the main thread.
class AppIdentities {
public:
    // applicationDirs: the "applications" folders of the XDG data directories, most important first.
    explicit AppIdentities(QStringList applicationDirs = defaultApplicationDirs(),
                           QString procRoot = QStringLiteral("/proc"));

    // wmClass: the class of one of the process's windows, empty when there is none; binaryHint: the
    // executable's name as another source reports it, used when the process has already gone.
    AppIdentity identify(qint32 pid, const QString& wmClass, const QString& binaryHint = {});

    static QStringList defaultApplicationDirs();
    // python3.11, perl, node, java, bash and the like: programs that run another program's code.
    static bool isInterpreter(const QString& executable);

private:
    struct DesktopIndex {
        QHash<QString, QString> idByExecutable;
        QHash<QString, QString> idByWindowClass; // lower case
        QHash<QString, QString> idByLowerId;
        QHash<QString, QString> nameById;
    };
    struct Process {
        quint64 started = 0;
        std::optional<QString> flatpak;
        QString executable;
        QHash<QString, AppIdentity> byWindowClass;
    };
    const DesktopIndex& index();
    AppIdentity resolve(const std::optional<QString>& flatpak, const QString& program,
                        const QString& wmClass);
    std::optional<quint64> startTime(qint32 pid) const;
    std::optional<QString> flatpakId(qint32 pid) const;
    QString executable(qint32 pid, const QString& binaryHint) const;
    // Forgets processes that have ended, once the cache has doubled since the last time.
    void sweep();

    QStringList m_applicationDirs;
    QString m_procRoot;
    std::optional<DesktopIndex> m_index;
    QHash<qint32, Process> m_processes;
    qsizetype m_sweepAt = 64;
};

} // namespace os
