#pragma once

#include "PathPattern.h"

#include <QJsonObject>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace httplib {
struct Request;
class ContentReader;
} // namespace httplib

// The destination a route runs in: the key its rows are stored under, and who the caller is there.
struct Destination {
    enum class Kind { Project, Personal, Legacy };

    std::string scope;
    std::string ego;
    Kind kind = Kind::Legacy;
    std::string name; // the project's slug or the legacy workspace's name; empty in Personal
    std::optional<std::int64_t> account; // the caller's platform account; none in a legacy workspace
};

// One request as the routes see it. The body is read once, either whole or streamed; whatever a route leaves
// unread is drained by `finish`, which keeps the connection in step for the next request.
class Exchange {
public:
    using Sink = std::function<bool(const char* data, std::size_t size)>;

    // `reader` is there for methods with a body that may be streamed; without it the body has been read
    // already.
    Exchange(const httplib::Request& request, const httplib::ContentReader* reader);

    const std::string& method() const;
    const std::string& path() const;
    // The path and query as the client sent them, still percent-encoded.
    const std::string& target() const;
    std::string header(const std::string& name) const;
    std::string query(const std::string& name) const;
    // The key after "Bearer " in Authorization; empty when there is none.
    std::string bearer() const;
    // The value of the named cookie in the Cookie header; empty when it is not there.
    std::string cookie(std::string_view name) const;
    bool fromLoopback() const;

    const std::string& param(std::string_view name) const;
    void setParams(PathParams params) { m_params = std::move(params); }
    const Destination& destination() const { return *m_destination; }
    void setDestination(Destination destination) { m_destination = std::move(destination); }

    const std::string& body();
    // The body as a JSON object; an empty body is an empty object, anything else that is not one answers 400.
    QJsonObject json();
    // The fields of a form-encoded body, decoded; the first of each name.
    std::map<std::string, std::string> form();
    // Streams the body into the sink; the number of bytes.
    std::uint64_t receive(const Sink& sink);
    // Reads what is left; the whole body's size.
    std::uint64_t finish();

private:
    const httplib::Request& m_request;
    const httplib::ContentReader* m_reader;
    bool m_consumed;
    std::uint64_t m_received = 0;
    std::string m_body;
    PathParams m_params;
    std::optional<Destination> m_destination;
};
