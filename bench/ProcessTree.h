#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>
#include <QString>

// A process and the processes that descend from it (the web engine's helpers hang below the app through its
// zygote), with the memory of each: PSS from /proc/<pid>/smaps_rollup, which shares each shared page out
// among the processes that map it so that the figures add up, and RSS for comparison.
namespace ProcessTree {

struct Process {
    qint64 pid = 0;
    // "browser" for the root, else the helper's --type ("zygote", "renderer", "gpu-process", "utility").
    QString type;
    double pssMB = 0;
    double rssMB = 0;
};

// A "Name:   <n> kB" line of a /proc file, in MiB; 0 when the file or the line is missing (the process
// ended).
inline double kiBLine(const QString& file, const QByteArray& name) {
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : in.readAll().split('\n'))
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).trimmed().split(' ').value(0).toDouble() / 1024;
    return 0;
}

inline qint64 parentOf(qint64 pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("PPid:")) return line.mid(5).trimmed().toLongLong();
    return 0;
}

inline QString typeOf(qint64 pid) {
    QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
    if (!cmdline.open(QIODevice::ReadOnly)) return QStringLiteral("?");
    // Chromium rewrites its helpers' command lines as one line with blanks (its process titles).
    const QByteArray text = cmdline.readAll().replace('\0', ' ');
    const qsizetype at = text.indexOf("--type=");
    if (at < 0) return QStringLiteral("other");
    return QString::fromLatin1(text.mid(at + 7).split(' ').value(0));
}

// `root` first, then every live descendant.
inline QList<Process> of(qint64 root) {
    QList<qint64> pids{root};
    for (const QString& name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool number = false;
        const qint64 pid = name.toLongLong(&number);
        if (!number || pid == root) continue;
        for (qint64 up = parentOf(pid); up > 1; up = parentOf(up))
            if (up == root) {
                pids << pid;
                break;
            }
    }
    QList<Process> tree;
    for (const qint64 pid : pids) {
        const QString proc = QStringLiteral("/proc/%1/").arg(pid);
        tree.append({pid, pid == root ? QStringLiteral("browser") : typeOf(pid),
                     kiBLine(proc + QStringLiteral("smaps_rollup"), "Pss"),
                     kiBLine(proc + QStringLiteral("status"), "VmRSS")});
    }
    return tree;
}

} // namespace ProcessTree
