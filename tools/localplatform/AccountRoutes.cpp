#include "Destinations.h"
#include "Json.h"
#include "RouteTable.h"
#include "Routes.h"

void addAccountRoutes(RouteTable& routes, Store& store, bool appPaths) {
    // Personal's calls live under the same family of paths as the account route that was asked.
    const auto me = [&store](const char* personalCalls) {
        return [&store, personalCalls](Exchange& exchange) {
            const Store::Account account = requireAccount(store, exchange);
            QJsonArray projects;
            for (const Store::Membership& m : store.memberships(account.id))
                projects.append(
                    QJsonObject{{"slug", qtext(m.slug)}, {"name", qtext(m.name)}, {"seat", qtext(m.seat)}});
            return Reply::json(QJsonObject{
                {"account", QJsonObject{{"email", qtext(account.email)}, {"name", qtext(account.name)}}},
                {"personal", QJsonObject{{"calls_url", QString::fromLatin1(personalCalls)}}},
                {"projects", projects}});
        };
    };
    if (!appPaths) routes.add("GET", "/api/v1/me", me("/api/v1/personal/calls"));
    routes.add("GET", "/app/api/platform/me", me("/app/api/platform/personal/calls"));
}
