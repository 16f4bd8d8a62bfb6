// The configuration of a capture check run, read once from the environment. Malformed values
// fall back to their defaults; the display index is checked against the screens at launch.
#pragma once

#include <QRectF>
#include <optional>
#include <string>

#include "app/shell/environment.h"

namespace scrawlet::diagnostics {

struct CaptureConfig {
    std::string logPath = "/tmp/scrawlet-capture.jsonl";
    std::string summaryPath = "/tmp/scrawlet-capture.json";
    double seconds = 10;
    double lingerSeconds = 0;
    int displayIndex = 0;
    int requestedFPS = 60;
    bool excludeOverlay = false;
    bool animateContent = false;
    bool recoverStream = false;
    int maxRestarts = 20;
    int maxRetryAttempts = 120;
    // In the display's points, from its top-left corner.
    std::optional<QRectF> fiducialRect;
    std::optional<std::string> dumpFramePath;

    static CaptureConfig fromEnvironment(const shell::Environment& env);
    // "x,y,width,height" with a positive size; anything else is nothing.
    static std::optional<QRectF> rectangle(std::string_view text);
};

}  // namespace scrawlet::diagnostics
