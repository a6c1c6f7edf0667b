#include "os/linux/AppIdentities.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QStandardPaths>

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
        if (word == QLatin1String("env") || word.contains(QLatin1Char('=')))
            continue;
        return QFileInfo(word).fileName();
    }
    return {};
}

// The keys of the [Desktop Entry] group that identify a program; unlocalised Name only.
DesktopFile readDesktopFile(const QString& path) {
    DesktopFile entry;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return entry;
    bool inEntry = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inEntry = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inEntry)
            continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq < 0)
            continue;
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
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.read(64 * 1024));
}

} // namespace

AppIdentities::AppIdentities(QStringList applicationDirs, QString procRoot)
    : m_applicationDirs(std::move(applicationDirs)), m_procRoot(std::move(procRoot)) {}

QStringList AppIdentities::defaultApplicationDirs() {
    return QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
}

const AppIdentities::DesktopIndex& AppIdentities::index() {
    if (m_index)
        return *m_index;
    m_index.emplace();
    // Later folders are less important: the first file seen for an id wins, as in the XDG rules.
    for (const QString& dir : std::as_const(m_applicationDirs)) {
        QDirIterator it(dir, {QStringLiteral("*.desktop")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QString id = QDir(dir).relativeFilePath(path);
            id.chop(int(qstrlen(".desktop")));
            id.replace(QLatin1Char('/'), QLatin1Char('-'));
            if (m_index->nameById.contains(id))
                continue;
            const DesktopFile entry = readDesktopFile(path);
            m_index->nameById.insert(id, entry.name);
            // Flatpak launchers start "flatpak"; those apps are known by their sandbox instead.
            if (!entry.executable.isEmpty() && entry.executable != QLatin1String("flatpak"))
                m_index->idByExecutable.insert(entry.executable, id);
            if (!entry.windowClass.isEmpty())
                m_index->idByWindowClass.insert(entry.windowClass, id);
        }
    }
    qCDebug(lcApps) << "read" << m_index->nameById.size() << "desktop files";
    return *m_index;
}

std::optional<QString> AppIdentities::flatpakId(qint32 pid) const {
    // systemd puts every Flatpak app in a scope named "app-flatpak-<id>-<number>.scope".
    static const QRegularExpression scope(QStringLiteral("app-flatpak-(.+)-\\d+\\.scope"));
    const QRegularExpressionMatch m = scope.match(readSmallFile(QStringLiteral("%1/%2/cgroup").arg(m_procRoot).arg(pid)));
    if (m.hasMatch())
        return m.captured(1);
    // Inside the sandbox, the instance file names the app.
    static const QRegularExpression name(QStringLiteral("(?m)^name=(.+)$"));
    const QRegularExpressionMatch info =
        name.match(readSmallFile(QStringLiteral("%1/%2/root/.flatpak-info").arg(m_procRoot).arg(pid)));
    if (info.hasMatch())
        return info.captured(1).trimmed();
    return std::nullopt;
}

QString AppIdentities::executable(qint32 pid, const QString& binaryHint) const {
    const QString target = QFileInfo(QStringLiteral("%1/%2/exe").arg(m_procRoot).arg(pid)).symLinkTarget();
    if (!target.isEmpty())
        return QFileInfo(target).fileName();
    // Another user's process or one that has just exited: what its own name says.
    if (!binaryHint.isEmpty())
        return QFileInfo(binaryHint).fileName();
    return readSmallFile(QStringLiteral("%1/%2/comm").arg(m_procRoot).arg(pid)).trimmed();
}

AppIdentity AppIdentities::identify(qint32 pid, const QString& wmClass, const QString& binaryHint) {
    const QString windowClass = wmClass.toLower();
    const DesktopIndex& desktop = index();
    const auto named = [&](const QString& id) {
        const QString name = desktop.nameById.value(id);
        return AppIdentity{id, !name.isEmpty() ? name : !wmClass.isEmpty() ? wmClass : id};
    };
    if (pid > 0) {
        if (std::optional<QString> id = flatpakId(pid))
            return named(*id);
    }
    const QString program = pid > 0 ? executable(pid, binaryHint) : QFileInfo(binaryHint).fileName();
    if (const auto it = desktop.idByExecutable.constFind(program); !program.isEmpty() && it != desktop.idByExecutable.cend())
        return named(*it);
    if (!windowClass.isEmpty()) {
        if (const auto it = desktop.idByWindowClass.constFind(windowClass); it != desktop.idByWindowClass.cend())
            return named(*it);
        return named(windowClass);
    }
    return named(program);
}

} // namespace os
