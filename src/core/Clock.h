#pragma once

#include <QDateTime>
#include <functional>

// "Now" as logic sees it: the system clock in the program, a settable one in tests.
using Clock = std::function<QDateTime()>;

inline QDateTime systemNow() {
    return QDateTime::currentDateTimeUtc();
}
