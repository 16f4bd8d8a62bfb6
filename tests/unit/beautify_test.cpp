#include "core/beautify.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace scrawlet::core {
namespace {

using Points = std::vector<ContentPoint>;

// A closed hand-drawn circle whose radius wobbles by up to `noise`.
Points noisyCircle(double radius, double noise) {
    Points points;
    for (int i = 0; i <= 100; ++i) {
        const double t = 2 * std::numbers::pi * i / 100;
        const double r = radius + noise * std::sin(7.3 * i);
        points.push_back({200 + r * std::cos(t), 100 + r * std::sin(t)});
    }
    return points;
}

Points straight(int count) {
    Points points;
    for (int i = 0; i < count; ++i) {
        points.push_back({3.0 * i, 2.0 * i + (i % 2) * 0.1});
    }
    return points;
}

TEST(BeautifyClassify, AnOpenStrokeWithinToleranceIsALineBetweenItsEnds) {
    const Points points = straight(8);
    EXPECT_EQ(Beautify::classify(points, 0.05),
              BeautifiedShape::line(points.front(), points.back()));
    // Too short, a fraction that is not positive, a stroke that never moved, a zigzag.
    EXPECT_EQ(Beautify::classify(straight(7), 0.05), std::nullopt);
    EXPECT_EQ(Beautify::classify(points, 0), std::nullopt);
    EXPECT_EQ(Beautify::classify(Points(20, {4, 4}), 0.05), std::nullopt);
    Points zigzag;
    for (int i = 0; i < 12; ++i) {
        zigzag.push_back({10.0 * i, i % 2 == 0 ? 0.0 : 15.0});
    }
    EXPECT_EQ(Beautify::classify(zigzag, 0.05), std::nullopt);
}

TEST(BeautifyClassify, NoisyCircleIsACircleOfMeanRadiusAboutTheBoxCentre) {
    const Points points = noisyCircle(50, 2);
    const ContentRect box = *Beautify::boundingBox(points);
    const ContentPoint centre{box.x + box.width / 2, box.y + box.height / 2};
    double sum = 0;
    for (const ContentPoint p : points) {
        sum += std::hypot(p.x - centre.x, p.y - centre.y);
    }
    const auto shape = Beautify::classify(points, 0.05);
    ASSERT_TRUE(shape.has_value());
    const auto* circle = std::get_if<BeautifiedShape::Circle>(&shape->figure);
    ASSERT_NE(circle, nullptr);
    EXPECT_EQ(circle->centre, centre);
    EXPECT_NEAR(circle->radius, sum / static_cast<double>(points.size()), 1e-9);
    // A wobble beyond the tolerance (0.05 × ~141) is no figure at all.
    EXPECT_EQ(Beautify::classify(noisyCircle(50, 12), 0.05), std::nullopt);
}

}  // namespace
}  // namespace scrawlet::core
