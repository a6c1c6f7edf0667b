#pragma once

#include "recording/Session.h"

#include <QIODevice>
#include <QJsonObject>
#include <optional>

// The body that creates a call on the server: the session's record with its screenshots and pins inside.
namespace Payload {

// Streams the body into the device, one image at a time, so that a long session is never held whole in
// memory. Unreadable images are left out. Returns false when the device refused a write.
bool writeTo(QIODevice& out, const Session& session, const std::optional<QString>& selfName);
// The body as an object, for those who want to look at it.
QJsonObject dictionary(const Session& session, const std::optional<QString>& selfName);
// Writes payload.json into the session folder, atomically, and returns its path. Throws JSONFile::WriteError.
QString write(const Session& session, const std::optional<QString>& selfName);

} // namespace Payload
