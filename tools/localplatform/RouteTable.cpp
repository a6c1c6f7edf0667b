#include "RouteTable.h"

void RouteTable::add(std::string method, std::string_view pattern, Handler handler) {
    m_routes.push_back({std::move(method), PathPattern(pattern), std::move(handler)});
}

std::optional<Reply> RouteTable::dispatch(Exchange& exchange, std::string_view path) const {
    for (const Route& route : m_routes) {
        if (route.method != exchange.method()) continue;
        if (std::optional<PathParams> params = route.pattern.match(path)) {
            exchange.setParams(std::move(*params));
            return route.handler(exchange);
        }
    }
    return std::nullopt;
}
