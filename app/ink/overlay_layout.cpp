#include "app/ink/overlay_layout.h"

#include <algorithm>
#include <cmath>

namespace scrawlet::ink {

core::ViewportPoint labelTopLeft(core::ContentPoint anchor, const core::DisplayTransform& transform,
                                 double firstLineHeight) {
    const core::ViewportPoint bottomLeft = transform.viewportPoint(anchor);
    return {bottomLeft.x, bottomLeft.y - firstLineHeight};
}

CaretGeometry caretGeometry(const ViewRect& label, double lastLineWidth, double lineHeight) {
    const double height = std::max(label.height, lineHeight);
    const ViewRect frame{label.x - 4, label.y - 4, std::max(label.width, 28.0) + 8, height + 8};
    const ViewRect box{0.5, 0.5, frame.width - 1, frame.height - 1};
    const double barHeight = lineHeight > 0 ? lineHeight : height;
    // The last line is the lowest one: the bar sits 4 points above the frame's bottom.
    const ViewRect bar{std::max(lastLineWidth, 0.0) + 4, frame.height - 4 - barHeight, 2,
                       barHeight};
    return {frame, box, bar};
}

double hintMaximumTextWidth(const ViewRect& host) {
    return std::min(host.width * 0.5, 620.0) - 28;
}

ViewRect hintBubble(const ViewRect& host, double textWidth, double textHeight,
                    const std::optional<ViewRect>& keepClear) {
    const double width = std::ceil(textWidth) + 28;
    const double height = textHeight + 14;
    ViewRect bubble{host.x + (host.width - width) / 2, host.y + host.height - 96 - height, width,
                    height};
    if (!keepClear) {
        return bubble;
    }
    const ViewRect& clear = *keepClear;
    const bool overlaps = bubble.x < clear.x + clear.width && clear.x < bubble.x + bubble.width &&
                          bubble.y < clear.y + clear.height && clear.y < bubble.y + bubble.height;
    if (!overlaps) {
        return bubble;
    }
    constexpr double gap = 8;
    const double below = clear.y + clear.height + gap;
    bubble.y = below + height <= host.y + host.height - gap ? below : clear.y - gap - height;
    return bubble;
}

}  // namespace scrawlet::ink
