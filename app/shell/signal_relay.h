// Turns POSIX signals into main-thread calls.
//
// The handler only writes the signal number into a pipe; a socket notifier on the main thread
// reads it and calls the registered function, so no application code ever runs inside a
// signal handler. One relay per process. Main thread only (apart from the handler itself).
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <csignal>
#include <functional>
#include <map>
#include <memory>

namespace scrawlet::shell {

class SignalRelay : public QObject {
    Q_OBJECT

  public:
    // The signals a run handles; main blocks them from its first line until `install`.
    // SIGPWR stands in for SIGINFO, which Linux lacks.
    static constexpr int kRunSignals[] = {SIGUSR1, SIGUSR2, SIGINT, SIGTERM, SIGPWR};

    SignalRelay();
    ~SignalRelay() override;
    SignalRelay(const SignalRelay&) = delete;
    SignalRelay& operator=(const SignalRelay&) = delete;

    // Routes `signal` to `handler` on the main thread; false when the signal cannot be caught.
    bool install(int signal, std::function<void()> handler);

  private:
    void drain();

    int pipe_[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> notifier_;
    std::map<int, std::function<void()>> handlers_;
};

}  // namespace scrawlet::shell
