#pragma once

#include "os/SecretStore.h"

#include <QHash>
#include <QPair>
#include <mutex>

// Secrets in memory, for tests of the logic above the store. The keychain calls it from its own thread, so
// every access takes the lock. A locked store reads nothing and fails every write until `unlock`.
class MemorySecretStore final : public os::SecretStore {
public:
    struct Item {
        QString label;
        QByteArray secret;
        bool operator==(const Item&) const = default;
    };
    static constexpr int lockedStatus = -25308;

    os::SecretLookup find(const QString& service, const QString& account) override {
        const std::lock_guard lock(m_mutex);
        if (m_locked) return {os::SecretLookup::Unreadable, {}};
        const auto it = m_items.constFind({service, account});
        if (it == m_items.cend()) return {os::SecretLookup::Missing, {}};
        return {os::SecretLookup::Found, it->secret};
    }
    int put(const QString& service, const QString& account, const QString& label,
            const QByteArray& secret) override {
        const std::lock_guard lock(m_mutex);
        ++m_puts;
        if (m_locked) return lockedStatus;
        auto it = m_items.find({service, account});
        if (it != m_items.end())
            it->secret = secret;
        else
            m_items.insert({service, account}, {label, secret});
        return 0;
    }
    bool remove(const QString& service, const QString& account) override {
        const std::lock_guard lock(m_mutex);
        if (!m_locked) m_items.remove({service, account});
        return !m_locked;
    }
    void watchUnlock(std::function<void()> unlocked) override { m_unlocked = std::move(unlocked); }

    std::optional<Item> item(const QString& service, const QString& account) const {
        const std::lock_guard lock(m_mutex);
        const auto it = m_items.constFind({service, account});
        return it == m_items.cend() ? std::nullopt : std::optional<Item>(*it);
    }
    void insert(const QString& service, const QString& account, const Item& item) {
        const std::lock_guard lock(m_mutex);
        m_items.insert({service, account}, item);
    }
    // Every write asked of the store, refused ones too: each is a round trip that may prompt the user.
    int puts() const {
        const std::lock_guard lock(m_mutex);
        return m_puts;
    }
    void lock() {
        const std::lock_guard lock(m_mutex);
        m_locked = true;
    }
    void unlock() {
        {
            const std::lock_guard lock(m_mutex);
            m_locked = false;
        }
        if (m_unlocked) m_unlocked();
    }

private:
    mutable std::mutex m_mutex;
    QHash<QPair<QString, QString>, Item> m_items;
    bool m_locked = false;
    int m_puts = 0;
    std::function<void()> m_unlocked;
};
