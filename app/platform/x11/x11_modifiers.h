// The X11 core protocol's modifier bits and the chords of key events.
#pragma once

#include <cstdint>
#include <optional>

#include "core/chord.h"

namespace scrawlet::platform::x11 {

// X11 core-protocol modifier bits (ShiftMask, ControlMask, Mod1Mask, Mod4Mask).
inline constexpr std::uint16_t kX11ShiftMask = 1 << 0;
inline constexpr std::uint16_t kX11ControlMask = 1 << 2;
inline constexpr std::uint16_t kX11Mod1Mask = 1 << 3;
inline constexpr std::uint16_t kX11Mod4Mask = 1 << 6;

// The mask to grab a chord with, before adding the lock-key variants.
std::uint16_t x11ModifierMask(core::Chord::Modifiers modifiers);

// From a key event's state field; lock keys, Mod2/3/5 and button bits are ignored.
core::Chord::Modifiers modifiersFromX11State(std::uint16_t state);

// None when the event's unshifted keysym has no ChordKey (function keys, arrows, keypad).
std::optional<core::Chord> chordFromX11KeyEvent(std::uint32_t unshiftedKeysym, std::uint16_t state);

}  // namespace scrawlet::platform::x11
