// What the capture check looks for in a captured frame: the overlay's sentinel square and its
// fiducial rectangle, each a known solid colour at a known place. Pure.
#pragma once

#include <QImage>
#include <QRect>

namespace scrawlet::diagnostics {

// How far each channel may stray from the drawn colour: the compositor may blend an edge, and
// the capture converts formats.
inline constexpr int kChannelTolerance = 24;

struct SentinelProbe {
    bool present = false;
    // The fraction of the square's inner pixels that show the colour, 0 to 1.
    double match = 0;
};
// Looks at the inner three fifths of `square` (image pixels), so that a frame shifted or
// scaled by a pixel still matches; present when at least half of it matches.
SentinelProbe probeSentinel(const QImage& image, const QRect& square, QRgb colour);

struct FiducialProbe {
    bool present = false;
    // The centre of the matching pixels, in image pixels; 0 when none match.
    double x = 0;
    double y = 0;
    int pixels = 0;
};
// Counts the pixels of the colour within `rect` grown by a margin of its own size's tenth;
// present when they cover at least half of `rect`'s area.
FiducialProbe probeFiducial(const QImage& image, const QRect& rect, QRgb colour);

}  // namespace scrawlet::diagnostics
