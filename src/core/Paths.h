#pragma once

#include <QString>

// Where the program keeps its files. The support directory is computed once per process.
namespace Paths {
// ORVANE_SUPPORT_DIR when set and not empty, else $XDG_DATA_HOME/Orvane; created private to the user.
QString support();
QString recordings();
QString workday();
QString pins();
QString logFile();
// Creates the directory with its parents and returns it; a failure shows later, where a write fails.
QString ensure(const QString& dir);
} // namespace Paths
