#include "core/pointer_aid_geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace scrawlet::core;

// Two side-by-side displays, the second offset downwards as on a staggered desk.
const std::vector<AidRect> kDisplays{{0, 0, 960, 1080}, {960, 100, 1280, 720}};

TEST(SpotlightGeometry, HoleIsCentredOnThePointerInDisplayCoordinates) {
    // Top-left origin: a pointer 100 below the display's top puts the hole's top at 100 − s/2.
    EXPECT_EQ(spotlightHole({1500, 400}, kDisplays[1], 320), (AidRect{380, 140, 320, 320}));
    // Near an edge the hole is not moved inward: its square hangs over the edge.
    EXPECT_EQ(spotlightHole({10, 1075}, kDisplays[0], 320), (AidRect{-150, 915, 320, 320}));
    EXPECT_DOUBLE_EQ(spotlightCornerRadius(RegionShape::circle, 320), 160);
    EXPECT_DOUBLE_EQ(spotlightCornerRadius(RegionShape::roundedRect, 200), 24);
}

TEST(SpotlightGeometry, HoleBoxIsWholePixelsRoundTheSquare) {
    EXPECT_EQ(coveringBox(spotlightHole({480, 540}, kDisplays[0], 320)),
              (PixelBox{320, 380, 320, 320}));
    // A fractional edge widens the box to whole pixels on both sides.
    EXPECT_EQ(coveringBox(spotlightHole({480, 540}, kDisplays[0], 100.5)),
              (PixelBox{429, 489, 102, 102}));
    EXPECT_EQ(coveringBox(spotlightHole({0, 0}, {0, 0, 0, 0}, 7)), (PixelBox{-4, -4, 8, 8}));
}

TEST(SpotlightGeometry, OtherDisplaysAreDimmedOnlyWhenAllAre) {
    EXPECT_EQ(surfaceDim(true, false), SurfaceDim::hole);
    EXPECT_EQ(surfaceDim(true, true), SurfaceDim::hole);
    EXPECT_EQ(surfaceDim(false, true), SurfaceDim::whole);
    EXPECT_EQ(surfaceDim(false, false), SurfaceDim::hidden);
}

TEST(PointerAidGeometry, OpacitiesAreClamped) {
    EXPECT_DOUBLE_EQ(clampedUnit(1.7), 1);
    EXPECT_DOUBLE_EQ(clampedUnit(-0.2), 0);
    EXPECT_DOUBLE_EQ(clampedUnit(0.6), 0.6);
    EXPECT_DOUBLE_EQ(clampedUnit(std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_DOUBLE_EQ(highlightAlpha({255, 204, 0, 255}, 0.5), 0.5);
    EXPECT_DOUBLE_EQ(highlightAlpha({255, 204, 0, 51}, 0.5), 0.1);
    EXPECT_DOUBLE_EQ(highlightAlpha({255, 204, 0, 255}, 3), 1);
}

TEST(CursorHighlightGeometry, FrameIsCentredAndNotKeptOnTheDisplay) {
    EXPECT_EQ(highlightFrame({100, 200}, 48), (AidRect{76, 176, 48, 48}));
    EXPECT_EQ(highlightFrame({0, 0}, 48), (AidRect{-24, -24, 48, 48}));
}

TEST(CursorHighlightGeometry, OutlineIsInsetByHalfTheBorderAndOnlyTheDiscIsFilled) {
    EXPECT_EQ(highlightOutlineRect(48, 2), (AidRect{1, 1, 46, 46}));
    EXPECT_EQ(highlightOutlineRect(48, 0), (AidRect{0, 0, 48, 48}));
    // A border wider than the window leaves nothing to draw rather than a negative size.
    EXPECT_EQ(highlightOutlineRect(10, 40), (AidRect{20, 20, 0, 0}));
    EXPECT_TRUE(highlightFilled(CursorHighlightShape::filledCircle));
    EXPECT_FALSE(highlightFilled(CursorHighlightShape::ring));
    EXPECT_FALSE(highlightFilled(CursorHighlightShape::squircle));
    EXPECT_FALSE(highlightFilled(CursorHighlightShape::rhombus));
    const auto corners = rhombusCorners({1, 1, 46, 46});
    EXPECT_EQ(corners[0], (AidPoint{24, 1}));
    EXPECT_EQ(corners[1], (AidPoint{47, 24}));
    EXPECT_EQ(corners[2], (AidPoint{24, 47}));
    EXPECT_EQ(corners[3], (AidPoint{1, 24}));
}

}  // namespace

TEST(ClickRipple, GrowsFromTheHighlightToTwiceItWhileFadingOut) {
    const RippleLook start = rippleAt(0, 48, 0.5);
    EXPECT_DOUBLE_EQ(start.diameter, 48);
    EXPECT_DOUBLE_EQ(start.alpha, 0.5);
    const RippleLook middle = rippleAt(0.5, 48, 0.5);
    EXPECT_DOUBLE_EQ(middle.diameter, 72);
    EXPECT_DOUBLE_EQ(middle.alpha, 0.25);
    const RippleLook end = rippleAt(1, 48, 0.5);
    EXPECT_DOUBLE_EQ(end.diameter, 96);
    EXPECT_DOUBLE_EQ(end.alpha, 0);
    // Out of range progress and alpha are held to the ends.
    EXPECT_DOUBLE_EQ(rippleAt(3, 48, 7).diameter, 96);
    EXPECT_DOUBLE_EQ(rippleAt(-1, 48, 7).alpha, 1);
}

TEST(ClickRipple, LastsItsTimeAtAnyRefresh) {
    EXPECT_EQ(rippleFrameCount(1.0 / 60), 21u);
    EXPECT_EQ(rippleFrameCount(1.0 / 144), 51u);
    EXPECT_EQ(rippleFrameCount(1.0), 1u);
    EXPECT_EQ(rippleFrameCount(0), 1u);
    EXPECT_EQ(rippleFrameCount(std::numeric_limits<double>::quiet_NaN()), 1u);
}

TEST(ClickRipple, RightButtonTurnsTheHueKeepingLightnessAndAlpha) {
    EXPECT_EQ(rightClickColour({255, 204, 0, 200}), (Colour{0, 51, 255, 200}));
    EXPECT_EQ(rightClickColour({255, 0, 0, 255}), (Colour{0, 255, 255, 255}));
    // Greys have no hue to turn; they get a colour of their own all the same.
    EXPECT_NE(rightClickColour({128, 128, 128, 255}), (Colour{128, 128, 128, 255}));
    EXPECT_EQ(rightClickColour({128, 128, 128, 90}).alpha, 90);
}
