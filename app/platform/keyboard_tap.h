// Takes the whole keyboard from every application while it runs: presses are reported here
// and reach no window, whichever has the focus. Observers of raw keys (the key monitor) still
// see them. `start` fails with a sentence for standard error when another client holds the
// keyboard. Main thread only; the handler runs on the main event loop.
#pragma once

#include <expected>
#include <functional>
#include <string>

namespace scrawlet::platform {

class KeyboardTap {
  public:
    virtual ~KeyboardTap() = default;

    // Starting a started tap, or stopping a stopped one, does nothing.
    virtual std::expected<void, std::string> start() = 0;
    virtual void stop() = 0;

    void setOnKeyPress(std::function<void()> handler) { onKeyPress_ = std::move(handler); }

  protected:
    std::function<void()> onKeyPress_;
};

}  // namespace scrawlet::platform
