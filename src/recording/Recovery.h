#pragma once

#include "core/Paths.h"

#include <QStringList>

// What a crash or a killed recording leaves: a session folder whose record has no end.
namespace Recovery {

// Ends every such session at its last file's time, names the first readable track as its audio, lists the
// shots written after its last save, marks it interrupted and saves it, so that it waits to be sent like any
// other. Returns the folder names recovered.
QStringList recoverInterrupted(const QString& base = Paths::recordings());

} // namespace Recovery
