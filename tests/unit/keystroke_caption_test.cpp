#include <gtest/gtest.h>

#include "core/keystroke_label.h"
#include "core/keystroke_pill.h"

namespace scrawlet::core {
namespace {

constexpr KeystrokeModifiers kNone{};

std::optional<std::string> caption(std::uint32_t keysym, std::string text,
                                   KeystrokeModifiers modifiers = kNone) {
    return keystrokeCaption(KeystrokeKey{keysym, std::move(text)}, modifiers);
}

TEST(KeystrokeCaption, SpecialKeysUseTheirTableLabelWhateverTheyType) {
    EXPECT_EQ(caption(0xff0d, "\r"), "⏎");
    EXPECT_EQ(caption(0xff09, "\t"), "⇥");
    EXPECT_EQ(caption(0x20, " "), "Space");
    EXPECT_EQ(caption(0xff08, "\b"), "⌫");
    EXPECT_EQ(caption(0xff1b, "\x1b"), "⎋");
    EXPECT_EQ(caption(0xff8d, "\r"), "⌤");
    EXPECT_EQ(caption(0xff55, ""), "⇞");
    EXPECT_EQ(caption(0xff57, ""), "↘");
    EXPECT_EQ(caption(0xffbe, ""), "F1");
    EXPECT_EQ(caption(0xffc9, ""), "F12");
}

TEST(KeystrokeCaption, ModifiersComeInFixedOrderBeforeTheLabel) {
    EXPECT_EQ(caption(0xff53, "", {true, true, true, true}), "Ctrl+Alt+Shift+Super+→");
    EXPECT_EQ(caption(0x73, "S", {.control = true, .shift = true}), "Ctrl+Shift+S");
    EXPECT_EQ(caption(0x61, "A", {.super = true}), "Super+A");
    EXPECT_EQ(caption(0x61, "A"), "A");
}

TEST(KeystrokeCaption, OtherKeysShowTheirTextInAnyScript) {
    EXPECT_EQ(caption(0x6c6, "Ф"), "Ф");  // Cyrillic_ef
    EXPECT_EQ(caption(0x7e1, "Α", {.alt = true}), "Alt+Α");
    EXPECT_EQ(caption(0xdf, "ß"), "ß");
    EXPECT_EQ(caption(0x1002022, "€"), "€");
}

TEST(KeystrokeCaption, DeadKeysShowTheirAccent) {
    EXPECT_EQ(caption(0xfe52, ""), "^");
    EXPECT_EQ(caption(0xfe51, "", {.shift = true}), "Shift+´");
}

TEST(KeystrokeCaption, KeysWithoutVisibleTextAreSkipped) {
    EXPECT_FALSE(caption(0xffe3, ""));               // Control_L on its own
    EXPECT_FALSE(caption(0xffca, ""));               // F13
    EXPECT_FALSE(caption(0xffff, "\x7f"));           // Delete
    EXPECT_FALSE(caption(0x1008ff11, ""));           // a volume key
    EXPECT_FALSE(caption(0x12345, "\xef\x9c\x80"));  // U+F700, private use
    EXPECT_FALSE(caption(0x12345, "\xc2\x85"));      // NEL, a C1 control
    EXPECT_FALSE(caption(0x12345, "\xe2\x82"));      // cut short
}

using Position = KeystrokeDisplayPosition;
constexpr PillFrame kWorkArea{0, 30, 1920, 1010};  // a 30-pixel panel along the top

void expectFrame(const PillFrame& actual, const PillFrame& expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-9);
    EXPECT_NEAR(actual.y, expected.y, 1e-9);
    EXPECT_NEAR(actual.width, expected.width, 1e-9);
    EXPECT_NEAR(actual.height, expected.height, 1e-9);
}

TEST(KeystrokePillFrame, SitsInTheChosenCornerOfTheWorkArea) {
    // 28 points: 182 × 53.2, 24 in from both edges of the corner.
    expectFrame(KeystrokePill::frame(kWorkArea, Position::bottomRight, 28, 40),
                {1714, 962.8, 182, 53.2});
    expectFrame(KeystrokePill::frame(kWorkArea, Position::topLeft, 28, 40), {24, 54, 182, 53.2});
    expectFrame(KeystrokePill::frame(kWorkArea, Position::topRight, 10, 0), {1831, 54, 65, 19});
    expectFrame(KeystrokePill::frame({100, 0, 800, 600}, Position::bottomLeft, 10, 0),
                {124, 557, 65, 19});
}

TEST(KeystrokePillFrame, GrowsAwayFromItsCornerForLongCaptions) {
    const PillFrame right = KeystrokePill::frame(kWorkArea, Position::bottomRight, 20, 300);
    EXPECT_DOUBLE_EQ(right.width, 300 + 2 * 0.6 * 20);
    EXPECT_DOUBLE_EQ(right.x + right.width, 1920 - 24);
    const PillFrame left = KeystrokePill::frame(kWorkArea, Position::topLeft, 20, 300);
    EXPECT_DOUBLE_EQ(left.x, 24);
    EXPECT_DOUBLE_EQ(left.width, right.width);
}

TEST(KeystrokePillFade, TheClockWaitsForTheFadeThenTicksUntilTheEnd) {
    const double frame = 1.0 / 60;
    // Three seconds: opaque until 2.6 s, then fading for 0.4 s.
    EXPECT_DOUBLE_EQ(*KeystrokePill::nextTickDelay(0, 3.0, frame), 2.6);
    EXPECT_DOUBLE_EQ(*KeystrokePill::nextTickDelay(2.0, 3.0, frame), 0.6);
    EXPECT_DOUBLE_EQ(*KeystrokePill::nextTickDelay(2.7, 3.0, frame), frame);
    EXPECT_NEAR(*KeystrokePill::nextTickDelay(2.99, 3.0, frame), 0.01, 1e-12);
    EXPECT_FALSE(KeystrokePill::nextTickDelay(3.0, 3.0, frame));
    EXPECT_FALSE(KeystrokePill::nextTickDelay(0, std::nullopt, frame));
    // One second fades over its last 0.4 s.
    EXPECT_DOUBLE_EQ(*KeystrokePill::nextTickDelay(0, 1.0, frame), 0.6);
}

}  // namespace
}  // namespace scrawlet::core
