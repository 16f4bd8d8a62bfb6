// Hands the pointer's global position to the aids that follow it, once per batch of pointer
// movement, while at least one of them wants it. Driven by the platform's pointer monitor, so a
// still pointer wakes nothing; without a monitor a clock at the screen's refresh runs instead,
// and only while wanted. Button presses reach the listeners that asked for them.
// Main thread only.
#pragma once

#include <QObject>
#include <QPoint>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

#include "app/platform/pointer_monitor.h"

namespace scrawlet::aids {

class PointerFollower : public QObject {
  public:
    using Moved = std::function<void(QPoint)>;
    using Pressed = std::function<void(QPoint, platform::PointerMonitor::Button)>;

    // `monitor` may be null.
    explicit PointerFollower(std::unique_ptr<platform::PointerMonitor> monitor);
    ~PointerFollower() override;

    // Returns the listener's number for `setWanted`.
    std::size_t add(Moved moved, Pressed pressed = {});
    void setWanted(std::size_t listener, bool wanted);

    static QPoint position();

  private:
    struct Listener {
        Moved moved;
        Pressed pressed;
        bool wanted = false;
    };
    void motion();
    void deliver();
    void press(platform::PointerMonitor::Button button);
    void watch();

    std::unique_ptr<platform::PointerMonitor> monitor_;
    std::vector<Listener> listeners_;
    QTimer clock_;
    bool watching_ = false;
    bool deliveryPosted_ = false;
};

}  // namespace scrawlet::aids
