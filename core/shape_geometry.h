// Turns a live shape into the polyline that is previewed and stored as a stroke.
//
// Every function is pure and allocation-free, since the ink view expands the live shape on every
// frame. `expand` writes into a caller-owned buffer of at least `maximumPointCount` points and
// returns how many it wrote; a smaller buffer is refused with 0 and left untouched. Closed
// figures repeat their first point exactly as their last. Units are content units.
#pragma once

#include <span>

#include "core/geometry.h"
#include "core/live_shape.h"

namespace scrawlet::core::ShapeGeometry {

inline constexpr int ellipseSegments = 64;
inline constexpr int maximumPointCount = ellipseSegments + 1;
inline constexpr double constrainedAngleDegrees = 15.0;
inline constexpr double arrowHeadHalfAngleDegrees = 25.0;
inline constexpr double arrowHeadLengthPerWidth = 4.0;
inline constexpr double arrowHeadMinimumLength = 8.0;

// The axis-aligned box a rectangle or ellipse fills.
struct Box {
    double minX = 0;
    double minY = 0;
    double maxX = 0;
    double maxY = 0;
    bool operator==(const Box&) const = default;
};

// `current`, or with `constrain` rotated about the origin to the nearest 15° step (halves away
// from zero), keeping its distance.
ContentPoint constrainedEnd(const LiveShape& shape);

// With `constrain` the drag becomes a square keeping each component's sign; with `fromCentre`
// it is mirrored through the origin.
Box box(const LiveShape& shape);

// Line 2 points, arrow 5 (2 when zero length), rectangle 5, ellipse 65.
int expand(const LiveShape& shape, std::span<ContentPoint> buffer);

}  // namespace scrawlet::core::ShapeGeometry
