#include "os/FileSecretStore.h"

#include <QFile>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QSaveFile>

Q_LOGGING_CATEGORY(lcFileSecrets, "secrets.file")

namespace os {

// Layout: { "<service>": { "<account>": { "label": "...", "secret": "<base64>" } } }
FileSecretStore::FileSecretStore(QString path) : m_path(std::move(path)) {}

std::optional<QJsonObject> FileSecretStore::load() const {
    QFile file(m_path);
    if (!file.exists()) return QJsonObject();
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcFileSecrets) << "secrets file unreadable:" << m_path << file.errorString();
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        qCWarning(lcFileSecrets) << "secrets file unreadable, left as it is:" << m_path;
        return std::nullopt;
    }
    return doc.object();
}

bool FileSecretStore::save(const QJsonObject& all) const {
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    file.write(QJsonDocument(all).toJson(QJsonDocument::Compact));
    return file.commit();
}

SecretLookup FileSecretStore::find(const QString& service, const QString& account) {
    const std::optional<QJsonObject> all = load();
    if (!all) return {SecretLookup::Unreadable, {}};
    const QJsonValue item = all->value(service).toObject().value(account);
    if (!item.isObject()) return {SecretLookup::Missing, {}};
    const auto decoded = QByteArray::fromBase64Encoding(item.toObject().value("secret").toString().toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded) return {SecretLookup::Unreadable, {}};
    return {SecretLookup::Found, *decoded};
}

int FileSecretStore::put(const QString& service, const QString& account, const QString& label,
                         const QByteArray& secret) {
    std::optional<QJsonObject> all = load();
    if (!all) return 1;
    QJsonObject items = all->value(service).toObject();
    QJsonObject item = items.value(account).toObject();
    if (!item.contains("label")) item.insert("label", label);
    item.insert("secret", QString::fromLatin1(secret.toBase64()));
    items.insert(account, item);
    all->insert(service, items);
    return save(*all) ? 0 : 1;
}

bool FileSecretStore::remove(const QString& service, const QString& account) {
    std::optional<QJsonObject> all = load();
    if (!all) return false;
    QJsonObject items = all->value(service).toObject();
    if (!items.contains(account)) return true;
    items.remove(account);
    all->insert(service, items);
    return save(*all);
}

} // namespace os
