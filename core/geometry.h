// Coordinate values of the annotation model and the transform between them.
//
// Content space holds strokes and texts (display points at zoom 1); viewport space is the view's
// own points; pixel space is the drawable's backing pixels. All three have their origin at the
// top left with y growing downwards; no conversion flips an axis.
#pragma once

#include <cstddef>
#include <functional>

namespace scrawlet::core {

struct ContentPoint {
    double x = 0;
    double y = 0;
    bool operator==(const ContentPoint&) const = default;
};

struct ContentRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    // Both edges inclusive: a zero-size rectangle still contains its own points.
    bool contains(ContentPoint point) const {
        return x <= point.x && point.x <= x + width && y <= point.y && point.y <= y + height;
    }
    bool operator==(const ContentRect&) const = default;
};

struct ViewportPoint {
    double x = 0;
    double y = 0;
    bool operator==(const ViewportPoint&) const = default;
};

struct ScreenPixel {
    double x = 0;
    double y = 0;
    bool operator==(const ScreenPixel&) const = default;
};

// `zoom` is viewport points per content unit; `backingScaleFactor` pixels per viewport point.
// Both must be positive: a caller passing anything else has a bug (asserted).
class DisplayTransform {
  public:
    DisplayTransform(ContentPoint origin, double zoom, double backingScaleFactor);

    ContentPoint origin() const { return origin_; }
    double zoom() const { return zoom_; }
    double backingScaleFactor() const { return backingScaleFactor_; }

    ViewportPoint viewportPoint(ContentPoint content) const;
    ScreenPixel screenPixel(ContentPoint content) const;
    ContentPoint contentPoint(ViewportPoint viewport) const;
    ContentPoint contentPoint(ScreenPixel pixel) const;

    bool operator==(const DisplayTransform&) const = default;

  private:
    ContentPoint origin_;
    double zoom_;
    double backingScaleFactor_;
};

// Combines the hashes of a value's fields, in order.
template <class... Fields>
std::size_t hashFields(const Fields&... fields) {
    std::size_t seed = 0;
    ((seed ^= std::hash<Fields>{}(fields) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2)),
     ...);
    return seed;
}

}  // namespace scrawlet::core

template <>
struct std::hash<scrawlet::core::ContentPoint> {
    std::size_t operator()(const scrawlet::core::ContentPoint& p) const noexcept {
        return scrawlet::core::hashFields(p.x, p.y);
    }
};
template <>
struct std::hash<scrawlet::core::ContentRect> {
    std::size_t operator()(const scrawlet::core::ContentRect& r) const noexcept {
        return scrawlet::core::hashFields(r.x, r.y, r.width, r.height);
    }
};
template <>
struct std::hash<scrawlet::core::ViewportPoint> {
    std::size_t operator()(const scrawlet::core::ViewportPoint& p) const noexcept {
        return scrawlet::core::hashFields(p.x, p.y);
    }
};
template <>
struct std::hash<scrawlet::core::ScreenPixel> {
    std::size_t operator()(const scrawlet::core::ScreenPixel& p) const noexcept {
        return scrawlet::core::hashFields(p.x, p.y);
    }
};
