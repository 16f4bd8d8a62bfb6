#include "app/diagnostics/text_input_report.h"

#include <cstdio>

namespace scrawlet::diagnostics {
namespace {

// An hour bounds a live check that was started and forgotten.
constexpr double kMaximumLiveSeconds = 3600;

std::string counted(int got, int of) {
    return std::to_string(got) + "/" + std::to_string(of);
}

std::string focus(const RouteResult& route) {
    return std::string(" stoleFocus=") + (route.stoleFocus ? "true" : "false");
}

}  // namespace

TextInputSpikeConfig TextInputSpikeConfig::fromEnvironment(const shell::Environment& env) {
    TextInputSpikeConfig c;
    c.live = env.flag("SCRAWLET_TEXTSPIKE_LIVE");
    const auto seconds = env.number("SCRAWLET_TEXTSPIKE_SECONDS");
    if (seconds && *seconds >= 1 && *seconds <= kMaximumLiveSeconds) {
        c.liveSeconds = *seconds;
    }
    if (const auto path = env.text("SCRAWLET_TEXTSPIKE_LOG"); path && !path->empty()) {
        c.logPath = *path;
    }
    return c;
}

std::string formatScriptedReport(const ScriptedReport& r) {
    std::string text = "scrawlet R1 spike — keyboard input to a non-activating overlay\n";
    text += std::string("  accessibility: ") + (r.accessibility ? "granted" : "not granted") + "\n";
    text += "  frontmost before: " + r.frontmostBefore + "\n";
    const auto line = [&](std::string_view name, const RouteResult& route, std::string counts) {
        text += "  route " + std::string(name) + ": ";
        text += route.ran ? counts + focus(route) : "skipped (" + route.skipped + ")";
        text += "\n";
    };
    line("A  (keyboard grab on the panel, focus unchanged)", r.routeA,
         "keys=" + counted(r.routeA.panelKeys, r.routeA.keysSent) +
             " frontmost=" + r.routeA.frontmost);
    line("A2 (input focus to the panel)", r.routeA2,
         "keysToPanel=" + counted(r.routeA2.panelKeys, r.routeA2.keysSent) +
             " frontmost=" + r.routeA2.frontmost);
    line("B  (raw-key monitor, observes only)", r.routeB,
         "monitorHits=" + counted(r.routeB.monitorHits, r.routeB.keysSent));
    line("C  (consuming keyboard grab, monitor as control)", r.routeC,
         "tapHits=" + counted(r.routeC.tapHits, r.routeC.keysSent) +
             " monitorHits=" + counted(r.routeC.monitorHits, r.routeC.keysSent));
    text += "  Full log: the FrontmostLog path printed above.\n";
    text += "R1 spike complete\n";
    return text;
}

std::string formatLiveTick(int second, int panelKeys, int typedKeys, std::string_view frontmost) {
    char prefix[64];
    std::snprintf(prefix, sizeof prefix, "[%2ds] panel=%-4d typed=%-4d frontmost=", second,
                  panelKeys, typedKeys);
    return prefix + std::string(frontmost);
}

std::string_view liveVerdict(int panelKeys, bool focusMoved) {
    if (panelKeys == 0) {
        return "=> route A does NOT deliver live keys. Synthetic result was an artefact.";
    }
    return focusMoved ? "=> keys arrive but focus moved. Route A costs what P4 says it costs."
                      : "=> route A holds live: keys arrive, focus never moves.";
}

std::string frontmostLabel(std::string_view name, std::string_view bundleId) {
    if (!name.empty()) {
        return std::string(name);
    }
    return bundleId.empty() ? "(none)" : std::string(bundleId);
}

}  // namespace scrawlet::diagnostics
