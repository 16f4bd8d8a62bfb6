// Key labels from compiled layouts (the system's layout data, no display): what a key types
// alone follows the active layout and Num Lock, never the held modifiers.
#include "app/platform/x11/xkb_keyboard.h"

#include <gtest/gtest.h>

namespace scrawlet::platform::x11 {
namespace {

// evdev key codes.
constexpr std::uint32_t kKeyA = 38;      // AC01
constexpr std::uint32_t kKeyY = 29;      // AD06, Z on German keyboards
constexpr std::uint32_t kKey1 = 10;      // AE01
constexpr std::uint32_t kGrave = 49;     // TLDE, a dead circumflex on German keyboards
constexpr std::uint32_t kKeypad1 = 87;   // KP1
constexpr std::uint32_t kLeftCtrl = 37;  // LCTL
// Core modifier bits.
constexpr std::uint32_t kShift = 1;
constexpr std::uint32_t kControl = 4;
constexpr std::uint32_t kMod1 = 8;
constexpr std::uint32_t kMod2 = 16;
constexpr std::uint32_t kMod4 = 64;

XkbKeyboard keyboard(std::string_view layout) {
    auto compiled = XkbKeyboard::fromNames(layout);
    EXPECT_TRUE(compiled) << "no layout data for " << layout;
    return std::move(*compiled);
}

TEST(XkbKeyboard, KeysShowWhatTheyTypeInTheLayoutUpperCased) {
    XkbKeyboard us = keyboard("us");
    EXPECT_EQ(us.key(kKeyA), (core::KeystrokeKey{0x61, "A"}));
    EXPECT_EQ(us.key(kKeyY), (core::KeystrokeKey{0x79, "Y"}));
    EXPECT_EQ(keyboard("de").key(kKeyY), (core::KeystrokeKey{0x7a, "Z"}));
    EXPECT_EQ(keyboard("ru").key(kKeyA), (core::KeystrokeKey{0x6c6, "Ф"}));
    // A dead key types nothing by itself; the caption shows its accent.
    const core::KeystrokeKey dead = keyboard("de").key(kGrave);
    EXPECT_EQ(dead.keysym, 0xfe52u);
    EXPECT_EQ(core::keystrokeCaption(dead, {}), "^");
}

TEST(XkbKeyboard, HeldModifiersAreReportedButDoNotChangeTheKey) {
    XkbKeyboard us = keyboard("us");
    us.updateState(kShift | kControl, 0, 0, 0, 0, 0);
    EXPECT_EQ(us.key(kKey1).text, "1");
    EXPECT_EQ(us.modifiers(), (core::KeystrokeModifiers{.control = true, .shift = true}));
    us.updateState(kMod1 | kMod4, 0, 0, 0, 0, 0);
    EXPECT_EQ(us.modifiers(), (core::KeystrokeModifiers{.alt = true, .super = true}));
    us.updateState(0, 0, 0, 0, 0, 0);
    EXPECT_EQ(us.modifiers(), core::KeystrokeModifiers{});
    EXPECT_FALSE(core::keystrokeCaption(us.key(kLeftCtrl), {}));
}

TEST(XkbKeyboard, TheActiveLayoutAndNumLockChooseTheKey) {
    XkbKeyboard both = keyboard("us,ru");
    EXPECT_EQ(both.key(kKeyA).text, "A");
    both.updateState(0, 0, 0, 0, 0, 1);
    EXPECT_EQ(both.key(kKeyA).text, "Ф");
    both.updateState(0, 0, 0, 0, 0, 0);
    // Without Num Lock the keypad's 1 is End, which has no caption.
    EXPECT_FALSE(core::keystrokeCaption(both.key(kKeypad1), {}));
    both.updateState(0, 0, kMod2, 0, 0, 0);
    EXPECT_EQ(core::keystrokeCaption(both.key(kKeypad1), {}), "1");
}

}  // namespace
}  // namespace scrawlet::platform::x11
