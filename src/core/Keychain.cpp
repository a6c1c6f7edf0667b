#include "core/Keychain.h"

#include "core/Log.h"

#include <QStringDecoder>

Keychain::Keychain(os::SecretStore& store, QString service) : m_store(store), m_service(std::move(service)) {}

std::optional<QString> Keychain::get(const QString& account) const {
    const std::optional<QByteArray> data = m_store.find(m_service, account);
    if (!data)
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(*data);
    if (utf8.hasError())
        return std::nullopt;
    return text;
}

bool Keychain::set(const QString& account, const QString& value, const QString& label) {
    if (value.isEmpty())
        return remove(account);
    const int status = m_store.put(m_service, account, label, value.toUtf8());
    if (status != 0) {
        slog(QStringLiteral("keychain set failed: %1").arg(status));
        return false;
    }
    return true;
}

bool Keychain::remove(const QString& account) { return m_store.remove(m_service, account); }
