// Where the spotlight's hole and the cursor highlight sit around the pointer, and how they
// look, in global points with the origin at the top left and y growing downwards.
//
// Pure functions: the windows that show the aids take their frames, masks and paths from here.
// Whole-pixel boxes are in the same units as the points (the window system scales both).
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "core/settings.h"

namespace scrawlet::core {

struct AidPoint {
    double x = 0;
    double y = 0;
    bool operator==(const AidPoint&) const = default;
};

struct AidRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    // Left and top edges in, right and bottom out: side-by-side displays never both claim a
    // point.
    bool contains(AidPoint point) const {
        return x <= point.x && point.x < x + width && y <= point.y && point.y < y + height;
    }
    bool operator==(const AidRect&) const = default;
};

struct PixelBox {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool empty() const { return width <= 0 || height <= 0; }
    bool operator==(const PixelBox&) const = default;
};

// `value` brought into 0…1; NaN counts as 0.
double clampedUnit(double value);

// The square of the spotlight's hole in the display's own coordinates. It is not moved inward
// near an edge: the part past the edge is simply not on the display.
AidRect spotlightHole(AidPoint pointer, const AidRect& display, double sizePoints);
double spotlightCornerRadius(RegionShape shape, double sizePoints);

// The smallest whole-pixel box that holds `rect`.
PixelBox coveringBox(const AidRect& rect);

// What a spotlight surface shows: the hole on the display under the pointer, the whole display
// dimmed on the others when all are dimmed, else nothing.
enum class SurfaceDim { hole, whole, hidden };
SurfaceDim surfaceDim(bool underPointer, bool dimAllDisplays);

// The highlight's window frame in global points; it is not kept inside the display.
AidRect highlightFrame(AidPoint pointer, double sizePoints);
// The rectangle the outline is drawn in, inside a window of `sizePoints`: inset by half the
// border so that the stroke stays inside the window.
AidRect highlightOutlineRect(double sizePoints, double borderWidthPoints);
bool highlightFilled(CursorHighlightShape shape);
// The colour's own alpha times the opacity, 0…1.
double highlightAlpha(const Colour& colour, double opacity);
// Corner radius of the squircle as a fraction of the outline's width and height.
inline constexpr double kSquircleRadiusFraction = 0.3;
// The rhombus through the middles of the rectangle's four sides, top first, clockwise.
std::array<AidPoint, 4> rhombusCorners(const AidRect& rect);

// A click ripple: a ring that grows from the highlight's size to twice it while it fades out.
inline constexpr double kRippleSeconds = 0.35;
struct RippleLook {
    double diameter = 0;
    double alpha = 0;
};
// `progress` runs from 0 at the press to 1 at the end; `alpha` is the highlight's own.
RippleLook rippleAt(double progress, double sizePoints, double alpha);
// Pictures in a ripple shown one per `frameSeconds`; at least one.
std::size_t rippleFrameCount(double frameSeconds);
// The right button's ripples: the colour's hue turned halfway round, so that the audience can
// tell the buttons apart; greys, which have no hue, become the highlight's default yellow's
// opposite.
Colour rightClickColour(const Colour& colour);

}  // namespace scrawlet::core
