#include "app/diagnostics/capture_config.h"

#include <algorithm>
#include <vector>

namespace scrawlet::diagnostics {
namespace {

// Qt timers count milliseconds in an int.
constexpr double kMaximumSeconds = 2147483;

std::optional<int> whole(const shell::Environment& env, std::string_view name, int low, int high) {
    const auto value = env.integer(name);
    if (!value || *value < low || *value > high) {
        return std::nullopt;
    }
    return static_cast<int>(*value);
}

}  // namespace

CaptureConfig CaptureConfig::fromEnvironment(const shell::Environment& env) {
    CaptureConfig c;
    if (const auto path = env.text("SCRAWLET_CAPTURE_LOG"); path && !path->empty()) {
        c.logPath = *path;
    }
    if (const auto path = env.text("SCRAWLET_CAPTURE_SUMMARY"); path && !path->empty()) {
        c.summaryPath = *path;
    }
    if (const auto seconds = env.number("SCRAWLET_CAPTURE_SECONDS");
        seconds && *seconds > 0 && *seconds <= kMaximumSeconds) {
        c.seconds = *seconds;
    }
    if (const auto linger = env.number("SCRAWLET_CAPTURE_LINGER");
        linger && *linger >= 0 && *linger <= kMaximumSeconds) {
        c.lingerSeconds = *linger;
    }
    c.displayIndex = whole(env, "SCRAWLET_CAPTURE_DISPLAY", 0, 1 << 16).value_or(c.displayIndex);
    c.requestedFPS = whole(env, "SCRAWLET_CAPTURE_FPS", 1, 240).value_or(c.requestedFPS);
    c.excludeOverlay = env.flag("SCRAWLET_CAPTURE_EXCLUDE_OVERLAY");
    c.animateContent = env.flag("SCRAWLET_CAPTURE_ANIMATE");
    c.recoverStream = env.flag("SCRAWLET_CAPTURE_RECOVER");
    c.maxRestarts = whole(env, "SCRAWLET_CAPTURE_MAX_RESTARTS", 0, 1 << 20).value_or(c.maxRestarts);
    c.maxRetryAttempts =
        whole(env, "SCRAWLET_CAPTURE_MAX_RETRIES", 0, 1 << 20).value_or(c.maxRetryAttempts);
    if (const auto fiducial = env.value("SCRAWLET_CAPTURE_FIDUCIAL")) {
        c.fiducialRect = rectangle(*fiducial);
    }
    if (const auto path = env.text("SCRAWLET_CAPTURE_DUMP_FRAME"); path && !path->empty()) {
        c.dumpFramePath = *path;
    }
    return c;
}

std::optional<QRectF> CaptureConfig::rectangle(std::string_view text) {
    std::vector<double> values;
    for (;;) {
        const auto comma = text.find(',');
        const auto number = shell::Environment::parseNumber(text.substr(0, comma));
        if (!number || values.size() == 4) {
            return std::nullopt;
        }
        values.push_back(*number);
        if (comma == std::string_view::npos) {
            break;
        }
        text.remove_prefix(comma + 1);
    }
    if (values.size() != 4 || values[2] <= 0 || values[3] <= 0) {
        return std::nullopt;
    }
    return QRectF(values[0], values[1], values[2], values[3]);
}

}  // namespace scrawlet::diagnostics
