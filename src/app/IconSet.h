#pragma once

#include <QString>

// Writes the ten icon_<name>.png files of the application icon and icon.svg into dir; what cannot be written
// is skipped.
void writeIconSet(const QString& dir);
