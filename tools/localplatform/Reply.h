#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <stdexcept>
#include <string>

// What a route answers.
struct Reply {
    int status = 200;
    std::string body;
    std::string contentType = "application/json";

    static Reply json(const QJsonObject& object, int status = 200);
    static Reply json(const QJsonArray& list, int status = 200);
    // {"error": message}, the shape the client reads a refusal from.
    static Reply error(int status, const std::string& message);
    static Reply html(std::string page, int status = 200);
};

// A refusal thrown from anywhere below a route (a missing key, a bad body); the dispatcher answers it.
struct HttpError : std::runtime_error {
    HttpError(int status, const std::string& message) : std::runtime_error(message), status(status) {}
    int status;
};
