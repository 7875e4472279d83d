#include "shell/app/QuitSignals.h"

#include <QSocketNotifier>
#include <atomic>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace vantrel {

namespace {

int signalPipe[2] = {-1, -1};
std::atomic<int> received{0};

void onQuitSignal(int) {
    // The files written so far stay playable: they are fragmented as they go.
    if (received.fetch_add(1) > 0) _exit(130);
    const char byte = 1;
    [[maybe_unused]] auto written = ::write(signalPipe[1], &byte, 1);
}

} // namespace

QuitSignals::QuitSignals() {
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0) return;
    notifier_ = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char byte;
        [[maybe_unused]] auto read = ::read(signalPipe[0], &byte, 1);
        emit quitRequested();
    });
    struct sigaction action {};
    action.sa_handler = onQuitSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

QuitSignals::~QuitSignals() {
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
}

} // namespace vantrel
