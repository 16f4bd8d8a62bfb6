#include "app/platform/x11/strut_geometry.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using scrawlet::platform::x11::boxesOutside;
using scrawlet::platform::x11::ScreenBox;
using scrawlet::platform::x11::strutBoxes;
using scrawlet::platform::x11::subtractBoxes;

// Two monitors side by side, the right one shorter: 1920 × 1080 and 1280 × 720.
const ScreenBox kRoot{0, 0, 3200, 1080};

std::vector<ScreenBox> boxes(std::vector<std::uint32_t> strut, ScreenBox root = kRoot) {
    return strutBoxes(strut, root);
}

TEST(StrutGeometry, PartialStrutsReserveTheirStretchOfEachEdge) {
    // A 40-pixel bottom panel on the short right monitor: the strut counts from the root's
    // bottom edge, so it spans the monitor's missing 360 rows as well.
    EXPECT_EQ(boxes({0, 0, 0, 400, 0, 0, 0, 0, 0, 0, 1920, 3199}),
              std::vector<ScreenBox>({{1920, 680, 1280, 400}}));
    // A 30-pixel top bar on the left monitor and a 64-pixel dock on the left edge.
    EXPECT_EQ(boxes({64, 0, 30, 0, 100, 899, 0, 0, 0, 1919, 0, 0}),
              std::vector<ScreenBox>({{0, 100, 64, 800}, {0, 0, 1920, 30}}));
    // A right-edge panel on the right monitor, its top half.
    EXPECT_EQ(boxes({0, 48, 0, 0, 0, 0, 0, 359, 0, 0, 0, 0}),
              std::vector<ScreenBox>({{3152, 0, 48, 360}}));
}

TEST(StrutGeometry, LegacyStrutsAndZeroRangesReserveWholeEdges) {
    EXPECT_EQ(boxes({0, 0, 24, 48}),
              std::vector<ScreenBox>({{0, 0, 3200, 24}, {0, 1032, 3200, 48}}));
    EXPECT_EQ(boxes({0, 0, 24, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
              std::vector<ScreenBox>({{0, 0, 3200, 24}}));
}

TEST(StrutGeometry, OddValuesReserveNothingOrStayOnTheRoot) {
    EXPECT_TRUE(boxes({}).empty());
    EXPECT_TRUE(boxes({0, 0, 30}).empty());
    EXPECT_TRUE(boxes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}).empty());
    EXPECT_TRUE(boxes({0, 0, 30, 0}, {0, 0, 0, 0}).empty());
    // Ends before starts.
    EXPECT_TRUE(boxes({0, 0, 30, 0, 0, 0, 0, 0, 900, 100, 0, 0}).empty());
    // Widths and ranges past the root, as a panel left over from a larger screen has them.
    EXPECT_EQ(boxes({0, 0, 0, 5000, 0, 0, 0, 0, 0, 0, 3000, 0xffffffffu}),
              std::vector<ScreenBox>({{3000, 0, 200, 1080}}));
    EXPECT_EQ(boxes({0xffffffffu, 0, 0, 0}), std::vector<ScreenBox>({{0, 0, 3200, 1080}}));
}

TEST(StrutGeometry, AWorkAreaLeavesOutBandsAlongTheEdges) {
    const auto outside = boxesOutside({64, 30, 3136, 1002}, kRoot);
    EXPECT_EQ(outside,
              std::vector<ScreenBox>({{0, 0, 3200, 30}, {0, 1032, 3200, 48}, {0, 30, 64, 1002}}));
    EXPECT_TRUE(boxesOutside(kRoot, kRoot).empty());
    EXPECT_TRUE(boxesOutside({0, 0, 0, 0}, kRoot).empty());
    EXPECT_TRUE(boxesOutside({4000, 0, 100, 100}, kRoot).empty());
}

// An independent oracle: every pixel of a small area, covered by how many pieces.
std::vector<int> coverage(const ScreenBox& area, const std::vector<ScreenBox>& pieces) {
    std::vector<int> count(static_cast<std::size_t>(area.width * area.height), 0);
    for (const ScreenBox& piece : pieces)
        for (int y = piece.y; y < piece.bottom(); ++y)
            for (int x = piece.x; x < piece.right(); ++x) {
                if (x < area.x || y < area.y || x >= area.right() || y >= area.bottom())
                    return {};  // a piece outside the window
                ++count[static_cast<std::size_t>((y - area.y) * area.width + (x - area.x))];
            }
    return count;
}

TEST(StrutGeometry, SubtractionCoversExactlyWhatNoHoleTouches) {
    const ScreenBox window{10, 20, 40, 30};
    const std::vector<std::vector<ScreenBox>> cases = {
        {},
        {{20, 30, 5, 5}},                     // inside
        {{0, 40, 100, 20}},                   // across the bottom
        {{45, 0, 20, 100}, {0, 0, 100, 25}},  // right edge and top edge, overlapping
        {{15, 25, 20, 10}, {25, 30, 20, 15}, {30, 28, 2, 2}},  // overlapping inside
        {{100, 100, 10, 10}},                                  // elsewhere
        {{0, 0, 100, 100}},                                    // everything
    };
    for (const auto& holes : cases) {
        const auto pieces = subtractBoxes(window, holes);
        const auto counted = coverage(window, pieces);
        ASSERT_FALSE(counted.empty()) << "a piece lies outside the window";
        for (int y = window.y; y < window.bottom(); ++y)
            for (int x = window.x; x < window.right(); ++x) {
                bool inHole = false;
                for (const ScreenBox& hole : holes)
                    inHole |= x >= hole.x && x < hole.right() && y >= hole.y && y < hole.bottom();
                const int times =
                    counted[static_cast<std::size_t>((y - window.y) * window.width + x - window.x)];
                ASSERT_EQ(times, inHole ? 0 : 1)
                    << "pixel " << x << "," << y << " of case " << (&holes - cases.data());
            }
    }
}

}  // namespace
