// The configuration and the printed report of the text-input check, apart from the windows
// and keys that produce them, so that every line can be checked without a display.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "app/shell/environment.h"

namespace scrawlet::diagnostics {

struct TextInputSpikeConfig {
    // The live check instead of the scripted routes.
    bool live = false;
    double liveSeconds = 20;
    std::string logPath = "/tmp/scrawlet-textspike.jsonl";

    static TextInputSpikeConfig fromEnvironment(const shell::Environment& env);
};

// What one scripted route saw. `keysSent` keys were typed through the server's test input.
struct RouteResult {
    bool ran = false;
    // Why the route did not run or could not be set up; empty when it did.
    std::string skipped;
    int keysSent = 0;
    int panelKeys = 0;
    int monitorHits = 0;
    int tapHits = 0;
    std::string frontmost;
    bool stoleFocus = false;
};

struct ScriptedReport {
    bool accessibility = false;
    std::string frontmostBefore;
    RouteResult routeA, routeA2, routeB, routeC;
};

// The report of the scripted routes, every line ending in a line feed.
std::string formatScriptedReport(const ScriptedReport& report);

// One line of the live check's progress, without its line feed.
std::string formatLiveTick(int second, int panelKeys, int typedKeys, std::string_view frontmost);
// The live check's one verdict. Without a monitor (`typedKeys` unknown) the keys typed cannot
// be compared, so only the panel's count decides.
std::string_view liveVerdict(int panelKeys, bool focusMoved);

// What the report calls an application: its name, else its class, else "(none)".
std::string frontmostLabel(std::string_view name, std::string_view bundleId);

}  // namespace scrawlet::diagnostics
