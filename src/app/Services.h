#pragma once

#include "core/Keychain.h"
#include "os/IdleSource.h"
#include "os/ScreenSource.h"
#include "os/SecretStore.h"
#include "server/Settings.h"

#include <QSettings>
#include <memory>

// The composition root's long-lived services, built once with the operating-system backends picked here.
struct Services {
    std::unique_ptr<os::SecretStore> secrets;
    std::unique_ptr<os::ScreenSource> screen;
    std::unique_ptr<os::IdleSource> idle;
    std::unique_ptr<Keychain> keychain;
    std::unique_ptr<QSettings> defaults;
    std::unique_ptr<Settings> settings;

    static std::unique_ptr<Services> build();
};
