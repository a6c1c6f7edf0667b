#pragma once

#include "Server.h"

#include <optional>
#include <string>
#include <vector>

// The server's options from its arguments; an error text for anything it does not know.
struct CommandLine {
    Server::Options options;
    std::string error;
    bool help = false;

    static CommandLine parse(const std::vector<std::string>& arguments);
    static const char* usage();
};
