#include "core/pointer_aid_geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace scrawlet::core;

// Two side-by-side displays, the second offset downwards as on a staggered desk.
const std::vector<AidRect> kDisplays{{0, 0, 960, 1080}, {960, 100, 1280, 720}};

TEST(SpotlightGeometry, PointerFindsTheFirstDisplayHoldingIt) {
    EXPECT_EQ(displayUnder({0, 0}, kDisplays), 0u);
    EXPECT_EQ(displayUnder({959.5, 500}, kDisplays), 0u);
    // The shared edge belongs to the display to its right, not to both.
    EXPECT_EQ(displayUnder({960, 500}, kDisplays), 1u);
    EXPECT_EQ(displayUnder({2239, 819}, kDisplays), 1u);
    EXPECT_EQ(displayUnder({2240, 500}, kDisplays), std::nullopt);
    // Above the staggered display: on no display.
    EXPECT_EQ(displayUnder({1000, 50}, kDisplays), std::nullopt);
    EXPECT_EQ(displayUnder({10, 10}, {}), std::nullopt);
}

TEST(SpotlightGeometry, HoleIsCentredOnThePointerInDisplayCoordinates) {
    // Top-left origin: a pointer 100 below the display's top puts the hole's top at 100 − s/2.
    EXPECT_EQ(spotlightHole({1500, 400}, kDisplays[1], 320), (AidRect{380, 140, 320, 320}));
    // Near an edge the hole is not moved inward: its square hangs over the edge.
    EXPECT_EQ(spotlightHole({10, 1075}, kDisplays[0], 320), (AidRect{-150, 915, 320, 320}));
    EXPECT_DOUBLE_EQ(spotlightCornerRadius(RegionShape::circle, 320), 160);
    EXPECT_DOUBLE_EQ(spotlightCornerRadius(RegionShape::roundedRect, 200), 24);
}

TEST(SpotlightGeometry, DimCoversTheDisplayExceptTheHoleCutByTheEdge) {
    const struct {
        AidPoint pointer;
        double size;
        PixelBox hole;  // cut to the 960 × 1080 display
    } cases[] = {
        {{480, 540}, 320, {320, 380, 320, 320}},
        // A fractional edge widens the box to whole pixels.
        {{480, 540}, 100.5, {429, 489, 102, 102}},
        // Corner: only the quarter on the display is cut out.
        {{0, 0}, 320, {0, 0, 160, 160}},
        {{950, 1070}, 320, {790, 910, 170, 170}},
    };
    for (const auto& c : cases) {
        const PixelBox cut = intersection(
            coveringBox(spotlightHole(c.pointer, kDisplays[0], c.size)), {0, 0, 960, 1080});
        EXPECT_EQ(cut, c.hole) << c.pointer.x << "," << c.pointer.y;
        std::array<PixelBox, 4> pieces;
        const std::size_t count = boxesAround(cut, 960, 1080, pieces);
        // The pieces and the hole tile the display exactly: no gap, no overlap.
        long long area = static_cast<long long>(cut.width) * cut.height;
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_FALSE(pieces[i].empty());
            EXPECT_TRUE(intersection(pieces[i], cut).empty());
            EXPECT_EQ(intersection(pieces[i], {0, 0, 960, 1080}), pieces[i]);
            for (std::size_t j = i + 1; j < count; ++j) {
                EXPECT_TRUE(intersection(pieces[i], pieces[j]).empty());
            }
            area += static_cast<long long>(pieces[i].width) * pieces[i].height;
        }
        EXPECT_EQ(area, 960LL * 1080);
    }
    std::array<PixelBox, 4> pieces;
    ASSERT_EQ(boxesAround({}, 960, 1080, pieces), 1u);
    EXPECT_EQ(pieces[0], (PixelBox{0, 0, 960, 1080}));
}

TEST(SpotlightGeometry, HoleOffTheDisplayLeavesItDimmedWhole) {
    const PixelBox cut =
        intersection(coveringBox(spotlightHole({1500, 400}, kDisplays[0], 320)), {0, 0, 960, 1080});
    EXPECT_TRUE(cut.empty());
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
