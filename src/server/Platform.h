#pragma once

#include "core/Workspace.h"
#include "server/AccountInfo.h"

#include <QCoroTask>
#include <QJsonObject>
#include <QList>
#include <chrono>
#include <utility>

class QNetworkAccessManager;

#include <QString>
#include <QUrl>
#include <QUuid>
#include <optional>

// URL construction for the platform as a whole, and its fixed endpoints (each named once, here).
namespace Platform {

inline const QString registrableDomain = QStringLiteral("orvane.app");
inline const QString defaultBase = QStringLiteral("https://orvane.app");
// The access proxy's team host, and the login domain under which its sign-in pages live.
inline const QString accessTeamHost = QStringLiteral("orvane.cloudflareaccess.com");
inline const QString accessLoginDomain = QStringLiteral(".cloudflareaccess.com");

struct LegacyDefault {
    QString name;
    QString server;
};
// The two legacy workspaces a fresh store starts with.
inline const LegacyDefault legacyDefaults[] = {
    {QStringLiteral("Brevik"), QStringLiteral("https://brevik.orvane.app")},
    {QStringLiteral("Noctal"), QStringLiteral("https://noctal.orvane.app")}};

// Trimmed, without trailing "/".
QString clean(const QString& base);
bool isLocal(const QString& base);
// A stable name-based UUID of base and slug: the same project has the same id on every machine.
QUuid projectID(const QString& base, const QString& slug);
// appPaths: a local platform without /api/v1, whose project API sits under /app/p/<slug>/api.
Workspace project(const QString& base, const QString& slug, const QString& name,
                  const std::optional<QString>& seat, bool appPaths = false);
// A full URL as it stands; a path under the base.
std::optional<QUrl> resolve(const QString& text, const QString& base);

using Account = std::pair<AccountInfo, QList<Workspace>>;

// A POST to the platform as a whole, without a key; failures as APIError, like every server call.
QCoro::Task<QJsonObject> post(QNetworkAccessManager& network, QUrl url, QJsonObject body,
                              std::chrono::seconds timeout);
// Who the key's account is, with its projects; a local platform without /api/v1 is asked on its /app routes.
QCoro::Task<Account> me(QNetworkAccessManager& network, QString base, QString key);
// The account reply; nothing without an account e-mail.
std::optional<Account> parseMe(const QJsonObject& reply, const QString& base, bool appPaths = false);

} // namespace Platform
