#include "os/linux/XdgAutostart.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>

namespace os {

XdgAutostart::XdgAutostart(QString folder, QString executable)
    : m_folder(std::move(folder)), m_executable(std::move(executable)) {}

QString XdgAutostart::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart");
}

QString XdgAutostart::entryPath() const {
    return m_folder + QStringLiteral("/app.orvane.Orvane.desktop");
}

bool XdgAutostart::enabled() const {
    QFile entry(entryPath());
    if (!entry.open(QIODevice::ReadOnly)) return false;
    static const QRegularExpression hidden(QStringLiteral("^Hidden\\s*=\\s*true\\s*$"),
                                           QRegularExpression::MultilineOption);
    return !hidden.match(QString::fromUtf8(entry.readAll())).hasMatch();
}

std::optional<QString> XdgAutostart::setEnabled(bool on) {
    if (!on) {
        QFile entry(entryPath());
        if (!entry.exists() || entry.remove()) return std::nullopt;
        return QStringLiteral("Couldn\u2019t remove %1: %2").arg(entryPath(), entry.errorString());
    }
    if (!QDir().mkpath(m_folder)) return QStringLiteral("Couldn\u2019t make the folder %1").arg(m_folder);
    QSaveFile entry(entryPath());
    if (!entry.open(QIODevice::WriteOnly))
        return QStringLiteral("Couldn\u2019t write %1: %2").arg(entryPath(), entry.errorString());
    entry.write("[Desktop Entry]\n"
                "Type=Application\n"
                "Name=Orvane\n"
                "Comment=Starts Orvane in the tray when you log in\n"
                "Exec=" +
                execQuoted(m_executable).toUtf8() +
                "\n"
                "Icon=app.orvane.Orvane\n"
                "Terminal=false\n"
                "X-GNOME-Autostart-enabled=true\n");
    if (!entry.commit())
        return QStringLiteral("Couldn\u2019t write %1: %2").arg(entryPath(), entry.errorString());
    return std::nullopt;
}

// Inside double quotes ", `, $ and \ take a backslash; then every backslash is doubled again, since the key's
// value is itself an escaped string.
QString XdgAutostart::execQuoted(const QString& path) {
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_./+,:@%-]+$"));
    if (plain.match(path).hasMatch()) return path;
    QString quoted;
    for (const QChar c : path) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') quoted += u'\\';
        quoted += c;
    }
    quoted.replace(u'\\', QStringLiteral("\\\\"));
    return u'"' + quoted + u'"';
}

} // namespace os
