// Where the zoom lens sits and what the magnifiers show, in global points with the origin at the
// top left and y growing downwards. Sources are fractions of the captured image (x from the
// left, y from the top), so they hold for any capture scale. Pure.
#pragma once

#include <optional>
#include <string>

#include "core/pointer_aid_geometry.h"

namespace scrawlet::core {

struct ZoomSource {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const ZoomSource&) const = default;
};

// The lens window of side `sizePoints` round the pointer, kept inside the screen.
AidRect lensFrame(AidPoint pointer, const AidRect& screen, double sizePoints);
// The part of an image of `imageWidth` × `imageHeight` pixels of the screen that the lens shows:
// the pointer's surroundings, 1/level of the lens's side. Not clamped: near an edge it reaches
// past the image, so the magnified spot stays under the pointer.
ZoomSource lensSource(AidPoint pointer, const AidRect& screen, double sizePoints, double level,
                      double imageWidth, double imageHeight);

// The full-screen zoom's centre one refresh later: `easing` 0 follows at once, 0.25 moves three
// quarters of the way each refresh, 1 or more stays put. The first refresh starts at the pointer.
AidPoint easedCentre(const std::optional<AidPoint>& centre, AidPoint pointer, double easing);
// 1/L of the image round `centre`, L at least 1.5, kept inside the image.
ZoomSource fullScreenSource(AidPoint centre, const AidRect& screen, double level, double imageWidth,
                            double imageHeight);

// One step of the zoom level shortcuts, held to 1.5…8.
double steppedZoomLevel(double level, double step);
// "%.2g": 2 shows as "2", 2.5 as "2.5".
std::string zoomLevelText(double level);

}  // namespace scrawlet::core
