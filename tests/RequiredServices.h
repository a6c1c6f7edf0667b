#pragma once

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

// Tests of real services skip when the service is missing on a developer's desktop, and fail under
// ./scripts/test, which brings every service up and says so with ORVANE_TEST_SERVICES=required.
#define REQUIRE_SERVICE(present, what)                                                                       \
    do {                                                                                                     \
        if (!(present)) {                                                                                    \
            if (qEnvironmentVariable("ORVANE_TEST_SERVICES") == QLatin1String("required"))                   \
                QFAIL(what " is not running");                                                               \
            QSKIP(what " is not running");                                                                   \
        }                                                                                                    \
    } while (false)

inline bool soundServerRuns() {
    return QProcess::execute(QStringLiteral("pactl"), {QStringLiteral("info")}) == 0;
}

// For the tests that start X servers of their own.
inline bool xvfbInstalled() {
    return !QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty();
}
