// The tool symbols of the control panel, drawn by us so that they look the same on every desktop
// whatever its icon theme.
//
// Each symbol is a pair of paths in a 17 × 17 box (top-left origin): an outline to stroke with
// a round-capped pen of kToolIconStrokePoints, and an area to fill. Both are built once.
#pragma once

#include <QPainterPath>

#include "core/tool.h"

namespace scrawlet::ink {

inline constexpr double kToolIconSizePoints = 17;
inline constexpr double kToolIconStrokePoints = 1.5;

struct ToolIcon {
    QPainterPath outline;
    QPainterPath fill;
};

const ToolIcon& toolIcon(core::Tool tool);

}  // namespace scrawlet::ink
