#pragma once

#include <QString>

// Renders what the program draws to PNG files in dir, for a developer to look at.
namespace Previews {
void render(const QString& dir);
}
