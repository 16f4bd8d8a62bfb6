// Registration marks: small squares of one fixed colour at known content points, drawn on each
// surface so that a harness can find them in a screen image and check where content lands.
//
// Five marks per surface: the four corners inset by `kInsetPoints` and the centre, each a
// square of `kSizePoints` centred on its point. The colour is unlike any default ink or
// panel colour, so a pixel of it can only come from a mark.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/geometry.h"

namespace scrawlet::core::fiducials {

struct Mark {
    std::string name;
    ContentPoint centre;
    bool operator==(const Mark&) const = default;
};

inline constexpr double kInsetPoints = 48;
inline constexpr double kSizePoints = 16;
inline constexpr std::array<std::uint8_t, 3> kRGB{0, 255, 255};

// The marks of a view `width` × `height` points under `transform`, in content coordinates.
std::vector<Mark> marks(const DisplayTransform& transform, double width, double height);

}  // namespace scrawlet::core::fiducials
