#pragma once

#include "os/SecretStore.h"

#include <QString>
#include <optional>

// Account and workspace keys in the system's secret store, under one service name.
class Keychain {
public:
    static inline const QString accountItem = QStringLiteral("account");
    static inline const QString workspaceLabel = QStringLiteral("Orvane workspace key");
    static inline const QString accountLabel = QStringLiteral("Orvane account key");

    Keychain(os::SecretStore& store, QString service);

    const QString& service() const { return m_service; }
    // Nothing for a missing item, any failure and a secret that is not UTF-8.
    std::optional<QString> get(const QString& account) const;
    // An empty value deletes the item. Logs "keychain set failed: <status>" and answers false on failure.
    bool set(const QString& account, const QString& value, const QString& label = workspaceLabel);
    // True when deleted or absent.
    bool remove(const QString& account);

private:
    os::SecretStore& m_store;
    QString m_service;
};
