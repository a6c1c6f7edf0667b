#include "core/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Paths {
namespace {
QString computeSupport() {
    const QByteArray fromEnv = qgetenv("ORVANE_SUPPORT_DIR");
    const QString dir = !fromEnv.isEmpty()
                            ? QString::fromLocal8Bit(fromEnv)
                            : QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                                  QStringLiteral("/Orvane");
    const bool existed = QFileInfo::exists(dir);
    ensure(dir);
    if (!existed)
        QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return dir;
}
} // namespace

QString support() {
    static const QString dir = computeSupport();
    return dir;
}

QString recordings() { return ensure(support() + QStringLiteral("/recordings")); }
QString workday() { return ensure(support() + QStringLiteral("/workday")); }
QString pins() { return ensure(support() + QStringLiteral("/pins")); }
QString logFile() { return support() + QStringLiteral("/orvane.log"); }

QString ensure(const QString& dir) {
    QDir().mkpath(dir);
    return dir;
}
} // namespace Paths
