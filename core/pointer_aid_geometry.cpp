#include "core/pointer_aid_geometry.h"

#include <algorithm>
#include <cmath>

namespace scrawlet::core {

std::optional<std::size_t> displayUnder(AidPoint pointer, std::span<const AidRect> frames) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (frames[i].contains(pointer)) {
            return i;
        }
    }
    return std::nullopt;
}

double clampedUnit(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    return std::clamp(value, 0.0, 1.0);
}

AidRect spotlightHole(AidPoint pointer, const AidRect& display, double sizePoints) {
    return {pointer.x - display.x - sizePoints / 2, pointer.y - display.y - sizePoints / 2,
            sizePoints, sizePoints};
}

double spotlightCornerRadius(RegionShape shape, double sizePoints) {
    return shape == RegionShape::circle ? sizePoints / 2 : 0.12 * sizePoints;
}

PixelBox coveringBox(const AidRect& rect) {
    const double left = std::floor(rect.x);
    const double top = std::floor(rect.y);
    const double right = std::ceil(rect.x + rect.width);
    const double bottom = std::ceil(rect.y + rect.height);
    return {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
            static_cast<int>(bottom - top)};
}

PixelBox intersection(const PixelBox& a, const PixelBox& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    const int right = std::min(a.x + a.width, b.x + b.width);
    const int bottom = std::min(a.y + a.height, b.y + b.height);
    if (right <= left || bottom <= top) {
        return {};
    }
    return {left, top, right - left, bottom - top};
}

std::size_t boxesAround(const PixelBox& hole, int width, int height, std::array<PixelBox, 4>& out) {
    if (hole.empty()) {
        out[0] = {0, 0, width, height};
        return 1;
    }
    std::size_t count = 0;
    const auto add = [&](PixelBox box) {
        if (!box.empty()) {
            out[count++] = box;
        }
    };
    add({0, 0, width, hole.y});
    add({0, hole.y + hole.height, width, height - hole.y - hole.height});
    add({0, hole.y, hole.x, hole.height});
    add({hole.x + hole.width, hole.y, width - hole.x - hole.width, hole.height});
    return count;
}

SurfaceDim surfaceDim(bool underPointer, bool dimAllDisplays) {
    if (underPointer) {
        return SurfaceDim::hole;
    }
    return dimAllDisplays ? SurfaceDim::whole : SurfaceDim::hidden;
}

AidRect highlightFrame(AidPoint pointer, double sizePoints) {
    return {pointer.x - sizePoints / 2, pointer.y - sizePoints / 2, sizePoints, sizePoints};
}

AidRect highlightOutlineRect(double sizePoints, double borderWidthPoints) {
    const double inset = borderWidthPoints / 2;
    return {inset, inset, std::max(0.0, sizePoints - 2 * inset),
            std::max(0.0, sizePoints - 2 * inset)};
}

bool highlightFilled(CursorHighlightShape shape) {
    return shape == CursorHighlightShape::filledCircle;
}

double highlightAlpha(const Colour& colour, double opacity) {
    return colour.alpha / 255.0 * clampedUnit(opacity);
}

std::array<AidPoint, 4> rhombusCorners(const AidRect& rect) {
    const double midX = rect.x + rect.width / 2;
    const double midY = rect.y + rect.height / 2;
    return {AidPoint{midX, rect.y}, AidPoint{rect.x + rect.width, midY},
            AidPoint{midX, rect.y + rect.height}, AidPoint{rect.x, midY}};
}

}  // namespace scrawlet::core
