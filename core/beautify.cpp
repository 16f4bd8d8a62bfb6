#include "core/beautify.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

namespace scrawlet::core {

namespace {

double distance(ContentPoint a, ContentPoint b) {
    const double dx = a.x - b.x;
    const double dy = a.y - b.y;
    return std::sqrt(dx * dx + dy * dy);
}

// A segment with what every point's distance to it shares worked out once.
class Segment {
  public:
    Segment(ContentPoint start, ContentPoint end)
        : start_(start),
          ex_(end.x - start.x),
          ey_(end.y - start.y),
          lengthSquared_(ex_ * ex_ + ey_ * ey_) {}

    // Projection clamped to the segment; from the start when the ends coincide.
    double distanceTo(ContentPoint p) const {
        if (lengthSquared_ == 0) {
            return distance(p, start_);
        }
        const double t = std::clamp(
            ((p.x - start_.x) * ex_ + (p.y - start_.y) * ey_) / lengthSquared_, 0.0, 1.0);
        return distance(p, {start_.x + t * ex_, start_.y + t * ey_});
    }

  private:
    ContentPoint start_;
    double ex_;
    double ey_;
    double lengthSquared_;
};

struct Farthest {
    std::size_t index = 0;
    double distance = -1;
};

// Over the points strictly between s and e; the first wins a tie. Distances, not their squares,
// are compared: squaring would move near ties and the tolerance cut by a rounding.
Farthest farthestFromSegment(std::span<const ContentPoint> points, std::size_t s, std::size_t e) {
    const Segment segment(points[s], points[e]);
    Farthest farthest;
    for (std::size_t i = s + 1; i < e; ++i) {
        const double d = segment.distanceTo(points[i]);
        if (d > farthest.distance) {
            farthest = {i, d};
        }
    }
    return farthest;
}

// Distance to a horizontal or vertical segment, exact for the axis-aligned box edges.
double distanceToEdge(double along, double from, double to, double across, double at) {
    const double outside = std::max({from - along, 0.0, along - to});
    const double gap = across - at;
    return outside == 0 ? std::abs(gap) : std::sqrt(outside * outside + gap * gap);
}

std::optional<BeautifiedShape> circleTest(std::span<const ContentPoint> points, ContentRect box,
                                          double tolerance) {
    const ContentPoint centre{box.x + box.width / 2, box.y + box.height / 2};
    double sum = 0;
    for (const ContentPoint p : points) {
        sum += distance(p, centre);
    }
    const double mean = sum / static_cast<double>(points.size());
    if (!(mean > 0)) {
        return std::nullopt;
    }
    // Radii are recomputed rather than stored: a second pass of square roots is cheaper than
    // a buffer on the pointer-up path.
    for (const ContentPoint p : points) {
        if (!(std::abs(distance(p, centre) - mean) <= tolerance)) {
            return std::nullopt;
        }
    }
    return BeautifiedShape::circle(centre, mean);
}

std::optional<BeautifiedShape> rectangleTest(std::span<const ContentPoint> points, ContentRect box,
                                             double tolerance) {
    // A box no wider than the tolerance would let every point sit near some edge.
    if (!(tolerance < box.width && tolerance < box.height)) {
        return std::nullopt;
    }
    const double left = box.x;
    const double top = box.y;
    const double right = box.x + box.width;
    const double bottom = box.y + box.height;
    for (const ContentPoint p : points) {
        const double nearest = std::min({distanceToEdge(p.x, left, right, p.y, top),
                                         distanceToEdge(p.y, top, bottom, p.x, right),
                                         distanceToEdge(p.x, left, right, p.y, bottom),
                                         distanceToEdge(p.y, top, bottom, p.x, left)});
        if (!(nearest <= tolerance)) {
            return std::nullopt;
        }
    }
    return BeautifiedShape::rectangle(box);
}

}  // namespace

int BeautifiedShape::path(int circleSegments, std::span<ContentPoint> out) const {
    const auto put = [&](std::initializer_list<ContentPoint> points) {
        const std::size_t n = std::min(points.size(), out.size());
        std::copy_n(points.begin(), n, out.begin());
        return static_cast<int>(n);
    };
    if (const auto* line = std::get_if<Line>(&figure)) {
        return put({line->from, line->to});
    }
    if (const auto* rectangle = std::get_if<Rectangle>(&figure)) {
        const ContentRect& r = rectangle->rect;
        return put({{r.x, r.y},
                    {r.x + r.width, r.y},
                    {r.x + r.width, r.y + r.height},
                    {r.x, r.y + r.height},
                    {r.x, r.y}});
    }
    const Circle& circle = std::get<Circle>(figure);
    int segments = circleSegments >= 9 ? circleSegments : 8;
    segments = std::min(segments, static_cast<int>(out.size()) - 1);
    if (segments < 2)
        return 0;
    for (int i = 0; i < segments; ++i) {
        const double t = 2 * std::numbers::pi * i / segments;
        out[static_cast<std::size_t>(i)] = {circle.centre.x + circle.radius * std::cos(t),
                                            circle.centre.y + circle.radius * std::sin(t)};
    }
    // Copied so the figure closes exactly; sin(2π) is not 0.
    out[static_cast<std::size_t>(segments)] = out[0];
    return segments + 1;
}

std::vector<ContentPoint> BeautifiedShape::path(int circleSegments) const {
    std::vector<ContentPoint> points(static_cast<std::size_t>(std::max(circleSegments, 8)) + 1);
    points.resize(static_cast<std::size_t>(path(circleSegments, points)));
    return points;
}

namespace Beautify {

std::vector<ContentPoint> simplify(std::span<const ContentPoint> points, double tolerance) {
    const std::size_t n = points.size();
    if (n < 3) {
        return {points.begin(), points.end()};
    }
    std::vector<bool> kept(n, false);
    kept.front() = true;
    kept.back() = true;
    std::vector<std::pair<std::size_t, std::size_t>> ranges{{0, n - 1}};
    while (!ranges.empty()) {
        const auto [s, e] = ranges.back();
        ranges.pop_back();
        // Neighbours have nothing between them; with a negative tolerance they would split forever.
        if (e - s < 2) {
            continue;
        }
        const Farthest farthest = farthestFromSegment(points, s, e);
        if (farthest.distance > tolerance) {
            kept[farthest.index] = true;
            ranges.emplace_back(s, farthest.index);
            ranges.emplace_back(farthest.index, e);
        }
    }
    std::vector<ContentPoint> result;
    for (std::size_t i = 0; i < n; ++i) {
        if (kept[i]) {
            result.push_back(points[i]);
        }
    }
    return result;
}

std::optional<BeautifiedShape> classify(std::span<const ContentPoint> points,
                                        double toleranceFraction) {
    if (std::ssize(points) < minimumPoints || !(toleranceFraction > 0)) {
        return std::nullopt;
    }
    const ContentRect box = *boundingBox(points);
    const double diagonal = std::sqrt(box.width * box.width + box.height * box.height);
    if (diagonal == 0) {
        return std::nullopt;
    }
    const double tolerance = toleranceFraction * diagonal;
    const ContentPoint first = points.front();
    const ContentPoint last = points.back();
    if (distance(first, last) <= 2 * tolerance) {
        if (auto circle = circleTest(points, box, tolerance)) {
            return circle;
        }
        return rectangleTest(points, box, tolerance);
    }
    // Simplification keeps exactly the two ends precisely when its first range splits nowhere,
    // so one pass answers without building the simplified stroke.
    if (farthestFromSegment(points, 0, points.size() - 1).distance > tolerance) {
        return std::nullopt;
    }
    return BeautifiedShape::line(first, last);
}

std::optional<ContentRect> boundingBox(std::span<const ContentPoint> points) {
    if (points.empty()) {
        return std::nullopt;
    }
    double minX = points.front().x;
    double minY = points.front().y;
    double maxX = minX;
    double maxY = minY;
    for (const ContentPoint p : points.subspan(1)) {
        minX = std::min(minX, p.x);
        minY = std::min(minY, p.y);
        maxX = std::max(maxX, p.x);
        maxY = std::max(maxY, p.y);
    }
    return ContentRect{minX, minY, maxX - minX, maxY - minY};
}

}  // namespace Beautify

}  // namespace scrawlet::core
