#pragma once

#include "os/FileSecretStore.h"

#include <memory>
#include <mutex>

namespace os {

class SecretUnlockWatch;

// Secrets in the desktop's Secret Service (gnome-keyring, KWallet) through libsecret. Where no Secret Service
// answers on the session bus (none installed, or its daemon dead), the private file at `fallbackPath` takes
// its place, and the log says so once. Whether one answers is asked on the first call, off the main thread.
class LibsecretStore final : public SecretStore {
public:
    explicit LibsecretStore(QString fallbackPath);
    ~LibsecretStore() override;

    SecretLookup find(const QString& service, const QString& account) override;
    int put(const QString& service, const QString& account, const QString& label,
            const QByteArray& secret) override;
    bool remove(const QString& service, const QString& account) override;
    // Follows the Secret Service's collections: one that turns unlocked calls `unlocked`.
    void watchUnlock(std::function<void()> unlocked) override;

    // True when the Secret Service answers; false when the file stands in. Blocks on the first call.
    bool onSecretService();

private:
    FileSecretStore m_file;
    std::once_flag m_asked;
    bool m_onSecretService = false;
    std::unique_ptr<SecretUnlockWatch> m_watch;
};

} // namespace os
