// Auto-erase: ink stays opaque, then fades out linearly over a short window that ends exactly at
// its time to live. The GPU evaluates the same curve for strokes from a per-frame uniform; this
// is the CPU form for everything else that fades with the same setting.
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "core/enum_traits.h"

namespace scrawlet::core {

// Case order is also the order in which the cycle action steps through the modes.
enum class AutoEraseMode { off, oneSecond, threeSeconds, fiveSeconds, custom };

template <>
struct EnumTraits<AutoEraseMode> {
    static constexpr std::array<std::string_view, 5> names{"off", "oneSecond", "threeSeconds",
                                                           "fiveSeconds", "custom"};
};

// The next mode of the cycle, wrapping from custom to off.
constexpr AutoEraseMode nextAutoEraseMode(AutoEraseMode mode) {
    const auto next = (static_cast<std::size_t>(mode) + 1) % caseCount<AutoEraseMode>();
    return static_cast<AutoEraseMode>(next);
}

namespace AutoErase {

inline constexpr double fadeSeconds = 0.4;

// Half the lifetime, at most fadeSeconds.
constexpr double fadeWindow(double timeToLive) {
    return std::min(timeToLive * 0.5, fadeSeconds);
}

constexpr double alpha(double age, std::optional<double> timeToLive) {
    if (!timeToLive || !(*timeToLive > 0) || age <= 0) {
        return 1.0;
    }
    const double ttl = *timeToLive;
    if (age >= ttl) {
        return 0.0;
    }
    const double window = fadeWindow(ttl);
    if (age <= ttl - window) {
        return 1.0;
    }
    return (ttl - age) / window;
}

constexpr std::optional<double> deathTime(double birth, std::optional<double> timeToLive) {
    if (!timeToLive || !(*timeToLive > 0)) {
        return std::nullopt;
    }
    return birth + *timeToLive;
}

}  // namespace AutoErase
}  // namespace scrawlet::core
