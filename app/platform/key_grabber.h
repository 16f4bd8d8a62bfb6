// System-wide keyboard shortcuts: a chord taken from every other application while it is held.
//
// The owner names each grab with a number of its own and gets that number back when the chord is
// pressed. A grab is all or nothing: it either takes the chord whatever the lock keys (Caps Lock,
// Num Lock) are doing, or takes nothing. Holding the chord reports one press, not its
// auto-repeat. While a window of this application holds the keyboard, as a text session's does,
// the system activates no grab; a chord held with a modifier other than Shift is still reported,
// and bare or shifted keys stay with that window. When the keyboard mapping changes, the grabs
// still name the old keys; the owner is told and is expected to release and take them again. Main
// thread only; the callbacks run on the main event loop and may grab and release.
#pragma once

#include <cstdint>
#include <expected>
#include <functional>

#include "core/chord.h"

namespace scrawlet::platform {

struct GrabFailure {
    enum class Kind {
        noKeyCode,  // no key of the current keyboard mapping types the chord's key
        refused,    // the display server said no; `status` is its error code
    };
    Kind kind = Kind::refused;
    int status = 0;

    bool operator==(const GrabFailure&) const = default;
};

// X11's BadAccess: the chord is grabbed already, by another client or by another of our grabs.
inline constexpr int kGrabStatusTaken = 10;

class KeyGrabber {
  public:
    // Returns whether the press was one the owner acts on; unhandled presses travel on.
    using PressHandler = std::function<bool(std::uint32_t id)>;
    using MappingHandler = std::function<void()>;

    virtual ~KeyGrabber() = default;

    // `id` must not be held by another grab of this grabber.
    virtual std::expected<void, GrabFailure> grab(std::uint32_t id, const core::Chord& chord) = 0;
    // Unknown ids are ignored.
    virtual void ungrab(std::uint32_t id) = 0;

    void setOnPress(PressHandler handler) { onPress_ = std::move(handler); }
    void setOnMappingChange(MappingHandler handler) { onMappingChange_ = std::move(handler); }

  protected:
    PressHandler onPress_;
    MappingHandler onMappingChange_;
};

}  // namespace scrawlet::platform
