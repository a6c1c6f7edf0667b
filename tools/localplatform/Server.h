#pragma once

#include "Destinations.h"
#include "FaultPlan.h"
#include "Generation.h"
#include "RequestLog.h"
#include "RouteTable.h"
#include "Store.h"
#include "Switches.h"

#include <filesystem>
#include <memory>
#include <string>

namespace httplib {
class Server;
struct Request;
struct Response;
class ContentReader;
} // namespace httplib

// The local platform over HTTP: every request goes through one dispatcher, which logs it, applies an injected
// fault, and finds its route among the control, platform and destination routes.
class Server {
public:
    struct Options {
        std::string host = "127.0.0.1";
        int port = 7440; // 0: a free port
        std::filesystem::path dataDir;
        bool appPaths = false;
    };

    explicit Server(const Options& options);
    ~Server();

    // The port bound; -1 when binding failed.
    int bind();
    // Serves until the process ends; returns only when the socket failed.
    void listen();

private:
    void handle(const httplib::Request& request, httplib::Response& response,
                const httplib::ContentReader* reader);
    Reply answer(Exchange& exchange);
    Reply route(Exchange& exchange);

    Options m_options;
    Store m_store;
    FaultPlan m_faults;
    Generation m_generation;
    RequestLog m_log;
    Switches m_switches;
    Destinations m_destinations;
    RouteTable m_control;
    RouteTable m_platform;
    RouteTable m_inDestination;
    std::unique_ptr<httplib::Server> m_http;
};
