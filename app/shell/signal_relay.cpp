#include "app/shell/signal_relay.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace scrawlet::shell {
namespace {

// The write end, for the handler: a plain int is all it may touch.
volatile sig_atomic_t relayWriteFd = -1;

void relaySignal(int signal) {
    const int savedErrno = errno;
    const unsigned char number = static_cast<unsigned char>(signal);
    // A full pipe drops the signal; the next one gets through.
    [[maybe_unused]] const auto written = ::write(relayWriteFd, &number, 1);
    errno = savedErrno;
}

}  // namespace

SignalRelay::SignalRelay() {
    if (::pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) {
        pipe_[0] = pipe_[1] = -1;
        return;
    }
    relayWriteFd = pipe_[1];
    notifier_ = std::make_unique<QSocketNotifier>(pipe_[0], QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { drain(); });
}

SignalRelay::~SignalRelay() {
    for (const auto& [signal, handler] : handlers_) {
        std::signal(signal, SIG_DFL);
    }
    relayWriteFd = -1;
    notifier_.reset();
    for (const int fd : pipe_) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

bool SignalRelay::install(int signal, std::function<void()> handler) {
    // Blocked since main began (or by the parent): one that came meanwhile arrives when this
    // unblocks it, through the relay or, when the relay cannot take it, by its default action,
    // so that a run that cannot relay SIGTERM still ends on it.
    sigset_t unblock;
    sigemptyset(&unblock);
    sigaddset(&unblock, signal);
    struct sigaction action {};
    action.sa_handler = relaySignal;
    // No nesting: a second signal arriving inside the handler would be written first and
    // reach the application out of order.
    sigfillset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    if (pipe_[1] < 0 || ::sigaction(signal, &action, nullptr) != 0) {
        ::pthread_sigmask(SIG_UNBLOCK, &unblock, nullptr);
        return false;
    }
    handlers_[signal] = std::move(handler);
    ::pthread_sigmask(SIG_UNBLOCK, &unblock, nullptr);
    return true;
}

void SignalRelay::drain() {
    unsigned char numbers[64];
    for (ssize_t n; (n = ::read(pipe_[0], numbers, sizeof numbers)) > 0;) {
        for (ssize_t i = 0; i < n; ++i) {
            if (const auto it = handlers_.find(numbers[i]); it != handlers_.end()) {
                it->second();
            }
        }
    }
}

}  // namespace scrawlet::shell
