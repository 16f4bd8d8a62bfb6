// The capture self-test's question: does a captured image show the control panel's magenta
// sentinel inside the panel's rectangle? Pure.
#pragma once

#include <cstdint>

#include "core/screenshot.h"

namespace scrawlet::core {

// `pixels` holds `height` rows of `stride` bytes, each pixel blue, green, red and a fourth byte.
// Every fourth row and column of the rectangle (cut to the image) is looked at.
bool containsMagenta(const std::uint8_t* pixels, int width, int height, int stride,
                     const PixelRect& within);

}  // namespace scrawlet::core
