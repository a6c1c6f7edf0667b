#include "core/Keychain.h"

#include "core/Log.h"

#include <QStringDecoder>

namespace {

std::optional<QString> utf8(const QByteArray& data) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(data);
    if (decoder.hasError()) return std::nullopt;
    return text;
}

} // namespace

Keychain::Keychain(os::SecretStore& store, QString service, QObject* parent)
    : QObject(parent), m_store(store), m_service(std::move(service)) {
    m_store.watchUnlock([this] { retry(); });
}

Keychain::~Keychain() {
    m_store.watchUnlock({});
}

void Keychain::load(const QStringList& accounts) {
    QStringList wanted;
    for (const QString& account : accounts)
        if (!m_known.contains(account) && !m_unwritten.contains(account) && !m_unread.contains(account))
            wanted.append(account);
    for (const QString& account : std::as_const(wanted))
        m_unread.insert(account);
    if (!wanted.isEmpty()) queueLoad(wanted);
}

std::optional<QString> Keychain::get(const QString& account) const {
    if (const auto written = m_unwritten.constFind(account); written != m_unwritten.cend())
        return written->value;
    return m_known.value(account);
}

void Keychain::set(const QString& account, const QString& value, const QString& label) {
    const Write write{value.isEmpty() ? std::nullopt : std::optional<QString>(value), label, ++m_writes};
    m_unwritten.insert(account, write);
    m_unread.remove(account);
    queueWrite(account, write);
}

void Keychain::queueLoad(const QStringList& accounts) {
    ++m_loadsInFlight;
    m_queue.async([this, accounts, &store = m_store, service = m_service] {
        // After one item could not be read the rest is not asked for: a locked keyring would prompt again for
        // each of them.
        bool unreadable = false;
        for (const QString& account : accounts) {
            const os::SecretLookup lookup = unreadable ? os::SecretLookup{os::SecretLookup::Unreadable, {}}
                                                       : store.find(service, account);
            unreadable = lookup.status == os::SecretLookup::Unreadable;
            QMetaObject::invokeMethod(
                this, [this, account, lookup] { loaded(account, lookup); }, Qt::QueuedConnection);
        }
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (--m_loadsInFlight == 0) emit settled();
            },
            Qt::QueuedConnection);
    });
}

void Keychain::queueWrite(const QString& account, const Write& write) {
    m_queue.async([this, account, write, &store = m_store, service = m_service] {
        const int status = write.value ? store.put(service, account, write.label, write.value->toUtf8())
                                       : (store.remove(service, account) ? 0 : -1);
        QMetaObject::invokeMethod(
            this,
            [this, account, number = write.number, status] {
                if (status != 0) slog(QStringLiteral("keychain set failed: %1").arg(status));
                written(account, number, status == 0);
            },
            Qt::QueuedConnection);
    });
}

void Keychain::loaded(const QString& account, const os::SecretLookup& lookup) {
    // A value set meanwhile is newer than anything read before it.
    if (m_unwritten.contains(account) || lookup.status == os::SecretLookup::Unreadable) return;
    m_unread.remove(account);
    const std::optional<QString> value =
        lookup.status == os::SecretLookup::Found ? utf8(lookup.secret) : std::optional<QString>();
    const std::optional<QString> before = get(account);
    m_known.insert(account, value);
    if (value != before) emit changed();
}

void Keychain::written(const QString& account, quint64 number, bool ok) {
    const auto pending = m_unwritten.constFind(account);
    if (!ok || pending == m_unwritten.cend() || pending->number != number)
        return; // kept for the next unlock, or overtaken by a later write
    m_known.insert(account, pending->value);
    m_unwritten.erase(pending);
}

void Keychain::retry() {
    for (auto it = m_unwritten.cbegin(); it != m_unwritten.cend(); ++it)
        queueWrite(it.key(), *it);
    if (!m_unread.isEmpty()) queueLoad(m_unread.values());
}
