// A shape tool's gesture in progress: where the drag started, where the pointer is now and the
// two modifiers that reshape it.
//
// A plain value. The view rebuilds it on every pointer move and hands it to ShapeGeometry to
// preview and, at pointer up, to store as an ordinary stroke. Coordinates are content units.
#pragma once

#include "core/geometry.h"
#include "core/shape_kind.h"
#include "core/stroke_style.h"

namespace scrawlet::core {

struct LiveShape {
    ShapeKind kind = ShapeKind::line;
    ContentPoint origin;
    ContentPoint current;
    StrokeStyle style;
    // Shift: lines and arrows snap to 15° steps, rectangles and ellipses become squares and
    // circles.
    bool constrain = false;
    // Option: the origin is the figure's centre rather than its start or corner.
    bool fromCentre = false;

    bool operator==(const LiveShape&) const = default;
};

}  // namespace scrawlet::core
