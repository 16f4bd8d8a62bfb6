// Every key pressed on the keyboard, whichever window has the focus: this application's own
// and every other one's. It only observes: the keys still reach their application.
//
// Each press is reported with the key as the user's current layout has it without modifiers
// (its keysym and the upper-case text it types) and the modifiers held at that moment, so a
// caption follows a layout switch or a new keyboard. Auto-repeat is reported like any press.
// `start` fails with a sentence for standard error when the display server cannot report keys
// (no XInput 2 or XKB). Main thread only; the handler runs on the main event loop.
#pragma once

#include <expected>
#include <functional>
#include <string>

#include "core/keystroke_label.h"

namespace scrawlet::platform {

struct KeyPress {
    core::KeystrokeKey key;
    core::KeystrokeModifiers modifiers;
    // Monotonic seconds at which the press reached this process.
    double receivedAtSeconds = 0;
};

class KeyMonitor {
  public:
    using Handler = std::function<void(const KeyPress&)>;

    virtual ~KeyMonitor() = default;

    // Starting a started monitor, or stopping a stopped one, does nothing.
    virtual std::expected<void, std::string> start() = 0;
    virtual void stop() = 0;

    void setOnKeyPress(Handler handler) { onKeyPress_ = std::move(handler); }

  protected:
    Handler onKeyPress_;
};

}  // namespace scrawlet::platform
