#include "app/platform/x11/strut_geometry.h"

#include <algorithm>

namespace scrawlet::platform::x11 {
namespace {

// Cardinals are unsigned and come from other programs: keep them inside int before any sum.
int clampToRoot(std::uint32_t value, int limit) {
    return static_cast<int>(std::min<std::uint32_t>(value, static_cast<std::uint32_t>(limit)));
}

// Ends given in the wrong order reserve nothing.
ScreenBox spanning(int x, int y, int width, int height) {
    return {x, y, std::max(width, 0), std::max(height, 0)};
}

// Some panels fill the partial hint's ranges with zeros; a panel one pixel long is not what
// they mean, and the legacy hint's whole edge is.
void readRange(std::span<const std::uint32_t> pair, int limit, int& start, int& end) {
    if (pair[0] == 0 && pair[1] == 0)
        return;
    start = clampToRoot(pair[0], limit);
    end = clampToRoot(pair[1], limit - 1);
}

}  // namespace

ScreenBox ScreenBox::intersected(const ScreenBox& other) const {
    const int left = std::max(x, other.x);
    const int top = std::max(y, other.y);
    const int r = std::min(right(), other.right());
    const int b = std::min(bottom(), other.bottom());
    if (r <= left || b <= top)
        return {};
    return {left, top, r - left, b - top};
}

std::vector<ScreenBox> strutBoxes(std::span<const std::uint32_t> strut, const ScreenBox& root) {
    if ((strut.size() != 4 && strut.size() != 12) || root.isEmpty())
        return {};
    const int w = root.width;
    const int h = root.height;
    const int left = clampToRoot(strut[0], w);
    const int right = clampToRoot(strut[1], w);
    const int top = clampToRoot(strut[2], h);
    const int bottom = clampToRoot(strut[3], h);
    // The legacy hint reserves whole edges.
    int leftY0 = 0, leftY1 = h - 1, rightY0 = 0, rightY1 = h - 1;
    int topX0 = 0, topX1 = w - 1, bottomX0 = 0, bottomX1 = w - 1;
    if (strut.size() == 12) {
        readRange(strut.subspan(4, 2), h, leftY0, leftY1);
        readRange(strut.subspan(6, 2), h, rightY0, rightY1);
        readRange(strut.subspan(8, 2), w, topX0, topX1);
        readRange(strut.subspan(10, 2), w, bottomX0, bottomX1);
    }
    const ScreenBox candidates[] = {
        spanning(0, leftY0, left, leftY1 - leftY0 + 1),
        spanning(w - right, rightY0, right, rightY1 - rightY0 + 1),
        spanning(topX0, 0, topX1 - topX0 + 1, top),
        spanning(bottomX0, h - bottom, bottomX1 - bottomX0 + 1, bottom),
    };
    std::vector<ScreenBox> boxes;
    for (const ScreenBox& box : candidates) {
        if (!box.isEmpty())
            boxes.push_back(box);
    }
    return boxes;
}

std::vector<ScreenBox> boxesOutside(const ScreenBox& workArea, const ScreenBox& root) {
    const ScreenBox bounds{0, 0, root.width, root.height};
    const ScreenBox inside = workArea.intersected(bounds);
    // A work area that leaves nothing usable says nothing about panels.
    if (inside.isEmpty())
        return {};
    return subtractBoxes(bounds, std::span(&inside, 1));
}

std::vector<ScreenBox> subtractBoxes(const ScreenBox& from, std::span<const ScreenBox> holes) {
    std::vector<ScreenBox> pieces;
    if (!from.isEmpty())
        pieces.push_back(from);
    for (const ScreenBox& hole : holes) {
        std::vector<ScreenBox> next;
        for (const ScreenBox& piece : pieces) {
            const ScreenBox cut = piece.intersected(hole);
            if (cut.isEmpty()) {
                next.push_back(piece);
                continue;
            }
            // Full-width bands above and below the cut, then what is beside it.
            const ScreenBox parts[] = {
                {piece.x, piece.y, piece.width, cut.y - piece.y},
                {piece.x, cut.bottom(), piece.width, piece.bottom() - cut.bottom()},
                {piece.x, cut.y, cut.x - piece.x, cut.height},
                {cut.right(), cut.y, piece.right() - cut.right(), cut.height},
            };
            for (const ScreenBox& part : parts) {
                if (!part.isEmpty())
                    next.push_back(part);
            }
        }
        pieces = std::move(next);
    }
    return pieces;
}

}  // namespace scrawlet::platform::x11
