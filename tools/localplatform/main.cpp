// orvane-localplatform: the team platform's HTTP API on this machine, for development, the run script and
// tests.
#include "CommandLine.h"
#include "Server.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <pthread.h>
#include <thread>

int main(int argc, char** argv) {
    // Blocked before any thread starts, so that they reach the waiter below and no other thread.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    const CommandLine commandLine = CommandLine::parse({argv + 1, argv + argc});
    if (commandLine.help) {
        std::cout << CommandLine::usage();
        return 0;
    }
    if (!commandLine.error.empty()) {
        std::cerr << "orvane-localplatform: " << commandLine.error << "\n" << CommandLine::usage();
        return 2;
    }
    const Server::Options& options = commandLine.options;
    try {
        std::filesystem::create_directories(options.dataDir);
        Server server(options);
        const int port = server.bind();
        if (port < 0) {
            std::cerr << "orvane-localplatform: cannot listen on " << options.host << ":" << options.port
                      << "\n";
            return 1;
        }
        // Scripts and tests read the chosen port from this line.
        std::cout << "listening on http://" << options.host << ":" << port << std::endl;

        // Clients keep idle connections open, and the worker pool would wait seconds for each of them to time
        // out. Every answered write is a committed SQLite transaction and SQLite keeps its file whole through
        // an abrupt end, so a stop ends the process at once.
        std::thread([&stopSignals] {
            int signal = 0;
            sigwait(&stopSignals, &signal);
            std::_Exit(0);
        }).detach();
        server.listen();
        std::cerr << "orvane-localplatform: the listening socket failed\n";
        return 1;
    } catch (const std::exception& failure) {
        std::cerr << "orvane-localplatform: " << failure.what() << "\n";
        return 1;
    }
}
