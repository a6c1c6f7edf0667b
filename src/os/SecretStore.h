#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace os {

// The system's store of secrets, keyed by service and account.
class SecretStore {
public:
    virtual ~SecretStore() = default;
    // The secret, or nothing for a missing item and for any failure.
    virtual std::optional<QByteArray> find(const QString& service, const QString& account) = 0;
    // Updates the secret of an existing item in place (its label stays), else adds an item with the label.
    // Returns 0 on success, else a status number of the store.
    virtual int put(const QString& service, const QString& account, const QString& label,
                    const QByteArray& secret) = 0;
    // True when the item is gone, also when there was none.
    virtual bool remove(const QString& service, const QString& account) = 0;
};

} // namespace os
