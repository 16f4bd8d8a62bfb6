// One draw-mode run per X screen and user. The first run holds the lock for its lifetime; a
// later launch finds it held, asks the holder to show itself and is expected to exit.
//
// The lock lives in the display server, not in a file, so a run that crashed never leaves a
// stale one: the server drops it with the crashed run's connection. Main thread only.
#pragma once

#include <QObject>
#include <memory>

namespace scrawlet::platform {

class InstanceLock : public QObject {
    Q_OBJECT

  public:
    using QObject::QObject;

  signals:
    // A later launch asked this run to show itself.
    void showRequested();
};

struct InstanceClaim {
    // Another run holds the lock and was asked to show itself; this one should not start.
    bool heldElsewhere = false;
    // Held for the run; empty when held elsewhere or when the platform cannot lock (then the
    // run goes on without the guard).
    std::unique_ptr<InstanceLock> lock;
};

}  // namespace scrawlet::platform
