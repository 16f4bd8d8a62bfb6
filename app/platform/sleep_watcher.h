// The end of a suspend, as logind announces it on the system bus (`PrepareForSleep(false)`).
// Without a system bus, or without logind on it, nothing is ever reported. Lives on the thread
// that creates it.
#pragma once

#include <QObject>
#include <functional>

namespace scrawlet::platform {

class SleepWatcher : public QObject {
    Q_OBJECT
  public:
    explicit SleepWatcher(std::function<void()> woke);
    // Whether the system bus answered; false leaves the watcher silent.
    bool listening() const { return listening_; }

  private slots:
    void prepareForSleep(bool sleeping);

  private:
    std::function<void()> woke_;
    bool listening_ = false;
};

}  // namespace scrawlet::platform
