#pragma once

#include "core/Strings.h"

#include <QString>

// A session's title as nudges quote it: between curly quotes, cut to `limit` characters.
inline QString quotedTitle(const QString& title, int limit = 50) {
    return QStringLiteral("\u201c%1\u201d").arg(shortened(title, limit));
}
