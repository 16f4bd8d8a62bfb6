#include "app/ink/overlay_layout.h"

#include <gtest/gtest.h>

namespace scrawlet::ink {
namespace {

TEST(OverlayLayout, LabelsHangTheirFirstLineOnTheAnchorThroughTheTransform) {
    const core::DisplayTransform zoomed({100, 50}, 2, 1);
    EXPECT_EQ(labelTopLeft({110, 60}, zoomed, 30), (core::ViewportPoint{20, -10}));
}

TEST(OverlayLayout, CaretWrapsTheTextAndPutsTheBarAfterTheLastLine) {
    const CaretGeometry one = caretGeometry({10, 20, 100, 29}, 100, 29);
    EXPECT_EQ(one.frame, (ViewRect{6, 16, 108, 37}));
    EXPECT_EQ(one.box, (ViewRect{0.5, 0.5, 107, 36}));
    EXPECT_EQ(one.bar, (ViewRect{104, 4, 2, 29}));

    // An empty label still gets a 28-point box; a second line moves the bar down.
    const CaretGeometry empty = caretGeometry({0, 0, 0, 0}, 0, 29);
    EXPECT_EQ(empty.frame.width, 36);
    EXPECT_EQ(empty.frame.height, 37);
    const CaretGeometry two = caretGeometry({0, 0, 80, 58}, 12, 29);
    EXPECT_EQ(two.bar, (ViewRect{16, 33, 2, 29}));
    EXPECT_EQ(caretGeometry({0, 0, 10, 40}, 5, 0).bar.height, 40);
}

TEST(OverlayLayout, HintBubbleIsCentredAboveTheBottomAndWrapsAtHalfTheWidth) {
    const ViewRect screen{0, 0, 1920, 1080};
    EXPECT_EQ(hintMaximumTextWidth(screen), 592);
    EXPECT_EQ(hintMaximumTextWidth({0, 0, 800, 600}), 372);
    EXPECT_EQ(hintBubble(screen, 99.2, 18), (ViewRect{896, 952, 128, 32}));
}

// The control panel sits above the overlay: the hint moves out from under it, below it while
// there is room and above it otherwise, and stays put when they do not meet.
TEST(OverlayLayout, HintBubbleLeavesTheControlPanelVisible) {
    const ViewRect screen{0, 0, 1920, 1080};
    const ViewRect homePanel{776, 898, 368, 62};
    EXPECT_EQ(hintBubble(screen, 99.2, 18, homePanel), (ViewRect{896, 968, 128, 32}));
    const ViewRect panelAtTheBottom{776, 980, 368, 62};
    EXPECT_EQ(hintBubble(screen, 99.2, 18, panelAtTheBottom), (ViewRect{896, 940, 128, 32}));
    const ViewRect panelAside{100, 950, 368, 62};
    EXPECT_EQ(hintBubble(screen, 99.2, 18, panelAside), (ViewRect{896, 952, 128, 32}));
}

}  // namespace
}  // namespace scrawlet::ink
