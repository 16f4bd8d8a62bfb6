#include "core/pointer_aid_geometry.h"

#include <algorithm>
#include <cmath>

namespace scrawlet::core {

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

RippleLook rippleAt(double progress, double sizePoints, double alpha) {
    const double t = clampedUnit(progress);
    return {sizePoints * (1 + t), clampedUnit(alpha) * (1 - t)};
}

std::size_t rippleFrameCount(double frameSeconds) {
    if (!(frameSeconds > 0)) {
        return 1;
    }
    return std::max<std::size_t>(
        1, static_cast<std::size_t>(std::ceil(kRippleSeconds / frameSeconds)));
}

// Each channel mirrored between the largest and the smallest keeps lightness and saturation and
// turns the hue by half a circle.
Colour rightClickColour(const Colour& colour) {
    const int high = std::max({colour.red, colour.green, colour.blue});
    const int low = std::min({colour.red, colour.green, colour.blue});
    if (high == low) {
        return {0, 51, 255, colour.alpha};
    }
    const auto mirror = [&](std::uint8_t channel) {
        return static_cast<std::uint8_t>(high + low - channel);
    };
    return {mirror(colour.red), mirror(colour.green), mirror(colour.blue), colour.alpha};
}

}  // namespace scrawlet::core
