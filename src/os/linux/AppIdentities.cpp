#include "os/linux/AppIdentities.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QStandardPaths>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcApps, "apps")

namespace os {
namespace {

struct DesktopFile {
    QString name;
    QString executable; // base name of the program that Exec starts
    QString windowClass;
};

// The first word of Exec that names a program: "env" and its VAR=value words are skipped, quotes dropped.
QString programOf(const QString& exec) {
    static const QRegularExpression space(QStringLiteral("\\s+"));
    for (QString word : exec.split(space, Qt::SkipEmptyParts)) {
        word.remove(QLatin1Char('"'));
        if (word == QLatin1String("env") || word.contains(QLatin1Char('='))) continue;
        return QFileInfo(word).fileName();
    }
    return {};
}

// The keys of the [Desktop Entry] group that identify a program; unlocalised Name only.
DesktopFile readDesktopFile(const QString& path) {
    DesktopFile entry;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return entry;
    bool inEntry = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inEntry = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inEntry) continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq < 0) continue;
        const QString key = line.left(eq).trimmed();
        const QString value = line.mid(eq + 1).trimmed();
        if (key == QLatin1String("Name"))
            entry.name = value;
        else if (key == QLatin1String("Exec"))
            entry.executable = programOf(value);
        else if (key == QLatin1String("StartupWMClass"))
            entry.windowClass = value.toLower();
    }
    return entry;
}

QString readSmallFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.read(64 * 1024));
}

AppIdentity byName(const QString& id, const QString& name) {
    return {id, name.isEmpty() ? id : name};
}

} // namespace

AppIdentities::AppIdentities(QStringList applicationDirs, QString procRoot)
    : m_applicationDirs(std::move(applicationDirs)), m_procRoot(std::move(procRoot)) {}

QStringList AppIdentities::defaultApplicationDirs() {
    return QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
}

bool AppIdentities::isInterpreter(const QString& executable) {
    // Version suffixes as Debian installs them: python3.11, perl5.36.0, ruby3.1, lua5.4, php8.2.
    static const QRegularExpression runtime(QStringLiteral(
        "^(python|pypy|perl|ruby|node|nodejs|java|lua|luajit|php|tclsh|wish|gjs|mono|dotnet|electron|"
        "sh|bash|dash|zsh|ksh|mksh|fish|csh|tcsh|busybox)[0-9.]*$"));
    return runtime.match(executable).hasMatch();
}

