#pragma once

#include <QString>

// Where the program keeps its files. The support directory is settled once per process.
namespace Paths {
// The support directory for this process, before anything asks for it; empty leaves the default.
void useSupport(const QString& dir);
// The folder given to useSupport, else $XDG_DATA_HOME/Orvane; created private to the user.
QString support();
QString recordings();
QString workday();
QString pins();
QString logFile();
// Creates the directory with its parents and returns it; a failure shows later, where a write fails.
QString ensure(const QString& dir);
} // namespace Paths
