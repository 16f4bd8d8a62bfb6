// The window manager's reserved screen areas as rectangles, and what is left of a window once
// they are taken out. Pure arithmetic on the values of the window-manager hints, free of any
// connection, so that it can be checked without a display.
//
// Coordinates are the root window's pixels, top-left origin. A strut is the list of cardinals
// of `_NET_WM_STRUT` (left, right, top, bottom: whole edges) or `_NET_WM_STRUT_PARTIAL` (the
// same four widths, then start and end of each along its edge, ends inclusive). Widths count
// from the root's edges, not from a monitor's, as the hint convention says.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace scrawlet::platform::x11 {

struct ScreenBox {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool isEmpty() const { return width <= 0 || height <= 0; }
    int right() const { return x + width; }
    int bottom() const { return y + height; }
    ScreenBox intersected(const ScreenBox& other) const;

    bool operator==(const ScreenBox&) const = default;
};

// The areas a strut reserves on a root of `root`'s size (its origin is ignored), clipped to it.
// A list of neither 4 nor 12 values, zero widths and empty ranges reserve nothing.
std::vector<ScreenBox> strutBoxes(std::span<const std::uint32_t> strut, const ScreenBox& root);

// What a work area leaves out of the root: up to four bands along its edges.
std::vector<ScreenBox> boxesOutside(const ScreenBox& workArea, const ScreenBox& root);

// Disjoint rectangles that cover `from` except where any hole lies; holes may overlap.
std::vector<ScreenBox> subtractBoxes(const ScreenBox& from, std::span<const ScreenBox> holes);

}  // namespace scrawlet::platform::x11
