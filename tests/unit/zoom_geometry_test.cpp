#include "core/zoom_geometry.h"

#include <gtest/gtest.h>

namespace {

using namespace scrawlet::core;

// A 960 × 1080 screen right of another, captured at twice its points.
const AidRect kScreen{960, 0, 960, 1080};

void expectNear(const ZoomSource& actual, const ZoomSource& expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-9);
    EXPECT_NEAR(actual.y, expected.y, 1e-9);
    EXPECT_NEAR(actual.width, expected.width, 1e-9);
    EXPECT_NEAR(actual.height, expected.height, 1e-9);
}

TEST(ZoomGeometry, TheLensStaysOnItsScreenWhileItsSourceFollowsThePointer) {
    EXPECT_EQ(lensFrame({1440, 540}, kScreen, 400), (AidRect{1240, 340, 400, 400}));
    // In a corner the window is held inside; its source still centres on the pointer.
    EXPECT_EQ(lensFrame({965, 1075}, kScreen, 400), (AidRect{960, 680, 400, 400}));
    EXPECT_EQ(lensFrame({1919, 2}, kScreen, 400), (AidRect{1520, 0, 400, 400}));

    // Level 2 shows 200 points round the pointer: 400 pixels of a 2× capture.
    expectNear(lensSource({1440, 540}, kScreen, 400, 2, 1920, 2160),
               {(960.0 - 200) / 1920, (1080.0 - 200) / 2160, 400.0 / 1920, 400.0 / 2160});
    // Top-left origin: a pointer near the top takes its source from the top of the image,
    // reaching past it rather than sliding inward.
    const ZoomSource top = lensSource({1440, 10}, kScreen, 400, 2, 960, 1080);
    EXPECT_NEAR(top.y, (10.0 - 100) / 1080, 1e-9);
    EXPECT_LT(top.y, 0);
    // A level of 0 does not divide by zero; an empty image gives an empty source.
    EXPECT_GT(lensSource({1440, 540}, kScreen, 400, 0, 960, 1080).width, 1);
    EXPECT_EQ(lensSource({1440, 540}, kScreen, 400, 2, 0, 1080), ZoomSource{});
}

TEST(ZoomGeometry, TheFullScreenCentreEasesTowardThePointer) {
    EXPECT_EQ(easedCentre(std::nullopt, {10, 20}, 0.25), (AidPoint{10, 20}));
    EXPECT_EQ(easedCentre(AidPoint{0, 0}, {100, 40}, 0.25), (AidPoint{75, 30}));
    EXPECT_EQ(easedCentre(AidPoint{0, 0}, {100, 40}, 0), (AidPoint{100, 40}));
    EXPECT_EQ(easedCentre(AidPoint{0, 0}, {100, 40}, -3), (AidPoint{100, 40}));
    EXPECT_EQ(easedCentre(AidPoint{5, 5}, {100, 40}, 1), (AidPoint{5, 5}));
    EXPECT_EQ(easedCentre(AidPoint{5, 5}, {100, 40}, 7), (AidPoint{5, 5}));
}

TEST(ZoomGeometry, TheFullScreenSourceIsOneOverLOfTheImageAndNeverLeavesIt) {
    expectNear(fullScreenSource({1440, 540}, kScreen, 2, 960, 1080), {0.25, 0.25, 0.5, 0.5});
    // Near the top-left corner it is held at the image's edge, near the bottom right too.
    expectNear(fullScreenSource({961, 1}, kScreen, 2, 960, 1080), {0, 0, 0.5, 0.5});
    expectNear(fullScreenSource({1919, 1079}, kScreen, 4, 960, 1080), {0.75, 0.75, 0.25, 0.25});
    // Levels below 1.5 are taken as 1.5.
    EXPECT_NEAR(fullScreenSource({1440, 540}, kScreen, 1, 960, 1080).width, 1 / 1.5, 1e-9);
}

TEST(ZoomGeometry, LevelStepsAreHeldToTheirRangeAndShownShort) {
    EXPECT_EQ(steppedZoomLevel(2, 0.5), 2.5);
    EXPECT_EQ(steppedZoomLevel(7.8, 0.5), 8);
    EXPECT_EQ(steppedZoomLevel(1.5, -0.5), 1.5);
    EXPECT_EQ(zoomLevelText(2), "2");
    EXPECT_EQ(zoomLevelText(2.5), "2.5");
    EXPECT_EQ(zoomLevelText(8), "8");
}

}  // namespace
