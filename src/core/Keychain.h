#pragma once

#include "core/SerialQueue.h"
#include "os/SecretStore.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <optional>

// Account and workspace keys in the system's secret store, under one service name.
// The store may block for as long as an unlock prompt is open, so it is only ever called on a queue of its
// own: the main thread reads the keys loaded so far, `changed` tells when more arrive, and writes go out in
// order.
class Keychain : public QObject {
    Q_OBJECT
public:
    static inline const QString accountItem = QStringLiteral("account");
    static inline const QString workspaceLabel = QStringLiteral("Orvane workspace key");
    static inline const QString accountLabel = QStringLiteral("Orvane account key");

    Keychain(os::SecretStore& store, QString service, QObject* parent = nullptr);
    // Waits for the writes queued so far.
    ~Keychain() override;

    const QString& service() const { return m_service; }
    // Reads these items in the background, unless they are known already.
    void load(const QStringList& accounts);
    // The secret as last loaded or set. Nothing for a missing item, one that has not arrived or could not be
    // read, and a secret that is not UTF-8.
    std::optional<QString> get(const QString& account) const;
    // Known to `get` at once; the store is written in the background. An empty value deletes the item. A
    // write that fails logs "keychain set failed: <status>" and is made again when the store is next
    // unlocked.
    void set(const QString& account, const QString& value, const QString& label = workspaceLabel);
    void remove(const QString& account) { set(account, QString()); }
    // True while loads are on their way; `settled` tells when the last has answered, found or not.
    bool loading() const { return m_loadsInFlight > 0; }

signals:
    // Items arrived from the store.
    void changed();
    void settled();

private:
    struct Write {
        std::optional<QString> value; // nothing deletes
        QString label;
        quint64 number = 0;
    };
    void queueLoad(const QStringList& accounts);
    void queueWrite(const QString& account, const Write& write);
    void loaded(const QString& account, const os::SecretLookup& lookup);
    void written(const QString& account, quint64 number, bool ok);
    void retry();

    os::SecretStore& m_store;
    QString m_service;
    QHash<QString, std::optional<QString>> m_known; // nothing: no such item
    QSet<QString> m_unread;                         // asked for, not known yet
    QHash<QString, Write> m_unwritten;              // set, not yet confirmed by the store
    quint64 m_writes = 0;
    int m_loadsInFlight = 0;
    SerialQueue m_queue{QStringLiteral("orvane.keychain")};
};
