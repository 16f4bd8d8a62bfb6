#include "app/diagnostics/overlay_config.h"

#include <algorithm>

namespace scrawlet::diagnostics {
namespace {

// A sentinel that is no square, or one that leaves the smallest screen, proves nothing.
constexpr double kMaximumSentinelPoints = 400;

}  // namespace

std::expected<OverlayConfig, shell::ConfigExit> OverlayConfig::fromEnvironment(
    const shell::Environment& env) {
    OverlayConfig c;
    if (const auto behavior = env.value("SCRAWLET_OVERLAY_BEHAVIOR")) {
        // "none" is no token: an empty behaviour.
        c.behaviorTokens = shell::DrawConfig::behaviorTokenList(*behavior);
    }
    const auto behavior = shell::collectionBehavior(c.behaviorTokens);
    if (!behavior.unknownTokens.empty()) {
        std::string joined;
        for (const auto& token : behavior.unknownTokens) {
            joined += (joined.empty() ? "" : ",") + token;
        }
        return std::unexpected(
            shell::ConfigExit{"overlay: unknown collectionBehavior tokens: " + joined, 64});
    }
    if (const auto level = env.text("SCRAWLET_OVERLAY_LEVEL"); level && !level->empty()) {
        c.levelToken = *level;
    }
    if (const auto path = env.text("SCRAWLET_OVERLAY_LOG"); path && !path->empty()) {
        c.logPath = *path;
    }
    const auto size = env.number("SCRAWLET_OVERLAY_SENTINEL_SIZE");
    if (size && *size >= 1 && *size <= kMaximumSentinelPoints) {
        c.sentinelSizePoints = *size;
    }
    const auto inset = env.number("SCRAWLET_OVERLAY_SENTINEL_INSET");
    if (inset && *inset >= 0 && *inset <= kMaximumSentinelPoints) {
        c.sentinelInsetPoints = *inset;
    }
    if (const auto seconds = env.number("SCRAWLET_OVERLAY_SECONDS"); seconds && *seconds > 0) {
        // Qt timers count milliseconds in an int.
        c.maxDurationSeconds = std::min(*seconds, 2147483.0);
    }
    if (const auto alpha = env.number("SCRAWLET_OVERLAY_FILL_ALPHA");
        alpha && *alpha >= 0 && *alpha <= 1) {
        c.debugFillAlpha = *alpha;
    }
    c.startsIgnoringMouseEvents = env.flag("SCRAWLET_OVERLAY_CLICKTHROUGH");
    return c;
}

long long OverlayConfig::behaviorBits() const {
    return static_cast<long long>(shell::collectionBehavior(behaviorTokens).bits);
}

}  // namespace scrawlet::diagnostics
