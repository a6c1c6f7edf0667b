#pragma once

#include <filesystem>

class FaultPlan;
class Generation;
class RequestLog;
class RouteTable;
class Store;

// Each adds one family of routes. appPaths leaves out the platform's /api/v1 and /device routes.
void addAccountRoutes(RouteTable& routes, Store& store, bool appPaths);
void addDeviceRoutes(RouteTable& routes, RouteTable& control, Store& store, bool appPaths);
// Paths inside a destination ("/my/todos"), served under every root of Destinations.
void addDestinationRoutes(RouteTable& routes, Store& store, const Generation& generation,
                          const std::filesystem::path& audioDir);
void addControlRoutes(RouteTable& control, Store& store, FaultPlan& faults, RequestLog& log, Generation& generation);
