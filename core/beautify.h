// Recognises a freehand stroke meant as a straight line, a rectangle or a circle.
//
// `classify` runs at pointer up, allocates nothing and answers nothing when the stroke fits no
// figure. The result is turned back into plain points with
// `BeautifiedShape::path`, so the stroke scene never needs to know about figures. Tolerances
// are content units, except `toleranceFraction`, a fraction of the stroke's bounding-box
// diagonal.
#pragma once

#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "core/geometry.h"

namespace scrawlet::core {

struct BeautifiedShape {
    struct Line {
        ContentPoint from;
        ContentPoint to;
        bool operator==(const Line&) const = default;
    };
    struct Rectangle {
        ContentRect rect;
        bool operator==(const Rectangle&) const = default;
    };
    struct Circle {
        ContentPoint centre;
        double radius = 0;
        bool operator==(const Circle&) const = default;
    };

    std::variant<Line, Rectangle, Circle> figure;

    static BeautifiedShape line(ContentPoint from, ContentPoint to) { return {Line{from, to}}; }
    static BeautifiedShape rectangle(ContentRect rect) { return {Rectangle{rect}}; }
    static BeautifiedShape circle(ContentPoint centre, double radius) {
        return {Circle{centre, radius}};
    }

    // Line 2 points; rectangle 5, closed; circle max(circleSegments, 8) segments, closed, so
    // one point more than segments with the last a copy of the first.
    std::vector<ContentPoint> path(int circleSegments) const;
    // The same path written into `out`, without allocating; returns how many points it holds
    // (a circle gets fewer segments when `out` is short).
    int path(int circleSegments, std::span<ContentPoint> out) const;

    bool operator==(const BeautifiedShape&) const = default;
};

namespace Beautify {

inline constexpr int minimumPoints = 8;

// Ramer–Douglas–Peucker: keeps the ends and every point needed to stay within `tolerance`,
// in input order. Fewer than 3 points come back unchanged.
std::vector<ContentPoint> simplify(std::span<const ContentPoint> points, double tolerance);

// A closed stroke (ends within twice the tolerance) may be a circle, else a rectangle; an open
// one may be a line from its first to its last point. Nothing for fewer than `minimumPoints`
// points, a fraction that is not positive, or a stroke that never moved.
std::optional<BeautifiedShape> classify(std::span<const ContentPoint> points,
                                        double toleranceFraction);

// Nothing for no points.
std::optional<ContentRect> boundingBox(std::span<const ContentPoint> points);

}  // namespace Beautify

}  // namespace scrawlet::core
