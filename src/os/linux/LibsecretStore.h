#pragma once

#include "os/SecretStore.h"

namespace os {

// Secrets in the desktop's Secret Service (gnome-keyring, KWallet) through libsecret; every call blocks.
class LibsecretStore final : public SecretStore {
public:
    // True when the session bus has a Secret Service running or able to start.
    static bool available();

    std::optional<QByteArray> find(const QString& service, const QString& account) override;
    int put(const QString& service, const QString& account, const QString& label, const QByteArray& secret) override;
    bool remove(const QString& service, const QString& account) override;
};

} // namespace os
