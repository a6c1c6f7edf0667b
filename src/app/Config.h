#pragma once

#include "app/Arguments.h"

#include <QString>

// Everything the process takes from its environment, read once in main and handed to the composition root.
// Nothing below app reads the environment.
struct Config {
    QString supportDir;          // ORVANE_SUPPORT_DIR; empty: the XDG data folder
    QString defaultsSuite;       // ORVANE_DEFAULTS_SUITE; empty: orvane.conf
    QString keychainService;     // ORVANE_KEYCHAIN_SERVICE, else "orvane.mac"
    bool noBrowser = false;      // ORVANE_NO_BROWSER=1: pages are logged, not opened
    double askSeconds = 120;     // ORVANE_ASK_SECONDS: how long "Where does this go?" waits
    bool hasDisplay = false;     // an X or Wayland display to draw on
    bool x11Session = false;     // DISPLAY without Wayland: global keys are grabs on the X server
    bool waylandSession = false; // WAYLAND_DISPLAY: the screen, idle time and keys come through Wayland
    QString boardShot;           // ORVANE_BOARD_SHOT: a PNG of the board window after its first painted page
    QString desktop;             // XDG_CURRENT_DESKTOP: whose settings pages a permission alert can open
    QString swaySocket;          // SWAYSOCK: sway's IPC, which tells the windows under Wayland

    static Config fromEnvironment();
};
