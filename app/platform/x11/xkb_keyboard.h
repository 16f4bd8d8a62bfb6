// The user's keyboard as xkbcommon compiles it, with the modifier and layout state the X server
// reports: turns a key code into the key without modifiers in the active layout, and says which
// modifiers are held. Holds no connection, so it is built from layout names in tests.
// Main thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "core/keystroke_label.h"

struct xkb_keymap;
struct xkb_state;

namespace scrawlet::platform::x11 {

class XkbKeyboard {
  public:
    // Compiled from the system's layout data ("us", "de", "us,ru"); nothing when that fails.
    static std::optional<XkbKeyboard> fromNames(std::string_view layout,
                                                std::string_view variant = "");
    // Takes both; the state must belong to the keymap.
    XkbKeyboard(xkb_keymap* keymap, xkb_state* state);

    // As an XKB state event carries it: modifier masks and layout (group) indices.
    void updateState(std::uint32_t baseModifiers, std::uint32_t latchedModifiers,
                     std::uint32_t lockedModifiers, std::int32_t baseLayout,
                     std::int32_t latchedLayout, std::int32_t lockedLayout);

    core::KeystrokeKey key(std::uint32_t keycode) const;
    core::KeystrokeModifiers modifiers() const;

  private:
    struct KeymapDeleter {
        void operator()(xkb_keymap* keymap) const;
    };
    struct StateDeleter {
        void operator()(xkb_state* state) const;
    };

    std::unique_ptr<xkb_keymap, KeymapDeleter> keymap_;
    std::unique_ptr<xkb_state, StateDeleter> state_;
    // The layout and lock keys of `state_` without the held modifiers, for "the key alone".
    std::unique_ptr<xkb_state, StateDeleter> plain_;
};

}  // namespace scrawlet::platform::x11
