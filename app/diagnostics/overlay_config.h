// The configuration of an overlay check run, read once from the environment.
//
// Malformed numbers fall back to their defaults; an unknown collection-behaviour token is the
// one refusal, a usage error that ends the run before any window exists.
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "app/shell/draw_config.h"
#include "app/shell/environment.h"

namespace scrawlet::diagnostics {

struct OverlayConfig {
    std::vector<std::string> behaviorTokens{"canJoinAllSpaces"};
    std::string levelToken = "screenSaver";
    std::string logPath = "/tmp/scrawlet-overlay.jsonl";
    double sentinelInsetPoints = 40;
    double sentinelSizePoints = 24;
    // None: the run lasts until SIGUSR2.
    std::optional<double> maxDurationSeconds;
    double debugFillAlpha = 0;
    bool startsIgnoringMouseEvents = false;

    static std::expected<OverlayConfig, shell::ConfigExit> fromEnvironment(
        const shell::Environment& env);

    long long level() const { return shell::windowLevel(levelToken); }
    long long behaviorBits() const;
};

}  // namespace scrawlet::diagnostics
