#include "core/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Paths {
namespace {
QString& chosen() {
    static QString dir;
    return dir;
}

QString computeSupport() {
    const QString dir = !chosen().isEmpty()
                            ? chosen()
                            : QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                                  QStringLiteral("/Orvane");
    const bool existed = QFileInfo::exists(dir);
    ensure(dir);
    if (!existed) QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return dir;
}
} // namespace

void useSupport(const QString& dir) {
    chosen() = dir;
}

QString support() {
    static const QString dir = computeSupport();
    return dir;
}

QString recordings() {
    return ensure(support() + QStringLiteral("/recordings"));
}
QString workday() {
    return ensure(support() + QStringLiteral("/workday"));
}
QString pins() {
    return ensure(support() + QStringLiteral("/pins"));
}
QString logFile() {
    return support() + QStringLiteral("/orvane.log");
}

QString ensure(const QString& dir) {
    QDir().mkpath(dir);
    return dir;
}
} // namespace Paths
