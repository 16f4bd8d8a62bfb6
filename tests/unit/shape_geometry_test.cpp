#include "core/shape_geometry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace scrawlet::core {
namespace {

constexpr double kDegree = std::numbers::pi / 180;
using Buffer = std::array<ContentPoint, ShapeGeometry::maximumPointCount>;

LiveShape shape(ShapeKind kind, ContentPoint origin, ContentPoint current, bool constrain = false,
                bool fromCentre = false, double width = 1) {
    LiveShape s{kind, origin, current, {}, constrain, fromCentre};
    s.style.widthContentUnits = width;
    return s;
}

ContentPoint polar(ContentPoint from, double length, double degrees) {
    return {from.x + length * std::cos(degrees * kDegree),
            from.y + length * std::sin(degrees * kDegree)};
}

void expectNear(ContentPoint actual, ContentPoint expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-9);
    EXPECT_NEAR(actual.y, expected.y, 1e-9);
}

TEST(ShapeGeometryExpand, ArrowBarbsGrowWithWidthStopAtTheShaftAndFlankIt) {
    struct Case {
        double width, length, barb;
    };
    for (const Case& c : {Case{1, 100, 8}, {5, 100, 20}, {1, 6, 6}}) {
        SCOPED_TRACE(testing::Message() << c.width << ", " << c.length);
        Buffer buffer{};
        const ContentPoint tip = polar({0, 0}, c.length, 30);
        ASSERT_EQ(ShapeGeometry::expand(shape(ShapeKind::arrow, {0, 0}, tip, false, false, c.width),
                                        buffer),
                  5);
        EXPECT_EQ(buffer[3], tip);
        // Seen from the tip, the first barb lies back along the shaft turned by −25°, the second
        // by +25°.
        expectNear(buffer[2], polar(tip, -c.barb, 5));
        expectNear(buffer[4], polar(tip, -c.barb, 55));
    }
    Buffer buffer{};
    EXPECT_EQ(ShapeGeometry::expand(shape(ShapeKind::arrow, {7, 7}, {7, 7}), buffer), 2);
}

TEST(ShapeGeometryExpand, EllipseFillsItsBoxAndClosesExactly) {
    Buffer buffer{};
    ASSERT_EQ(ShapeGeometry::expand(shape(ShapeKind::ellipse, {10, 20}, {70, 0}), buffer), 65);
    EXPECT_EQ(buffer[64], buffer[0]);
    for (const ContentPoint p : buffer) {
        EXPECT_NEAR(std::hypot((p.x - 40) / 30, (p.y - 10) / 10), 1, 1e-12);
    }
    EXPECT_NEAR(buffer[16].y, 20, 1e-12);
}

}  // namespace
}  // namespace scrawlet::core
