#include "core/shape_geometry.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numbers>

namespace scrawlet::core::ShapeGeometry {

namespace {

constexpr double radians(double degrees) {
    return degrees * std::numbers::pi / 180.0;
}

struct Segment {
    ContentPoint start;
    ContentPoint end;
};

// A line or arrow's ends: with `fromCentre` the origin is the midpoint.
Segment lineEnds(const LiveShape& shape) {
    const ContentPoint end = constrainedEnd(shape);
    if (!shape.fromCentre) {
        return {shape.origin, end};
    }
    return {{2 * shape.origin.x - end.x, 2 * shape.origin.y - end.y}, end};
}

int expandArrow(const LiveShape& shape, std::span<ContentPoint> buffer) {
    const auto [start, end] = lineEnds(shape);
    const double dx = end.x - start.x;
    const double dy = end.y - start.y;
    const double length = std::sqrt(dx * dx + dy * dy);
    buffer[0] = start;
    buffer[1] = end;
    if (length == 0) {
        return 2;
    }
    const double head = std::min(
        length,
        std::max(arrowHeadLengthPerWidth * shape.style.widthContentUnits, arrowHeadMinimumLength));
    const double direction = std::atan2(dy, dx);
    const double halfAngle = radians(arrowHeadHalfAngleDegrees);
    const auto barb = [&](double angle) {
        return ContentPoint{end.x - head * std::cos(angle), end.y - head * std::sin(angle)};
    };
    buffer[2] = barb(direction - halfAngle);
    // Back to the tip, so shaft and both barbs stay one polyline.
    buffer[3] = end;
    buffer[4] = barb(direction + halfAngle);
    return 5;
}

int expandRectangle(const LiveShape& shape, std::span<ContentPoint> buffer) {
    const Box b = box(shape);
    buffer[0] = {b.minX, b.minY};
    buffer[1] = {b.maxX, b.minY};
    buffer[2] = {b.maxX, b.maxY};
    buffer[3] = {b.minX, b.maxY};
    buffer[4] = buffer[0];
    return 5;
}

int expandEllipse(const LiveShape& shape, std::span<ContentPoint> buffer) {
    const Box b = box(shape);
    const double centreX = (b.minX + b.maxX) / 2;
    const double centreY = (b.minY + b.maxY) / 2;
    const double radiusX = (b.maxX - b.minX) / 2;
    const double radiusY = (b.maxY - b.minY) / 2;
    for (int i = 0; i < ellipseSegments; ++i) {
        const double t = i * (2 * std::numbers::pi) / ellipseSegments;
        buffer[static_cast<std::size_t>(i)] = {centreX + radiusX * std::cos(t),
                                               centreY + radiusY * std::sin(t)};
    }
    // Copied rather than computed: sin(2π) is not exactly 0, and the figure must close.
    buffer[ellipseSegments] = buffer[0];
    return ellipseSegments + 1;
}

}  // namespace

ContentPoint constrainedEnd(const LiveShape& shape) {
    if (!shape.constrain || shape.current == shape.origin) {
        return shape.current;
    }
    const double dx = shape.current.x - shape.origin.x;
    const double dy = shape.current.y - shape.origin.y;
    const double step = radians(constrainedAngleDegrees);
    // std::round takes halves away from zero, so 7.5° and −7.5° snap outwards alike.
    const double angle = std::round(std::atan2(dy, dx) / step) * step;
    const double length = std::sqrt(dx * dx + dy * dy);
    return {shape.origin.x + length * std::cos(angle), shape.origin.y + length * std::sin(angle)};
}

Box box(const LiveShape& shape) {
    double dx = shape.current.x - shape.origin.x;
    double dy = shape.current.y - shape.origin.y;
    if (shape.constrain) {
        const double side = std::max(std::abs(dx), std::abs(dy));
        dx = dx < 0 ? -side : side;
        dy = dy < 0 ? -side : side;
    }
    const ContentPoint corner{shape.origin.x + dx, shape.origin.y + dy};
    const ContentPoint opposite =
        shape.fromCentre ? ContentPoint{shape.origin.x - dx, shape.origin.y - dy} : shape.origin;
    return {std::min(corner.x, opposite.x), std::min(corner.y, opposite.y),
            std::max(corner.x, opposite.x), std::max(corner.y, opposite.y)};
}

int expand(const LiveShape& shape, std::span<ContentPoint> buffer) {
    if (buffer.size() < static_cast<std::size_t>(maximumPointCount)) {
        return 0;
    }
    switch (shape.kind) {
        case ShapeKind::line: {
            const auto [start, end] = lineEnds(shape);
            buffer[0] = start;
            buffer[1] = end;
            return 2;
        }
        case ShapeKind::arrow:
            return expandArrow(shape, buffer);
        case ShapeKind::rectangle:
            return expandRectangle(shape, buffer);
        case ShapeKind::ellipse:
            return expandEllipse(shape, buffer);
    }
    assert(false && "ShapeKind out of range");
    return 0;
}

}  // namespace scrawlet::core::ShapeGeometry