const AppIdentities::DesktopIndex& AppIdentities::index() {
    if (m_index) return *m_index;
    m_index.emplace();
    // Later folders are less important: the first file seen for an id wins, as in the XDG rules.
    for (const QString& dir : std::as_const(m_applicationDirs)) {
        QDirIterator it(dir, {QStringLiteral("*.desktop")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QString id = QDir(dir).relativeFilePath(path);
            id.chop(int(qstrlen(".desktop")));
            id.replace(QLatin1Char('/'), QLatin1Char('-'));
            if (m_index->nameById.contains(id)) continue;
            const DesktopFile entry = readDesktopFile(path);
            m_index->nameById.insert(id, entry.name);
            m_index->idByLowerId.insert(id.toLower(), id);
            // Flatpak launchers start "flatpak"; those apps are known by their sandbox instead. An
            // interpreter's own desktop file (python3.11.desktop) would name every program that it runs.
            if (!entry.executable.isEmpty() && entry.executable != QLatin1String("flatpak") &&
                !isInterpreter(entry.executable))
                m_index->idByExecutable.insert(entry.executable, id);
            if (!entry.windowClass.isEmpty()) m_index->idByWindowClass.insert(entry.windowClass, id);
        }
    }
    qCDebug(lcApps) << "read" << m_index->nameById.size() << "desktop files";
    return *m_index;
}

std::optional<quint64> AppIdentities::startTime(qint32 pid) const {
    // Asked for every process at every question: plain system calls, no Qt files.
    const QByteArray path = QFile::encodeName(m_procRoot) + '/' + QByteArray::number(pid) + "/stat";
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    char buffer[1024];
    const ssize_t length = ::read(fd, buffer, sizeof buffer - 1);
    ::close(fd);
    if (length <= 0) return std::nullopt;
    buffer[length] = '\0';
    // Field 22, in clock ticks since boot. The command name (field 2) may hold blanks and parentheses, so the
    // count starts after its last closing parenthesis, at field 3.
    const char* at = std::strrchr(buffer, ')');
    for (int field = 2; at && field < 22; ++field)
        at = std::strchr(at + 1, ' ');
    if (!at) return std::nullopt;
    char* end = nullptr;
    const unsigned long long started = std::strtoull(at + 1, &end, 10);
    if (end == at + 1) return std::nullopt;
    return quint64(started);
}

std::optional<QString> AppIdentities::flatpakId(qint32 pid) const {
    // systemd puts every Flatpak app in a scope named "app-flatpak-<id>-<number>.scope".
    static const QRegularExpression scope(QStringLiteral("app-flatpak-(.+)-\\d+\\.scope"));
    const QRegularExpressionMatch m =
        scope.match(readSmallFile(QStringLiteral("%1/%2/cgroup").arg(m_procRoot).arg(pid)));
    if (m.hasMatch()) return m.captured(1);
    // Inside the sandbox, the instance file names the app.
    static const QRegularExpression name(QStringLiteral("(?m)^name=(.+)$"));
    const QRegularExpressionMatch info =
        name.match(readSmallFile(QStringLiteral("%1/%2/root/.flatpak-info").arg(m_procRoot).arg(pid)));
    if (info.hasMatch()) return info.captured(1).trimmed();
    return std::nullopt;
}

QString AppIdentities::executable(qint32 pid, const QString& binaryHint) const {
    const QString target = QFileInfo(QStringLiteral("%1/%2/exe").arg(m_procRoot).arg(pid)).symLinkTarget();
    if (!target.isEmpty()) return QFileInfo(target).fileName();
    // Another user's process or one that has just exited: what its own name says.
    if (!binaryHint.isEmpty()) return QFileInfo(binaryHint).fileName();
    return readSmallFile(QStringLiteral("%1/%2/comm").arg(m_procRoot).arg(pid)).trimmed();
}

AppIdentity AppIdentities::resolve(const std::optional<QString>& flatpak, const QString& program,
                                   const QString& wmClass) {
    const DesktopIndex& desktop = index();
    const auto named = [&](const QString& id) {
        const QString name = desktop.nameById.value(id);
        return byName(id, !name.isEmpty() ? name : wmClass);
    };
    if (flatpak) return named(*flatpak);
    // The class names the program that a window belongs to, also when an interpreter runs it.
    const QString windowClass = wmClass.toLower();
    if (!windowClass.isEmpty()) {
        if (const auto it = desktop.idByWindowClass.constFind(windowClass);
            it != desktop.idByWindowClass.cend())
            return named(*it);
        if (const auto it = desktop.idByLowerId.constFind(windowClass); it != desktop.idByLowerId.cend())
            return named(*it);
    }
    if (const auto it = desktop.idByExecutable.constFind(program);
        !program.isEmpty() && it != desktop.idByExecutable.cend())
        return named(*it);
    if (!windowClass.isEmpty()) return byName(windowClass, wmClass);
    return byName(program, program);
}

void AppIdentities::sweep() {
    for (auto it = m_processes.begin(); it != m_processes.end();) {
        if (startTime(it.key()) == it->started)
            ++it;
        else
            it = m_processes.erase(it);
    }
    m_sweepAt = std::max<qsizetype>(64, 2 * m_processes.size());
}

AppIdentity AppIdentities::identify(qint32 pid, const QString& wmClass, const QString& binaryHint) {
    const std::optional<quint64> started = pid > 0 ? startTime(pid) : std::nullopt;
    if (!started) {
        // Gone already, or never a process: only the names that were reported for it are left.
        return resolve(std::nullopt, QFileInfo(binaryHint).fileName(), wmClass);
    }
    auto it = m_processes.find(pid);
    if (it == m_processes.end() || it->started != *started) {
        if (m_processes.size() >= m_sweepAt) sweep();
        it = m_processes.insert(pid, {*started, flatpakId(pid), executable(pid, binaryHint), {}});
    }
    if (const auto known = it->byWindowClass.constFind(wmClass); known != it->byWindowClass.cend())
        return *known;
    const AppIdentity app = resolve(it->flatpak, it->executable, wmClass);
    it->byWindowClass.insert(wmClass, app);
    return app;
}

} // namespace os
