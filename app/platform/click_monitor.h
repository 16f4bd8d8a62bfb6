// Every mouse-button press on the display, whichever window it lands in. It only observes:
// the press still reaches its window. `start` fails with a sentence for standard error when
// the display server cannot report presses (no XInput 2.1). Main thread only; the handler runs
// on the main event loop with the button's number (1 left, 2 middle, 3 right, …).
#pragma once

#include <expected>
#include <functional>
#include <string>

namespace scrawlet::platform {

class ClickMonitor {
  public:
    virtual ~ClickMonitor() = default;

    // Starting a started monitor, or stopping a stopped one, does nothing.
    virtual std::expected<void, std::string> start() = 0;
    virtual void stop() = 0;

    void setOnClick(std::function<void(int button)> handler) { onClick_ = std::move(handler); }

  protected:
    std::function<void(int button)> onClick_;
};

}  // namespace scrawlet::platform
