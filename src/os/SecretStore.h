#pragma once

#include <QByteArray>
#include <QString>
#include <functional>

namespace os {

// What a lookup found. `Unreadable` is a store that is locked or did not answer: the item may well be there.
struct SecretLookup {
    enum Status { Found, Missing, Unreadable };
    Status status = Missing;
    QByteArray secret;
};

// The system's store of secrets, keyed by service and account. Every call may block for as long as the user
// takes to answer an unlock prompt: call it off the main thread.
class SecretStore {
public:
    virtual ~SecretStore() = default;
    virtual SecretLookup find(const QString& service, const QString& account) = 0;
    // Updates the secret of an existing item in place (its label stays), else adds an item with the label.
    // Returns 0 on success, else a status number of the store.
    virtual int put(const QString& service, const QString& account, const QString& label,
                    const QByteArray& secret) = 0;
    // True when the item is gone, also when there was none.
    virtual bool remove(const QString& service, const QString& account) = 0;
    // `unlocked` runs on the thread that called this whenever the store has been unlocked, so that what could
    // not be read or written before can be tried again. A store that never locks keeps the default.
    virtual void watchUnlock(std::function<void()> unlocked) { (void)unlocked; }
};

} // namespace os
