#include "app/ink/pixel_rect.h"

#include <limits>

namespace scrawlet::ink {

void Damage::add(PixelRect rect) {
    rect = rect.intersected(bounds_);
    if (rect.isEmpty())
        return;
    insert(rect);
}

// Merging can make a rectangle touch others it did not before, so a merged one goes in again.
void Damage::insert(PixelRect rect) {
    for (std::size_t i = 0; i < count_; ++i) {
        if (rects_[i].contains(rect))
            return;
        if (rect.touches(rects_[i])) {
            rect = rect.united(rects_[i]);
            rects_[i] = rects_[--count_];
            insert(rect);
            return;
        }
    }
    if (count_ < kMaximumRects) {
        rects_[count_++] = rect;
        return;
    }
    // Full: fold the new one into the rectangle whose union with it wastes the fewest pixels.
    std::size_t best = 0;
    long long bestWaste = std::numeric_limits<long long>::max();
    for (std::size_t i = 0; i < count_; ++i) {
        const long long waste = rect.united(rects_[i]).area() - rect.area() - rects_[i].area();
        if (waste < bestWaste) {
            bestWaste = waste;
            best = i;
        }
    }
    const PixelRect merged = rect.united(rects_[best]);
    rects_[best] = rects_[--count_];
    insert(merged);
}

bool Damage::intersects(const PixelRect& rect) const {
    for (std::size_t i = 0; i < count_; ++i) {
        if (rects_[i].intersects(rect))
            return true;
    }
    return false;
}

long long Damage::area() const {
    long long total = 0;
    for (std::size_t i = 0; i < count_; ++i) total += rects_[i].area();
    return total;
}

}  // namespace scrawlet::ink
