#include "app/platform/x11/x11_modifiers.h"

#include <gtest/gtest.h>

namespace scrawlet::platform::x11 {
namespace {

using Modifiers = core::Chord::Modifiers;

TEST(X11Modifiers, GrabMasksAndEventStatesAgreeAndLockKeysAreIgnored) {
    const Modifiers all =
        Modifiers::command | Modifiers::shift | Modifiers::option | Modifiers::control;
    EXPECT_EQ(x11ModifierMask(all), 0x4D);
    EXPECT_EQ(modifiersFromX11State(x11ModifierMask(all)), all);
    EXPECT_EQ(modifiersFromX11State(x11ModifierMask(Modifiers::control)), Modifiers::control);
    // Caps Lock (Lock), Num Lock (Mod2) and a held button (Button1) are not part of a chord.
    constexpr std::uint16_t lock = 1 << 1, mod2 = 1 << 4, button1 = 1 << 8;
    EXPECT_EQ(modifiersFromX11State(kX11ControlMask | lock | mod2 | button1), Modifiers::control);

    const auto chord = chordFromX11KeyEvent(0x7A /* z */, kX11ControlMask | mod2);
    ASSERT_TRUE(chord);
    EXPECT_EQ(chord->modifiers, Modifiers::control);
    EXPECT_EQ(core::displayText(*chord), "Ctrl+Z");
    EXPECT_FALSE(chordFromX11KeyEvent(0xFF51 /* Left */, 0)) << "arrows have no chord key";
}

}  // namespace
}  // namespace scrawlet::platform::x11
