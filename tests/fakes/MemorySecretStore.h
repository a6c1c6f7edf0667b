#pragma once

#include "os/SecretStore.h"

#include <QHash>
#include <QPair>

// Secrets in memory, for tests of the logic above the store; `failPuts` makes every write fail.
class MemorySecretStore final : public os::SecretStore {
public:
    struct Item {
        QString label;
        QByteArray secret;
    };

    std::optional<QByteArray> find(const QString& service, const QString& account) override {
        const auto it = items.constFind({service, account});
        if (it == items.cend())
            return std::nullopt;
        return it->secret;
    }
    int put(const QString& service, const QString& account, const QString& label, const QByteArray& secret) override {
        if (failPuts)
            return -25308;
        auto it = items.find({service, account});
        if (it != items.end())
            it->secret = secret;
        else
            items.insert({service, account}, {label, secret});
        return 0;
    }
    bool remove(const QString& service, const QString& account) override {
        items.remove({service, account});
        return true;
    }

    QHash<QPair<QString, QString>, Item> items;
    bool failPuts = false;
};
