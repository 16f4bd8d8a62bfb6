#include "core/geometry.h"

#include <cassert>

namespace scrawlet::core {

DisplayTransform::DisplayTransform(ContentPoint origin, double zoom, double backingScaleFactor)
    : origin_(origin), zoom_(zoom), backingScaleFactor_(backingScaleFactor) {
    // Written so that NaN fails too.
    assert(zoom > 0 && backingScaleFactor > 0);
}

ViewportPoint DisplayTransform::viewportPoint(ContentPoint content) const {
    return {(content.x - origin_.x) * zoom_, (content.y - origin_.y) * zoom_};
}

ScreenPixel DisplayTransform::screenPixel(ContentPoint content) const {
    return {(content.x - origin_.x) * zoom_ * backingScaleFactor_,
            (content.y - origin_.y) * zoom_ * backingScaleFactor_};
}

ContentPoint DisplayTransform::contentPoint(ViewportPoint viewport) const {
    return {origin_.x + viewport.x / zoom_, origin_.y + viewport.y / zoom_};
}

ContentPoint DisplayTransform::contentPoint(ScreenPixel pixel) const {
    const double scale = zoom_ * backingScaleFactor_;
    return {origin_.x + pixel.x / scale, origin_.y + pixel.y / scale};
}

}  // namespace scrawlet::core
