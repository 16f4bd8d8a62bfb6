// The configuration of a latency probe run, read once from the environment before any window
// exists.
//
// Unknown tokens (present mode, surface, transport), a drawable count other than 2 or 3, a
// missing device label and a synthetic transport on the draw surface are refusals: the line to
// print and status 64. Every other malformed value falls back to its default.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>

#include "app/shell/draw_config.h"
#include "app/shell/environment.h"
#include "core/enum_traits.h"

namespace scrawlet::diagnostics {

struct RunConfig {
    enum class PresentMode { vsync, perEvent };
    enum class Surface { window, overlay, draw };
    using Transport = shell::DrawConfig::Transport;

    std::string deviceLabel;
    PresentMode presentMode = PresentMode::vsync;
    Surface surface = Surface::window;
    Transport transport = Transport::live;
    int maximumDrawableCount = 2;
    std::string outputPath = "/tmp/scrawlet-latency.jsonl";
    std::int64_t targetSamples = 5000;
    double maxSeconds = 300;
    // A RandR monitor name or a zero-based index into the screens; none: the primary screen.
    std::optional<std::string> displaySelector;
    bool clearOnDown = false;
    bool flashOnDraw = false;
    double syntheticHz = 125;
    bool presentsWithTransaction = false;

    // The driver runs for every transport but live.
    bool synthetic() const { return transport != Transport::live; }

    static std::expected<RunConfig, shell::ConfigExit> fromEnvironment(
        const shell::Environment& env);
};

}  // namespace scrawlet::diagnostics

namespace scrawlet::core {
template <>
struct EnumTraits<diagnostics::RunConfig::PresentMode> {
    static constexpr std::array<std::string_view, 2> names{"vsync", "per-event"};
};
template <>
struct EnumTraits<diagnostics::RunConfig::Surface> {
    static constexpr std::array<std::string_view, 3> names{"window", "overlay", "draw"};
};
}  // namespace scrawlet::core
