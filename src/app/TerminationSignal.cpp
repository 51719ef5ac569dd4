#include "app/TerminationSignal.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace TerminationSignal {
namespace {

int pipeEnds[2] = {-1, -1};
QSocketNotifier* notifier = nullptr; // lives as long as the process

std::function<void()>& handlerSlot() {
    static std::function<void()> handler;
    return handler;
}

// Runs in signal context: only write() is safe here.
void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(pipeEnds[0], &byte, 1);
}

} // namespace

void install(std::function<void()> handler) {
    handlerSlot() = std::move(handler);
    if (pipeEnds[0] != -1) {
        return;
    }
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pipeEnds) != 0) {
        return;
    }
    notifier = new QSocketNotifier(pipeEnds[1], QSocketNotifier::Read);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [] {
        char buffer[16];
        while (::read(pipeEnds[1], buffer, sizeof buffer) > 0) {
        }
        if (auto& handler = handlerSlot()) {
            handler();
        }
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
}

} // namespace TerminationSignal
