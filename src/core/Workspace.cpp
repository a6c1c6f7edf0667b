#include "core/Workspace.h"

#include "core/Strings.h"

Workspace Workspace::make(const QString& name, const QString& server) {
    return {QUuid::createUuid(), name, server, std::nullopt, std::nullopt, std::nullopt};
}

QString withoutTrailingSlashes(const QString& text) {
    QString out = trimmed(text);
    while (out.endsWith(QLatin1Char('/')))
        out.chop(1);
    return out;
}

QString Workspace::base() const {
    return withoutTrailingSlashes(server);
}

std::optional<QUrl> Workspace::link(const QString& path) const {
    const QUrl url(base() + QStringLiteral("/#/") + path, QUrl::StrictMode);
    if (!url.isValid()) return std::nullopt;
    return url;
}

bool Workspace::isLocalBase(const QString& base) {
    const QUrl url(base, QUrl::StrictMode);
    const QString host = url.host();
    if (!url.isValid() || host.isEmpty()) return false;
    return host == QLatin1String("127.0.0.1") || host == QLatin1String("localhost") ||
           host == QLatin1String("::1") || host.endsWith(QLatin1String(".localhost"));
}

QJsonValue Workspace::toJson() const {
    QJsonObject o;
    Json::put(o, "id", id);
    Json::put(o, "name", name);
    Json::put(o, "server", server);
    Json::put(o, "slug", slug);
    Json::put(o, "seat", seat);
    Json::put(o, "apiRoot", apiRoot);
    return o;
}

Workspace Workspace::fromJson(const QJsonValue& v) {
    const QJsonObject o = Json::object(v);
    return {Json::get<QUuid>(o, "id"),
            Json::get<QString>(o, "name"),
            Json::get<QString>(o, "server"),
            Json::getOptional<QString>(o, "slug"),
            Json::getOptional<QString>(o, "seat"),
            Json::getOptional<QString>(o, "apiRoot")};
}
