#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// What a route answers.
struct Reply {
    int status = 200;
    std::string body;
    std::string contentType = "application/json";
    std::vector<std::pair<std::string, std::string>> headers;
    // A length declared beyond the body's: the body goes out, then the connection closes, cut mid-body.
    std::optional<std::uint64_t> declaredLength;

    static Reply json(const QJsonObject& object, int status = 200);
    static Reply json(const QJsonArray& list, int status = 200);
    // {"error": message}, the shape the client reads a refusal from.
    static Reply error(int status, const std::string& message);
    static Reply html(std::string page, int status = 200);
    static Reply redirect(int status, std::string location);

    Reply& withHeader(std::string name, std::string value) {
        headers.emplace_back(std::move(name), std::move(value));
        return *this;
    }
};

// A refusal thrown from anywhere below a route (a missing key, a bad body); the dispatcher answers it.
struct HttpError : std::runtime_error {
    HttpError(int status, const std::string& message) : std::runtime_error(message), status(status) {}
    int status;
};
