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

// The case whose token (in case order) `name` holds; none when it is absent or empty. An
// unknown token is refused, with the tokens an operator may use in `shown`.
template <class E, std::size_t N>
std::expected<std::optional<E>, ConfigExit> choice(const shell::Environment& env,
                                                   std::string_view name,
                                                   const std::array<std::string_view, N>& tokens,
                                                   std::string_view shown) {
    const auto value = token(env, name);
    if (!value) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < N; ++i) {
        if (tokens[i] == *value) {
            return static_cast<E>(i);
        }
    }
    return std::unexpected(ConfigExit{"probe: unknown " + std::string(name) + " \"" +
                                          std::string(*value) + "\" (" + std::string(shown) + ")",
                                      64});
}

// The transport's tokens differ from its raw values, which the output reports.
constexpr std::array<std::string_view, 3> kTransportTokens{"live", "direct", "cgevent"};

}  // namespace

std::expected<RunConfig, ConfigExit> RunConfig::fromEnvironment(const shell::Environment& env) {
    RunConfig c;
    const auto label = env.value("SCRAWLET_PROBE_DEVICE");
    if (!label) {
        return std::unexpected(
            ConfigExit{"probe: SCRAWLET_PROBE_DEVICE is required (see M0-plan P3)", 64});
    }
    c.deviceLabel = *label;
    const auto mode = choice<PresentMode>(env, "SCRAWLET_PROBE_PRESENT_MODE",
                                          core::EnumTraits<PresentMode>::names, "vsync|per-event");
    if (!mode) {
        return std::unexpected(mode.error());
    }
    c.presentMode = mode->value_or(c.presentMode);
    // The line lists the probe view's own two surfaces; "draw" is accepted as well.
    const auto surface = choice<Surface>(env, "SCRAWLET_PROBE_SURFACE",
                                         core::EnumTraits<Surface>::names, "window|overlay");
    if (!surface) {
        return std::unexpected(surface.error());
    }
    c.surface = surface->value_or(c.surface);
    // An explicit transport wins over the synthetic switch, which only changes the default.
    if (env.flag("SCRAWLET_PROBE_SYNTHETIC")) {
        c.transport = Transport::direct;
    }
    const auto transport =
        choice<Transport>(env, "SCRAWLET_PROBE_TRANSPORT", kTransportTokens, "live|direct|cgevent");
    if (!transport) {
        return std::unexpected(transport.error());
    }
    c.transport = transport->value_or(c.transport);
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
