// Rectangles of drawable pixels and the damage of one frame, free of any window system.
//
// `PixelRect` is half-open: it covers x ≤ px < x + width. `Damage` collects what a frame must
// repaint and present as a few rectangles: a new rectangle merges with one it touches, and once
// `kMaximumRects` are held the pair whose union wastes the fewest pixels merges, so a frame
// never repaints more than a bounded number of areas and never allocates.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "app/platform/gl_presenter.h"

namespace scrawlet::ink {

struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    // The smallest rectangle of whole pixels that holds the real box; empty for a NaN box.
    static PixelRect enclosing(double minX, double minY, double maxX, double maxY) {
        if (!(minX <= maxX) || !(minY <= maxY))
            return {};
        const int left = floorOf(minX);
        const int top = floorOf(minY);
        return {left, top, ceilOf(maxX) - left, ceilOf(maxY) - top};
    }

    bool isEmpty() const { return width <= 0 || height <= 0; }
    int right() const { return x + width; }
    int bottom() const { return y + height; }
    long long area() const { return isEmpty() ? 0 : static_cast<long long>(width) * height; }

    PixelRect united(const PixelRect& other) const {
        if (isEmpty())
            return other;
        if (other.isEmpty())
            return *this;
        const int left = std::min(x, other.x), top = std::min(y, other.y);
        return {left, top, std::max(right(), other.right()) - left,
                std::max(bottom(), other.bottom()) - top};
    }
    PixelRect intersected(const PixelRect& other) const {
        const int left = std::max(x, other.x), top = std::max(y, other.y);
        const int w = std::min(right(), other.right()) - left;
        const int h = std::min(bottom(), other.bottom()) - top;
        return w > 0 && h > 0 ? PixelRect{left, top, w, h} : PixelRect{};
    }
    bool intersects(const PixelRect& other) const { return !intersected(other).isEmpty(); }
    // Touching edges count: merging neighbours costs nothing.
    bool touches(const PixelRect& other) const {
        return !isEmpty() && !other.isEmpty() && x <= other.right() && other.x <= right() &&
               y <= other.bottom() && other.y <= bottom();
    }
    bool contains(const PixelRect& other) const {
        return other.isEmpty() || (x <= other.x && y <= other.y && other.right() <= right() &&
                                   other.bottom() <= bottom());
    }
    bool operator==(const PixelRect&) const = default;

  private:
    // Far beyond any drawable, and safe to add widths to.
    static constexpr double kLimit = 1 << 24;
    static int floorOf(double v) {
        return static_cast<int>(std::floor(std::clamp(v, -kLimit, kLimit)));
    }
    static int ceilOf(double v) {
        return static_cast<int>(std::ceil(std::clamp(v, -kLimit, kLimit)));
    }
};

class Damage {
  public:
    static constexpr std::size_t kMaximumRects = 6;

    Damage() = default;
    explicit Damage(PixelRect bounds) : bounds_(bounds) {}

    void setBounds(PixelRect bounds) { bounds_ = bounds; }
    const PixelRect& bounds() const { return bounds_; }

    void add(PixelRect rect);
    void addAll() {
        clear();
        add(bounds_);
    }
    void clear() { count_ = 0; }

    bool isEmpty() const { return count_ == 0; }
    bool isEverything() const { return count_ == 1 && rects_[0] == bounds_; }
    bool intersects(const PixelRect& rect) const;
    std::span<const PixelRect> rects() const { return {rects_.data(), count_}; }
    long long area() const;

  private:
    void insert(PixelRect rect);

    PixelRect bounds_;
    std::array<PixelRect, kMaximumRects> rects_{};
    std::size_t count_ = 0;
};

// A frame's damage as the platform presenters take it; rectangles beyond a damage's bound
// cannot come from a `Damage` and are dropped.
class PresentRects {
  public:
    explicit PresentRects(std::span<const PixelRect> rects) {
        for (const PixelRect& rect : rects) {
            if (count_ < rects_.size())
                rects_[count_++] = {rect.x, rect.y, rect.width, rect.height};
        }
    }
    std::span<const platform::PresentRect> rects() const { return {rects_.data(), count_}; }

  private:
    std::array<platform::PresentRect, Damage::kMaximumRects> rects_{};
    std::size_t count_ = 0;
};

}  // namespace scrawlet::ink
