#pragma once

#include "Exchange.h"
#include "PathPattern.h"
#include "Reply.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

using Handler = std::function<Reply(Exchange&)>;

// Routes by method and path pattern, tried in the order they were added.
class RouteTable {
public:
    void add(std::string method, std::string_view pattern, Handler handler);
    // Runs the route that matches `path`, with its path parameters; nothing when none does.
    std::optional<Reply> dispatch(Exchange& exchange, std::string_view path) const;

private:
    struct Route {
        std::string method;
        PathPattern pattern;
        Handler handler;
    };
    std::vector<Route> m_routes;
};
