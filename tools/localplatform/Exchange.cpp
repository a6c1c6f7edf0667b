#include "Exchange.h"

#include "Reply.h"

#include <QJsonDocument>
#include <httplib.h>

namespace {

// A request with neither length nor chunks has no body (RFC 9112 6.3). The library would read one up to the
// connection's end, which a client that keeps the connection open for its next request never sends.
bool hasBody(const httplib::Request& request) {
    return request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
}

} // namespace

Exchange::Exchange(const httplib::Request& request, const httplib::ContentReader* reader)
    : m_request(request), m_reader(reader), m_consumed(reader == nullptr || !hasBody(request)),
      m_received(request.body.size()), m_body(request.body) {}

const std::string& Exchange::method() const {
    return m_request.method;
}

const std::string& Exchange::path() const {
    return m_request.path;
}

const std::string& Exchange::target() const {
    return m_request.target;
}

std::string Exchange::header(const std::string& name) const {
    return m_request.get_header_value(name.c_str());
}

std::string Exchange::query(const std::string& name) const {
    return m_request.get_param_value(name.c_str());
}

std::string Exchange::bearer() const {
    static constexpr std::string_view scheme = "Bearer ";
    const std::string authorization = header("Authorization");
    return authorization.starts_with(scheme) ? authorization.substr(scheme.size()) : std::string();
}

std::string Exchange::cookie(std::string_view name) const {
    // "a=1; b=2": pairs apart by semicolons, blanks around them.
    const std::string cookies = header("Cookie");
    std::string_view rest = cookies;
    while (!rest.empty()) {
        const std::size_t end = rest.find(';');
        std::string_view pair = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        while (pair.starts_with(' '))
            pair.remove_prefix(1);
        if (pair.starts_with(name) && pair.substr(name.size()).starts_with('='))
            return std::string(pair.substr(name.size() + 1));
    }
    return {};
}

bool Exchange::fromLoopback() const {
    const std::string& from = m_request.remote_addr;
    return from == "127.0.0.1" || from == "::1" || from == "::ffff:127.0.0.1";
}

const std::string& Exchange::param(std::string_view name) const {
    static const std::string none;
    const auto found = m_params.find(name);
    return found == m_params.end() ? none : found->second;
}

const std::string& Exchange::body() {
    receive([this](const char* data, std::size_t size) {
        m_body.append(data, size);
        return true;
    });
    return m_body;
}

QJsonObject Exchange::json() {
    const std::string& text = body();
    if (text.empty()) return {};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        throw HttpError(400, "the body is not a JSON object");
    return document.object();
}

std::map<std::string, std::string> Exchange::form() {
    httplib::Params fields;
    httplib::detail::parse_query_text(body(), fields);
    return {fields.begin(), fields.end()};
}

std::uint64_t Exchange::receive(const Sink& sink) {
    if (m_consumed) return 0;
    m_consumed = true;
    std::uint64_t size = 0;
    (*m_reader)([&](const char* data, std::size_t length) {
        size += length;
        return sink(data, length);
    });
    m_received += size;
    return size;
}

std::uint64_t Exchange::finish() {
    receive([](const char*, std::size_t) { return true; });
    return m_received;
}
