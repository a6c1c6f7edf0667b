#pragma once

#include <QString>
#include <stdexcept>

// Every failure of a server call, as one type: the HTTP status (0 when no HTTP answer came) and a text.
struct APIError : std::runtime_error {
    APIError(int status, QString message);

    int status = 0;
    QString message;

    // "<message> (HTTP <status>)", or the message alone for status 0.
    QString errorDescription() const;
    // The server lacks this endpoint: callers tell it from a real failure.
    bool isMissing() const { return status == 404; }

    bool operator==(const APIError& other) const {
        return status == other.status && message == other.message;
    }
};

// The standard phrase for an HTTP status, as the system's HTTP library words it ("not found").
QString httpStatusPhrase(int status);
