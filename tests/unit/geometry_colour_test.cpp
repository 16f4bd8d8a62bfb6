#include <gtest/gtest.h>

#include <unordered_set>

#include "core/colour.h"
#include "core/geometry.h"
#include "core/number_format.h"

namespace scrawlet::core {
namespace {

TEST(ColourHex, ParsesEitherCaseAndFormatsLowerCaseShortestForm) {
    const auto red = Colour::fromHex("#FF3B30");
    ASSERT_TRUE(red);
    EXPECT_EQ(*red, (Colour{255, 59, 48, 255}));
    EXPECT_EQ(red->hexString(), "#ff3b30");

    const auto clear = Colour::fromHex("#ff3b3000");
    ASSERT_TRUE(clear);
    EXPECT_EQ(clear->alpha, 0);
    EXPECT_EQ(clear->hexString(), "#ff3b3000");

    EXPECT_EQ(Colour::fromHex("#ff3b30ff")->hexString(), "#ff3b30");
    EXPECT_EQ((Colour{1, 2, 3, 4}).hexString(), "#01020304");
}

TEST(ColourHex, EveryMalformedInputCarriesTheWholeText) {
    for (const char* text : {"ff3b30", "#fff", "#ff3b30f", "#gg0000", "", "#", " #ff0000",
                             "#ff0000 ", "#ff3b30ff0", "#+f0000", "#0x0000"}) {
        const auto parsed = Colour::fromHex(text);
        ASSERT_FALSE(parsed) << text;
        EXPECT_EQ(parsed.error(), SettingsError{SettingsError::MalformedColour{text}}) << text;
    }
}

TEST(DisplayTransformMapping, ContentViewportAndPixelRoundTrip) {
    const DisplayTransform t({100, 50}, 2, 2);
    EXPECT_EQ(t.viewportPoint({110, 60}), (ViewportPoint{20, 20}));
    EXPECT_EQ(t.screenPixel({110, 60}), (ScreenPixel{40, 40}));
    EXPECT_EQ(t.contentPoint(ScreenPixel{40, 40}), (ContentPoint{110, 60}));
    EXPECT_EQ(t.contentPoint(ViewportPoint{20, 20}), (ContentPoint{110, 60}));

    const DisplayTransform odd({-3.5, 7.25}, 1.75, 1.5);
    for (const ContentPoint p : {ContentPoint{0, 0}, ContentPoint{123.4, -56.7}}) {
        const ContentPoint back = odd.contentPoint(odd.screenPixel(p));
        EXPECT_NEAR(back.x, p.x, 1e-9);
        EXPECT_NEAR(back.y, p.y, 1e-9);
    }
}

}  // namespace
}  // namespace scrawlet::core
