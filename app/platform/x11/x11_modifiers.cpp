#include "app/platform/x11/x11_modifiers.h"

#include "core/chord_key.h"

namespace scrawlet::platform::x11 {

std::uint16_t x11ModifierMask(core::Chord::Modifiers modifiers) {
    std::uint16_t mask = 0;
    if (modifiers.contains(core::Chord::Modifiers::command)) {
        mask |= kX11Mod4Mask;
    }
    if (modifiers.contains(core::Chord::Modifiers::shift)) {
        mask |= kX11ShiftMask;
    }
    if (modifiers.contains(core::Chord::Modifiers::option)) {
        mask |= kX11Mod1Mask;
    }
    if (modifiers.contains(core::Chord::Modifiers::control)) {
        mask |= kX11ControlMask;
    }
    return mask;
}

core::Chord::Modifiers modifiersFromX11State(std::uint16_t state) {
    core::Chord::Modifiers modifiers;
    if ((state & kX11Mod4Mask) != 0) {
        modifiers |= core::Chord::Modifiers::command;
    }
    if ((state & kX11ShiftMask) != 0) {
        modifiers |= core::Chord::Modifiers::shift;
    }
    if ((state & kX11Mod1Mask) != 0) {
        modifiers |= core::Chord::Modifiers::option;
    }
    if ((state & kX11ControlMask) != 0) {
        modifiers |= core::Chord::Modifiers::control;
    }
    return modifiers;
}

std::optional<core::Chord> chordFromX11KeyEvent(std::uint32_t unshiftedKeysym,
                                                std::uint16_t state) {
    const auto key = core::chordKey(unshiftedKeysym);
    if (!key) {
        return std::nullopt;
    }
    return core::Chord{modifiersFromX11State(state), *key};
}

}  // namespace scrawlet::platform::x11
