#include "Server.h"

#include "Routes.h"

#include <httplib.h>
#include <thread>

namespace {

const std::string controlPrefix = "/__control/";

Reply faultReply(const Fault& fault) {
    return {fault.status, fault.body, fault.contentType};
}

// Declares the reply's length, sends its shorter body and then refuses the rest, which closes the connection.
void sendCut(httplib::Response& response, Reply reply) {
    response.set_content_provider(
        std::size_t(*reply.declaredLength), reply.contentType,
        [body = std::move(reply.body)](std::size_t offset, std::size_t, httplib::DataSink& sink) {
            return offset < body.size() && sink.write(body.data() + offset, body.size() - offset);
        });
}

} // namespace

Server::Server(const Options& options)
    : m_options(options), m_store((options.dataDir / "platform.sqlite").string()),
      m_destinations(m_store, options.appPaths), m_http(std::make_unique<httplib::Server>()) {
    addControlRoutes(m_control, m_store, m_faults, m_log, m_switches, m_generation);
    addAccountRoutes(m_platform, m_store, options.appPaths);
    addDeviceRoutes(m_platform, m_control, m_store, options.appPaths);
    addWebRoutes(m_platform, m_control, m_store);
    addDestinationRoutes(m_inDestination, m_store, m_generation, m_switches);
    addCallRoutes(m_inDestination, m_store, m_switches, options.dataDir / "audio");
    addCoachRoutes(m_inDestination, m_switches);

    // Every method goes to the one dispatcher; methods that carry a body get its reader, so uploads stream.
    const auto plain = [this](const httplib::Request& request, httplib::Response& response) {
        handle(request, response, nullptr);
    };
    const auto withBody = [this](const httplib::Request& request, httplib::Response& response,
                                 const httplib::ContentReader& reader) {
        handle(request, response, &reader);
    };
    m_http->Get(".*", plain);
    m_http->Post(".*", withBody);
    m_http->Put(".*", withBody);
    m_http->Patch(".*", withBody);
    m_http->Delete(".*", withBody);
}

Server::~Server() = default;

int Server::bind() {
    if (m_options.port == 0) return m_http->bind_to_any_port(m_options.host);
    return m_http->bind_to_port(m_options.host, m_options.port) ? m_options.port : -1;
}

void Server::listen() {
    m_http->listen_after_bind();
}

void Server::handle(const httplib::Request& request, httplib::Response& response,
                    const httplib::ContentReader* reader) {
    Exchange exchange(request, reader);
    const bool control = request.path.starts_with(controlPrefix);
    // The control routes stay out of the log, which shows what the app under test sent.
    std::optional<std::size_t> logged;
    if (!control)
        logged =
            m_log.add({request.method, request.path, {request.headers.begin(), request.headers.end()}, 0});

    Reply reply;
    try {
        reply = answer(exchange);
    } catch (const HttpError& refusal) {
        reply = Reply::error(refusal.status, refusal.what());
    } catch (const std::exception& failure) {
        reply = Reply::error(500, failure.what());
    }
    const std::uint64_t bodySize = exchange.finish();
    if (logged) m_log.setBodySize(*logged, bodySize);
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers)
        response.set_header(name, value);
    if (reply.declaredLength)
        sendCut(response, std::move(reply));
    else
        response.set_content(reply.body, reply.contentType.c_str());
}

Reply Server::answer(Exchange& exchange) {
    if (exchange.path().starts_with(controlPrefix)) {
        if (!exchange.fromLoopback()) return Reply::error(403, "control routes answer only on this machine");
        return m_control.dispatch(exchange, exchange.path()).value_or(Reply::error(404, "not found"));
    }
    const std::optional<Fault> fault = m_faults.take(exchange.method(), exchange.path());
    if (fault && !fault->holdUntil.empty() && !m_log.waitFor(fault->holdUntil, Fault::holdLimit))
        return Reply::error(504, "held for " + fault->holdUntil + ", which never came");
    if (fault && fault->delay.count() > 0) std::this_thread::sleep_for(fault->delay);
    if (fault && fault->status != 0) return faultReply(*fault);
    return route(exchange);
}

Reply Server::route(Exchange& exchange) {
    if (std::optional<Reply> reply = m_platform.dispatch(exchange, exchange.path())) return std::move(*reply);
    if (const std::optional<std::string> inside = m_destinations.enter(exchange)) {
        if (std::optional<Reply> reply = m_inDestination.dispatch(exchange, *inside))
            return std::move(*reply);
    }
    return Reply::error(404, "not found");
}
