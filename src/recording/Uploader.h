#pragma once

#include "recording/Session.h"
#include "server/API.h"

#include <QCoroTask>
#include <functional>
#include <memory>
#include <optional>

// Delivers a session to one destination in up to three steps: create the call, send the audio, start the
// notes. Each finished step is saved in meta.json at once, so the next attempt continues where this one
// stopped.
namespace Uploader {

struct Options {
    bool process = true;    // ask the server to start processing
    bool keepFiles = false; // keep the folder after delivery
    std::function<void(const QString&)> progress;
};

// The server's call id. Any failure is saved as the session's lastError and rethrown.
QCoro::Task<QString> upload(std::shared_ptr<Session> session, API api, std::optional<QString> selfName,
                            Options options = {});

} // namespace Uploader
