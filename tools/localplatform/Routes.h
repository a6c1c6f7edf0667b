#pragma once

#include <filesystem>

class FaultPlan;
class Generation;
class RequestLog;
class RouteTable;
class Store;
class Switches;

// Each adds one family of routes. appPaths leaves out the platform's /api/v1 and /device routes.
void addAccountRoutes(RouteTable& routes, Store& store, bool appPaths);
void addDeviceRoutes(RouteTable& routes, RouteTable& control, Store& store, bool appPaths);
// Paths inside a destination ("/my/todos"), served under every root of Destinations; the end-of-day jobs go
// as the switches script them.
void addDestinationRoutes(RouteTable& routes, Store& store, const Generation& generation,
                          const Switches& switches);
// The calls, stored with their audio under audioDir, their moves and the route scores; inside a destination
// too.
void addCallRoutes(RouteTable& routes, Store& store, const Switches& switches,
                   const std::filesystem::path& audioDir);
// Live tips from the new text of a recording, inside a destination.
void addCoachRoutes(RouteTable& routes, const Switches& switches);
// The web pages, the sign-in form and the one-time web login, with their sessions in the store.
void addWebRoutes(RouteTable& routes, RouteTable& control, Store& store);
void addControlRoutes(RouteTable& control, Store& store, FaultPlan& faults, RequestLog& log,
                      Switches& switches, Generation& generation);
