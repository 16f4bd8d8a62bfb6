// Where the keystroke pill sits and when its fade clock has to tick. Screen coordinates have
// their origin at the top left with y growing downwards, in device-independent pixels.
//
// The pill is 1.9 × size high and at least 6.5 × size wide, wider when its caption needs it,
// 24 pixels in from the chosen corner of the work area; it grows away from that corner.
#pragma once

#include <optional>

#include "core/settings.h"

namespace scrawlet::core {

struct PillFrame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const PillFrame&) const = default;
};

namespace KeystrokePill {

inline constexpr double marginPoints = 24;
inline constexpr double widthPerSize = 6.5;
inline constexpr double heightPerSize = 1.9;
// Room on either side of the caption, so that the round ends never clip it.
inline constexpr double paddingPerSize = 0.6;

// `workArea` is the part of the main display left free by panels and docks.
PillFrame frame(const PillFrame& workArea, KeystrokeDisplayPosition position, double sizePoints,
                double captionWidth);

// How long after a key the fade clock must next tick, given the caption's age; none when the
// caption never fades (`timeToLive` absent) or has faded out. Before the fade starts there is one
// wait until it does; during it one tick per refresh interval.
std::optional<double> nextTickDelay(double ageSeconds, std::optional<double> timeToLive,
                                    double refreshIntervalSeconds);

}  // namespace KeystrokePill
}  // namespace scrawlet::core
