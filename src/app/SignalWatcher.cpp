#include "SignalWatcher.h"

#include <QSocketNotifier>

#include <csignal>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sonvale {

namespace {

// A signal handler may only write to a descriptor; the main loop reads the other end.
int fds[2] = {-1, -1};
constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

void onSignal(int number) {
    const unsigned char byte = static_cast<unsigned char>(number);
    [[maybe_unused]] const ssize_t written = ::write(fds[0], &byte, 1);
}

}  // namespace

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds) != 0) return;
    notifier_ = new QSocketNotifier(fds[1], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        while (::read(fds[1], &byte, 1) == 1) emit terminationRequested(byte);
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int number : kSignals) sigaction(number, &action, nullptr);
}

SignalWatcher::~SignalWatcher() {
    for (const int number : kSignals) std::signal(number, SIG_DFL);
    delete notifier_;
    for (int& fd : fds) {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
}

}  // namespace sonvale
