#pragma once

#include "core/Keychain.h"
#include "fakes/MemorySecretStore.h"
#include "server/Settings.h"

#include <QNetworkAccessManager>
#include <QSettings>
#include <QTemporaryDir>

// Settings on a throw-away store, signed in to the default platform unless told otherwise: its board home is
// https://orvane.app/app.
struct SettingsFixture {
    QTemporaryDir dir;
    MemorySecretStore secrets;
    Keychain keychain{secrets, QStringLiteral("svc")};
    QSettings store{dir.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat};
    std::unique_ptr<QNetworkAccessManager> network = API::makeNetwork();
    Settings settings{store, keychain, *network};

    explicit SettingsFixture(bool signedIn = true) {
        if (signedIn)
            settings.signIn(QStringLiteral("acct-key"), QStringLiteral("ada@example.com"), std::nullopt);
    }
};
