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

// Round the outline of a w × h box from its top-left corner, straying across the edges by up to
// `noise`.
Points handDrawnBox(double w, double h, double noise) {
    Points points;
    for (int i = 0; i < 80; ++i) {
        const double t = (i % 20) / 20.0;
        const double wobble = noise * std::sin(3.1 * i);
        const ContentPoint sides[] = {
            {t * w, wobble}, {w + wobble, t * h}, {w - t * w, h + wobble}, {wobble, h - t * h}};
        points.push_back(sides[i / 20]);
    }
    points.push_back({0.5, 0.5});
    return points;
}

Points straight(int count) {
    Points points;
    for (int i = 0; i < count; ++i) {
        points.push_back({3.0 * i, 2.0 * i + (i % 2) * 0.1});
    }
    return points;
}

TEST(BeautifySimplify, KeepsEndsAndOrderAndOnlyPointsBeyondTheTolerance) {
    EXPECT_EQ(Beautify::simplify(Points{{0, 0}, {1, 1}}, 5), (Points{{0, 0}, {1, 1}}));
    const Points corner{{0, 0}, {5, 0.2}, {10, 0}, {10, 5}, {10.1, 10}};
    EXPECT_EQ(Beautify::simplify(corner, 0.5), (Points{{0, 0}, {10, 0}, {10.1, 10}}));
    EXPECT_EQ(Beautify::simplify(corner, -5), corner);
    // Exactly at the tolerance is within it.
    EXPECT_EQ(Beautify::simplify(Points{{0, 0}, {5, 2}, {10, 0}}, 2).size(), 2u);
    // (1,1) and (2,1) tie; keeping the later one would give a different result.
    EXPECT_EQ(Beautify::simplify(Points{{0, 0}, {1, 1}, {2, 1}, {3, 0}}, 0.5),
              (Points{{0, 0}, {1, 1}, {3, 0}}));
    // Coinciding ends: distances are taken from the start.
    EXPECT_EQ(Beautify::simplify(Points{{0, 0}, {3, 0}, {0, 4}, {0, 0}}, 3.5),
              (Points{{0, 0}, {0, 4}, {0, 0}}));
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
    EXPECT_NEAR(circle->radius, sum / points.size(), 1e-9);
    // A wobble beyond the tolerance (0.05 × ~141) is no figure at all.
    EXPECT_EQ(Beautify::classify(noisyCircle(50, 12), 0.05), std::nullopt);
}

TEST(BeautifyClassify, HandDrawnBoxIsItsBoundingBoxUnlessThinnerThanTheTolerance) {
    const Points square = handDrawnBox(100, 100, 2);
    EXPECT_EQ(Beautify::classify(square, 0.05),
              BeautifiedShape::rectangle(*Beautify::boundingBox(square)));
    // Tolerance ≈ 5: at height 4 every point is near an edge, so only the size guard refuses.
    EXPECT_EQ(Beautify::classify(handDrawnBox(100, 4, 0), 0.05), std::nullopt);
    EXPECT_NE(Beautify::classify(handDrawnBox(100, 8, 0), 0.05), std::nullopt);
}

TEST(BeautifyPath, CirclesHaveAtLeastEightSegmentsAndCloseExactly) {
    for (const auto& [segments, count] : {std::pair{4, 9u}, {9, 10u}, {64, 65u}}) {
        const Points path = BeautifiedShape::circle({10, 10}, 5).path(segments);
        ASSERT_EQ(path.size(), count) << segments;
        EXPECT_EQ(path.back(), path.front());
        EXPECT_NEAR(std::hypot(path[1].x - 10, path[1].y - 10), 5, 1e-12);
    }
}

}  // namespace
}  // namespace scrawlet::core
