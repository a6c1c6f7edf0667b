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
};

// Names the application behind a process: its Flatpak id, else the id of the desktop file that starts its
// executable, else its window class, else the executable's name. The display name is the desktop file's Name,
// else the class, else the id. The desktop files are read once, on the first question.
class AppIdentities {
public:
    // applicationDirs: the "applications" folders of the XDG data directories, most important first.
    explicit AppIdentities(QStringList applicationDirs = defaultApplicationDirs(),
                           QString procRoot = QStringLiteral("/proc"));

    // wmClass: the class of one of the process's windows, empty when there is none; binaryHint: the executable's
    // name as another source reports it, used when the process has already gone.
    AppIdentity identify(qint32 pid, const QString& wmClass, const QString& binaryHint = {});

    static QStringList defaultApplicationDirs();

private:
    struct DesktopIndex {
        QHash<QString, QString> idByExecutable;
        QHash<QString, QString> idByWindowClass; // lower case
        QHash<QString, QString> nameById;
    };
    const DesktopIndex& index();
    std::optional<QString> flatpakId(qint32 pid) const;
    QString executable(qint32 pid, const QString& binaryHint) const;

    QStringList m_applicationDirs;
    QString m_procRoot;
    std::optional<DesktopIndex> m_index;
};

} // namespace os
