#include "core/zoom_geometry.h"

#include <algorithm>
#include <cstdio>

namespace scrawlet::core {

AidRect lensFrame(AidPoint pointer, const AidRect& screen, double sizePoints) {
    const double s = sizePoints;
    const double x = std::min(screen.x + screen.width - s, std::max(pointer.x - s / 2, screen.x));
    const double y = std::min(screen.y + screen.height - s, std::max(pointer.y - s / 2, screen.y));
    return {x, y, s, s};
}

ZoomSource lensSource(AidPoint pointer, const AidRect& screen, double sizePoints, double level,
                      double imageWidth, double imageHeight) {
    if (!(screen.width > 0) || !(screen.height > 0) || !(imageWidth > 0) || !(imageHeight > 0)) {
        return {};
    }
    const double kx = imageWidth / screen.width;
    const double ky = imageHeight / screen.height;
    const double d = sizePoints / std::max(level, 0.001);
    const double px = kx * (pointer.x - screen.x);
    const double py = ky * (pointer.y - screen.y);
    return {(px - kx * d / 2) / imageWidth, (py - ky * d / 2) / imageHeight, kx * d / imageWidth,
            ky * d / imageHeight};
}

AidPoint easedCentre(const std::optional<AidPoint>& centre, AidPoint pointer, double easing) {
    if (!centre) {
        return pointer;
    }
    const double t = easing <= 0 ? 1.0 : 1.0 - std::min(easing, 1.0);
    return {centre->x + (pointer.x - centre->x) * t, centre->y + (pointer.y - centre->y) * t};
}

ZoomSource fullScreenSource(AidPoint centre, const AidRect& screen, double level, double imageWidth,
                            double imageHeight) {
    if (!(screen.width > 0) || !(screen.height > 0) || !(imageWidth > 0) || !(imageHeight > 0)) {
        return {};
    }
    const double l = std::max(level, 1.5);
    const double kx = imageWidth / screen.width;
    const double ky = imageHeight / screen.height;
    const double w = (kx * screen.width / l) / imageWidth;
    const double h = (ky * screen.height / l) / imageHeight;
    const auto place = [](double start, double span) {
        return std::max(0.0, std::min(std::max(start, 0.0), 1.0 - span));
    };
    const double x = (kx * (centre.x - screen.x) - kx * screen.width / (2 * l)) / imageWidth;
    const double y = (ky * (centre.y - screen.y) - ky * screen.height / (2 * l)) / imageHeight;
    return {place(x, w), place(y, h), w, h};
}

double steppedZoomLevel(double level, double step) {
    return std::min(8.0, std::max(1.5, level + step));
}

std::string zoomLevelText(double level) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2g", level);
    return text;
}

}  // namespace scrawlet::core
