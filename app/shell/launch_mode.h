// Which of the executable's five purposes this process serves, chosen once from the
// environment at start.
#pragma once

#include <array>
#include <expected>
#include <string_view>

#include "app/shell/draw_config.h"
#include "app/shell/environment.h"
#include "core/enum_traits.h"

namespace scrawlet::shell {

enum class LaunchMode { overlay, probe, draw, capture, textspike };

// SCRAWLET_MODE when present (an exact raw value, else a usage error); otherwise probe when
// SCRAWLET_PROBE_DEVICE is present, else draw.
std::expected<LaunchMode, ConfigExit> launchModeFromEnvironment(const Environment& env);

}  // namespace scrawlet::shell

namespace scrawlet::core {
template <>
struct EnumTraits<shell::LaunchMode> {
    static constexpr std::array<std::string_view, 5> names{"overlay", "probe", "draw", "capture",
                                                           "textspike"};
};
}  // namespace scrawlet::core
