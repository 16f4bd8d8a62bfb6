#include "core/keystroke_pill.h"

#include <algorithm>

#include "core/auto_erase.h"

namespace scrawlet::core::KeystrokePill {

PillFrame frame(const PillFrame& workArea, KeystrokeDisplayPosition position, double sizePoints,
                double captionWidth) {
    const double width =
        std::max(widthPerSize * sizePoints, captionWidth + 2 * paddingPerSize * sizePoints);
    const double height = heightPerSize * sizePoints;
    const bool left = position == KeystrokeDisplayPosition::topLeft ||
                      position == KeystrokeDisplayPosition::bottomLeft;
    const bool top = position == KeystrokeDisplayPosition::topLeft ||
                     position == KeystrokeDisplayPosition::topRight;
    const double x =
        left ? workArea.x + marginPoints : workArea.x + workArea.width - marginPoints - width;
    const double y =
        top ? workArea.y + marginPoints : workArea.y + workArea.height - marginPoints - height;
    return {x, y, width, height};
}

std::optional<double> nextTickDelay(double ageSeconds, std::optional<double> timeToLive,
                                    double refreshIntervalSeconds) {
    if (!timeToLive || !(*timeToLive > 0) || AutoErase::alpha(ageSeconds, timeToLive) <= 0)
        return std::nullopt;
    const double fadeStart = *timeToLive - AutoErase::fadeWindow(*timeToLive);
    if (ageSeconds < fadeStart)
        return fadeStart - ageSeconds;
    // The last tick lands on the end of life, so the pill leaves exactly when it is invisible.
    return std::min(refreshIntervalSeconds, *timeToLive - ageSeconds);
}

}  // namespace scrawlet::core::KeystrokePill
