#include "CommandLine.h"

#include <charconv>
#include <cstdlib>

namespace {

// Where the run script keeps its data too, so the two meet without flags.
std::filesystem::path defaultDataDir() {
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    const std::filesystem::path base = dataHome && *dataHome
                                           ? std::filesystem::path(dataHome)
                                           : std::filesystem::path(home ? home : ".") / ".local/share";
    return base / "Orvane" / "localplatform";
}

std::optional<int> portFrom(const std::string& text) {
    int port = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port < 0 || port > 65535)
        return std::nullopt;
    return port;
}

} // namespace

CommandLine CommandLine::parse(const std::vector<std::string>& arguments) {
    CommandLine result;
    result.options.dataDir = defaultDataDir();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (argument == "--help" || argument == "-h") {
            result.help = true;
        } else if (argument == "--app-paths") {
            result.options.appPaths = true;
        } else if ((argument == "--port" || argument == "--bind" || argument == "--data") && !hasValue) {
            result.error = argument + " needs a value";
        } else if (argument == "--port") {
            const std::optional<int> port = portFrom(arguments[++i]);
            if (!port) result.error = "--port takes a number from 0 to 65535";
            result.options.port = port.value_or(-1);
        } else if (argument == "--bind") {
            result.options.host = arguments[++i];
        } else if (argument == "--data") {
            result.options.dataDir = arguments[++i];
        } else {
            result.error = "unknown argument " + argument;
        }
        if (!result.error.empty()) break;
    }
    return result;
}

const char* CommandLine::usage() {
    return "usage: orvane-localplatform [--port N] [--bind ADDRESS] [--data DIR] [--app-paths]\n"
           "  --port N       port to listen on (default 7440; 0 picks a free one)\n"
           "  --bind ADDRESS address to listen on (default 127.0.0.1)\n"
           "  --data DIR     folder of the database and uploaded files (created if missing)\n"
           "  --app-paths    serve only the local /app routes, as a platform without /api/v1\n";
}
