#include "core/capture_probe.h"

#include <algorithm>
#include <cstddef>

namespace scrawlet::core {

bool containsMagenta(const std::uint8_t* pixels, int width, int height, int stride,
                     const PixelRect& within) {
    if (!pixels) {
        return false;
    }
    const int left = std::max(within.x, 0);
    const int top = std::max(within.y, 0);
    const auto right = static_cast<int>(
        std::min<long long>(static_cast<long long>(within.x) + within.width, width));
    const auto bottom = static_cast<int>(
        std::min<long long>(static_cast<long long>(within.y) + within.height, height));
    for (int y = top; y < bottom; y += 4) {
        const std::uint8_t* row = pixels + static_cast<std::ptrdiff_t>(y) * stride;
        for (int x = left; x < right; x += 4) {
            const int b = row[x * 4], g = row[x * 4 + 1], r = row[x * 4 + 2];
            if (r >= 151 && b >= 81 && r - g >= 71 && b - g >= 41) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace scrawlet::core
