// Tells, without taking anything from other applications, when the pointer moves or a button
// is pressed anywhere on the desktop. Nothing is delivered, and nothing wakes the process,
// while the monitor is not watching. Events carry no position: ask for it when one arrives.
// Main thread only; the callbacks run on the main event loop.
#pragma once

#include <expected>
#include <functional>
#include <string>

namespace scrawlet::platform {

class PointerMonitor {
  public:
    enum class Button { left, right, other };
    using MotionHandler = std::function<void()>;
    using PressHandler = std::function<void(Button)>;

    virtual ~PointerMonitor() = default;

    // The error says why nothing will be delivered.
    virtual std::expected<void, std::string> setWatching(bool watching) = 0;

    void setOnMotion(MotionHandler handler) { onMotion_ = std::move(handler); }
    void setOnPress(PressHandler handler) { onPress_ = std::move(handler); }

  protected:
    MotionHandler onMotion_;
    PressHandler onPress_;
};

}  // namespace scrawlet::platform
