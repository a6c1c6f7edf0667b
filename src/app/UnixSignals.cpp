#include "app/UnixSignals.h"

#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int pipeFds[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    // Only write(2) is safe here; the main loop reads the byte.
    [[maybe_unused]] const auto n = ::write(pipeFds[1], &byte, 1);
}
} // namespace

UnixSignals::UnixSignals(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, pipeFds) != 0) return;
    m_notifier = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        char byte;
        [[maybe_unused]] const auto n = ::read(pipeFds[0], &byte, 1);
        emit terminationRequested();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}
