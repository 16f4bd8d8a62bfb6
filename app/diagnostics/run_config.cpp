#include "app/diagnostics/run_config.h"

#include <algorithm>

namespace scrawlet::diagnostics {
namespace {

using shell::ConfigExit;

constexpr std::int64_t kMaximumSamples = 400000;
// Qt timers count milliseconds in an int.
constexpr double kMaximumSeconds = 2147483;
constexpr double kMaximumSyntheticHz = 1000;

// An empty value stands for the default, as an absent one does.
std::optional<std::string_view> token(const shell::Environment& env, std::string_view name) {
    const auto value = env.value(name);
    if (!value || value->empty()) {
        return std::nullopt;
    }
    return value;
}

std::expected<RunConfig::Transport, ConfigExit> transportFrom(std::string_view value) {
    if (value == "live")
        return RunConfig::Transport::live;
    if (value == "direct")
        return RunConfig::Transport::direct;
    if (value == "cgevent")
        return RunConfig::Transport::cgEventPost;
    return std::unexpected(ConfigExit{"probe: unknown SCRAWLET_PROBE_TRANSPORT \"" +
                                          std::string(value) + "\" (live|direct|cgevent)",
                                      64});
}

}  // namespace

std::expected<RunConfig, ConfigExit> RunConfig::fromEnvironment(const shell::Environment& env) {
    RunConfig c;
    const auto label = env.value("SCRAWLET_PROBE_DEVICE");
    if (!label) {
        return std::unexpected(
            ConfigExit{"probe: SCRAWLET_PROBE_DEVICE is required (see M0-plan P3)", 64});
    }
    c.deviceLabel = *label;
    if (const auto mode = token(env, "SCRAWLET_PROBE_PRESENT_MODE")) {
        const auto parsed = core::fromRawValue<PresentMode>(*mode);
        if (!parsed) {
            return std::unexpected(ConfigExit{"probe: unknown SCRAWLET_PROBE_PRESENT_MODE \"" +
                                                  std::string(*mode) + "\" (vsync|per-event)",
                                              64});
        }
        c.presentMode = *parsed;
    }
    if (const auto surface = token(env, "SCRAWLET_PROBE_SURFACE")) {
        const auto parsed = core::fromRawValue<Surface>(*surface);
        if (!parsed) {
            return std::unexpected(ConfigExit{"probe: unknown SCRAWLET_PROBE_SURFACE \"" +
                                                  std::string(*surface) + "\" (window|overlay)",
                                              64});
        }
        c.surface = *parsed;
    }
    // An explicit transport wins over the synthetic switch, which only changes the default.
    if (env.flag("SCRAWLET_PROBE_SYNTHETIC")) {
        c.transport = Transport::direct;
    }
    if (const auto transport = token(env, "SCRAWLET_PROBE_TRANSPORT")) {
        const auto parsed = transportFrom(*transport);
        if (!parsed) {
            return std::unexpected(parsed.error());
        }
        c.transport = *parsed;
    }
    if (const auto drawables = env.value("SCRAWLET_PROBE_MAX_DRAWABLES")) {
        if (const auto count = shell::Environment::parseInteger(*drawables)) {
            if (*count != 2 && *count != 3) {
                return std::unexpected(
                    ConfigExit{"probe: SCRAWLET_PROBE_MAX_DRAWABLES must be 2 or 3, got " +
                                   std::string(*drawables),
                               64});
            }
            c.maximumDrawableCount = static_cast<int>(*count);
        }
    }
    if (c.surface == Surface::draw && c.synthetic()) {
        return std::unexpected(ConfigExit{
            "--surface draw does not support a synthetic transport. The post-time token lives "
            "in SyntheticDriver, which drives ProbeView; a draw run would record postTimestamp 0 "
            "for every sample and skip the domain check silently. Use --transport live.",
            64});
    }
    if (const auto path = env.text("SCRAWLET_PROBE_OUT"); path && !path->empty()) {
        c.outputPath = *path;
    }
    if (const auto samples = env.integer("SCRAWLET_PROBE_SAMPLES");
        samples && *samples >= 1 && *samples <= kMaximumSamples) {
        c.targetSamples = *samples;
    }
    if (const auto seconds = env.number("SCRAWLET_PROBE_MAX_SECONDS");
        seconds && *seconds > 0 && *seconds <= kMaximumSeconds) {
        c.maxSeconds = *seconds;
    }
    if (const auto display = token(env, "SCRAWLET_PROBE_DISPLAY")) {
        c.displaySelector = std::string(*display);
    }
    c.clearOnDown = env.flag("SCRAWLET_PROBE_CLEAR_ON_DOWN");
    c.flashOnDraw = env.flag("SCRAWLET_PROBE_FLASH_ON_DRAW");
    if (const auto hz = env.number("SCRAWLET_PROBE_SYNTHETIC_HZ");
        hz && *hz >= 1 && *hz <= kMaximumSyntheticHz) {
        c.syntheticHz = *hz;
    }
    c.presentsWithTransaction = env.flag("SCRAWLET_PROBE_PRESENT_WITH_TRANSACTION");
    return c;
}

}  // namespace scrawlet::diagnostics
