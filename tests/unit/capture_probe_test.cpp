#include "core/capture_probe.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace scrawlet::core;

struct Image {
    Image(int w, int h) : width(w), height(h), bytes(std::size_t(w * h * 4), 0) {}
    void set(int x, int y, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
        auto* p = &bytes[std::size_t((y * width + x) * 4)];
        p[0] = b;
        p[1] = g;
        p[2] = r;
    }
    bool magentaIn(PixelRect rect) const {
        return containsMagenta(bytes.data(), width, height, width * 4, rect);
    }
    int width, height;
    std::vector<std::uint8_t> bytes;
};

TEST(CaptureProbe, FindsTheSentinelOnlyOnTheSampledGridInsideTheRectangle) {
    Image image(40, 30);
    image.set(8, 12, 255, 0, 255);
    EXPECT_TRUE(image.magentaIn({0, 0, 40, 30}));
    EXPECT_TRUE(image.magentaIn({8, 12, 1, 1}));
    // Off the grid that starts at the rectangle's corner, or outside it: unseen.
    EXPECT_FALSE(image.magentaIn({7, 12, 20, 10}));
    EXPECT_FALSE(image.magentaIn({12, 12, 20, 10}));
    // Cut to the image; nothing left of it, nothing found.
    EXPECT_TRUE(image.magentaIn({-4, -4, 100, 100}));
    EXPECT_FALSE(image.magentaIn({40, 0, 10, 10}));
    EXPECT_FALSE(containsMagenta(nullptr, 40, 30, 160, {0, 0, 40, 30}));
}

TEST(CaptureProbe, MagentaMeansStrongRedAndBlueOverGreen) {
    Image image(4, 4);
    const auto only = [&](std::uint8_t r, std::uint8_t g, std::uint8_t b) {
        image.set(0, 0, r, g, b);
        return image.magentaIn({0, 0, 4, 4});
    };
    EXPECT_TRUE(only(151, 0, 81));
    EXPECT_FALSE(only(150, 0, 81));     // red too weak
    EXPECT_FALSE(only(151, 0, 80));     // blue too weak
    EXPECT_FALSE(only(200, 130, 200));  // too much green: pink-grey
    EXPECT_TRUE(only(200, 129, 170));
}

}  // namespace
