#include "app/Config.h"

#include <QtGlobal>

Config Config::fromEnvironment() {
    Config config;
    config.supportDir = qEnvironmentVariable("ORVANE_SUPPORT_DIR");
    config.defaultsSuite = qEnvironmentVariable("ORVANE_DEFAULTS_SUITE");
    config.keychainService = qEnvironmentVariable("ORVANE_KEYCHAIN_SERVICE");
    if (config.keychainService.isEmpty()) config.keychainService = QStringLiteral("orvane.mac");
    config.boardShot = qEnvironmentVariable("ORVANE_BOARD_SHOT");
    config.noBrowser = qEnvironmentVariable("ORVANE_NO_BROWSER") == QLatin1String("1");
    bool isNumber = false;
    const double ask = qEnvironmentVariable("ORVANE_ASK_SECONDS").toDouble(&isNumber);
    if (isNumber && ask >= 0) config.askSeconds = ask;
    config.hasDisplay =
        !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    // Under Wayland DISPLAY names Xwayland, whose grabs see only the keys typed into X programs.
    config.x11Session = !qEnvironmentVariableIsEmpty("DISPLAY") &&
                        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
                        qEnvironmentVariable("XDG_SESSION_TYPE") != QLatin1String("wayland");
    config.waylandSession = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    config.desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
    config.swaySocket = qEnvironmentVariable("SWAYSOCK");
    return config;
}
