#include "Destinations.h"

#include "Exchange.h"
#include "Reply.h"

#include <algorithm>

Store::Account requireAccount(Store& store, const Exchange& exchange) {
    const std::string key = exchange.bearer();
    if (key.empty()) throw HttpError(401, "missing key");
    std::optional<Store::Account> account = store.accountForKey(key);
    if (!account) throw HttpError(401, "unknown key");
    return std::move(*account);
}

Destinations::Destinations(Store& store, bool appPaths) : m_store(store) {
    if (!appPaths) {
        m_roots.push_back({PathPattern("/api/v1/p/{name}"), Kind::Project});
        m_roots.push_back({PathPattern("/api/v1/personal"), Kind::Personal});
    }
    m_roots.push_back({PathPattern("/app/p/{name}/api"), Kind::Project});
    m_roots.push_back({PathPattern("/app/api/platform/personal"), Kind::Personal});
    m_roots.push_back({PathPattern("/legacy/{name}/api"), Kind::Legacy});
}

std::optional<std::string> Destinations::enter(Exchange& exchange) const {
    for (const Root& root : m_roots) {
        std::optional<PathPattern::PrefixMatch> match = root.prefix.matchPrefix(exchange.path());
        if (!match) continue;
        exchange.setDestination(authenticate(root.kind, match->params["name"], exchange));
        return std::move(match->rest);
    }
    return std::nullopt;
}

Destination Destinations::authenticate(Kind kind, const std::string& name, const Exchange& exchange) const {
    switch (kind) {
    case Kind::Project: {
        const Store::Account account = requireAccount(m_store, exchange);
        const std::vector<Store::Membership> seats = m_store.memberships(account.id);
        const bool member =
            std::any_of(seats.begin(), seats.end(), [&](const auto& m) { return m.slug == name; });
        if (!member && !m_store.projectExists(name)) throw HttpError(404, "no project " + name);
        if (!member) throw HttpError(403, "no seat in " + name);
        return {"project:" + name, account.name, kind, name, account.id};
    }
    case Kind::Personal: {
        const Store::Account account = requireAccount(m_store, exchange);
        return {"personal:" + std::to_string(account.id), account.name, kind, {}, account.id};
    }
    case Kind::Legacy: {
        const std::optional<Store::LegacyWorkspace> workspace = m_store.legacyWorkspace(name);
        if (!workspace) throw HttpError(404, "no workspace " + name);
        const std::string key = exchange.bearer();
        if (key.empty()) throw HttpError(401, "missing key");
        if (key != workspace->key) throw HttpError(401, "unknown key");
        return {"legacy:" + name, workspace->ego, kind, name, std::nullopt};
    }
    }
    throw HttpError(500, "unknown destination");
}
