// Where the ink view's overlays go: text labels, the caret of the text being typed, and the
// hint bubble. Pure geometry in view points with the origin at the top left, y down.
#pragma once

#include <optional>

#include "core/geometry.h"

namespace scrawlet::ink {

struct ViewRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const ViewRect&) const = default;
};

// Top-left corner of a label whose first line's box has its bottom-left corner at content
// point `anchor`; further lines extend downwards.
core::ViewportPoint labelTopLeft(core::ContentPoint anchor, const core::DisplayTransform& transform,
                                 double firstLineHeight);

struct CaretGeometry {
    ViewRect frame;  // the caret's own frame in the view
    ViewRect box;    // dashed outline, in the frame's coordinates
    ViewRect bar;    // the blinking bar after the last line, in the frame's coordinates
};

// `label` is the typed text's label frame, `lastLineWidth` the width of the text after its last
// line feed, `lineHeight` the font's line height (0: the label's height).
CaretGeometry caretGeometry(const ViewRect& label, double lastLineWidth, double lineHeight);

// Widest the hint's text may wrap to inside `host`.
double hintMaximumTextWidth(const ViewRect& host);
// The bubble around a laid-out text of `textWidth` × `textHeight`: centred, 96 points above the
// host's bottom; moved just below `keepClear` (a window above the overlay, such as the control
// panel) when it would overlap it, or just above it when there is no room below.
ViewRect hintBubble(const ViewRect& host, double textWidth, double textHeight,
                    const std::optional<ViewRect>& keepClear = std::nullopt);

}  // namespace scrawlet::ink
