#include "core/JSONFile.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <fcntl.h>
#include <unistd.h>

namespace JSONFile {

std::optional<QJsonValue> readValue(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError) return std::nullopt;
    if (doc.isObject()) return QJsonValue(doc.object());
    return QJsonValue(doc.array());
}

QByteArray encode(const QJsonValue& value) {
    // QJsonObject keeps its keys sorted, so the output is sorted at every level.
    const QJsonDocument doc =
        value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return doc.toJson(QJsonDocument::Indented);
}

void write(const QJsonValue& value, const QString& path) {
    if (!value.isObject() && !value.isArray()) throw WriteError("only an object or a list can be written");
    writeAtomically(encode(value), path);
}

void writeAtomically(const QByteArray& data, const QString& path) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) throw WriteError(file.errorString().toStdString());
    file.write(data);
    if (!file.commit()) throw WriteError(file.errorString().toStdString());
    // The rename is only durable once the folder's entry is on disk.
    const int dir =
        ::open(QFile::encodeName(QFileInfo(path).absolutePath()).constData(), O_RDONLY | O_DIRECTORY);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
}

} // namespace JSONFile
