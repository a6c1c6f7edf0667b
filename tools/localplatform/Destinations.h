#pragma once

#include "Exchange.h"
#include "PathPattern.h"
#include "Store.h"

#include <optional>
#include <string>
#include <vector>

// The account of the request's Bearer key; 401 when the key is missing or unknown.
Store::Account requireAccount(Store& store, const Exchange& exchange);

// The roots one handler set serves under: a project on the platform and on its local /app paths, Personal on
// both, and a legacy workspace with its own key.
class Destinations {
public:
    // appPaths: only the local /app roots answer, as on a platform without /api/v1.
    Destinations(Store& store, bool appPaths);

    // When the path lies under a root: checks the key, puts the destination on the exchange and gives the
    // path inside it. Refusals are thrown as HttpError.
    std::optional<std::string> enter(Exchange& exchange) const;

private:
    using Kind = Destination::Kind;
    struct Root {
        PathPattern prefix;
        Kind kind;
    };
    Destination authenticate(Kind kind, const std::string& name, const Exchange& exchange) const;

    Store& m_store;
    std::vector<Root> m_roots;
};
