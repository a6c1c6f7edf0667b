#pragma once

#include "os/SecretStore.h"

#include <QJsonObject>
#include <optional>

namespace os {

// Secrets in one file readable by the user alone: the stand-in where no Secret Service answers.
class FileSecretStore final : public SecretStore {
public:
    explicit FileSecretStore(QString path);

    SecretLookup find(const QString& service, const QString& account) override;
    int put(const QString& service, const QString& account, const QString& label,
            const QByteArray& secret) override;
    bool remove(const QString& service, const QString& account) override;

    const QString& path() const { return m_path; }

private:
    // Nothing when the file is there but does not read: it is then left as it is, never overwritten.
    std::optional<QJsonObject> load() const;
    bool save(const QJsonObject& all) const;

    QString m_path;
};

} // namespace os
