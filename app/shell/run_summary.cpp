#include "app/shell/run_summary.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <ctime>

#include "app/platform/file_io.h"
#include "core/enum_traits.h"
#include "core/json_object.h"
#include "core/json_text.h"
#include "core/number_format.h"

namespace scrawlet::shell {
namespace {

// The summary's own text, which must exist before the writer that fills it.
struct SummaryText {
    std::string text;
};

// A JSON object writer with the summary's own kinds of member, holding its text.
class OrderedObject : private SummaryText, public core::BasicJsonObject<OrderedObject> {
  public:
    OrderedObject() : BasicJsonObject(SummaryText::text) { SummaryText::text.reserve(4096); }

    using BasicJsonObject::text;
    OrderedObject& colour(std::string_view key, const core::Colour& value) {
        return text(key, value.hexString());
    }
    template <class E>
    OrderedObject& raw(std::string_view key, E value) {
        return text(key, core::rawValue(value));
    }
    OrderedObject& activity(std::string_view prefix, const AidActivity& aid) {
        const std::string p(prefix);
        flag(p + "Enabled", aid.enabled);
        flag(p + "Active", aid.active);
        count(p + "PresentedFrames", aid.presentedFrames);
        return count(p + "IdleTicks", aid.idleTicks);
    }

    std::string close() && {
        BasicJsonObject::close();
        return std::move(SummaryText::text);
    }
};

std::string joinedRawValues(const std::vector<core::ActionID>& actions) {
    std::string joined;
    for (const core::ActionID action : actions) {
        if (!joined.empty()) {
            joined += ',';
        }
        joined += core::rawValue(action);
    }
    return joined;
}

// The value of one os-release assignment: shell-style quotes removed, and inside double
// quotes the four escapes the format allows.
std::string unquoted(std::string_view value) {
    if (value.size() < 2 || (value.front() != '"' && value.front() != '\'') ||
        value.back() != value.front()) {
        return std::string(value);
    }
    const bool escapes = value.front() == '"';
    value = value.substr(1, value.size() - 2);
    std::string out;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (escapes && value[i] == '\\' && i + 1 < value.size() &&
            std::string_view("\"\\$`").find(value[i + 1]) != std::string_view::npos) {
            ++i;
        }
        out += value[i];
    }
    return out;
}

}  // namespace

RunSummaryInput RunSummaryInput::fromConfig(const DrawConfig& config,
                                            const core::Settings& settings) {
    RunSummaryInput input;
    // The level variable is the lens's own: the full-screen zoom starts from the settings.
    const core::Settings run = config.settingsWithOverrides(settings);
    const core::ZoomSettings& zoom = run.zoom;
    input.lens.level = zoom.level;
    input.lens.sizePoints = zoom.lensSizePoints;
    input.fullScreenZoom.level = settings.zoom.level;
    input.fullScreenZoom.panEasing = zoom.panEasing;
    input.zoomLensShape = zoom.lensShape;
    const core::SpotlightSettings& spotlight = run.spotlight;
    input.spotlight.shape = spotlight.shape;
    input.spotlight.sizePoints = spotlight.sizePoints;
    input.spotlight.dimOpacity = spotlight.dimOpacity;
    input.spotlight.dimAllDisplays = spotlight.dimAllDisplays;
    const core::CursorHighlightSettings& highlight = run.cursorHighlight;
    input.cursorHighlight.shape = highlight.shape;
    input.cursorHighlight.sizePoints = highlight.sizePoints;
    input.cursorHighlight.colour = highlight.colour;
    input.cursorHighlight.opacity = highlight.opacity;
    input.cursorHighlight.borderWidthPoints = highlight.borderWidthPoints;
    input.cursorHighlight.clickRipple = highlight.clickRipple;
    const core::KeystrokeDisplaySettings& keystrokes = run.keystrokeDisplay;
    input.keystrokeDisplay.position = keystrokes.position;
    input.keystrokeDisplay.sizePoints = keystrokes.sizePoints;
    input.keystrokeDisplay.fadeMode = keystrokes.fade.mode;
    input.captureDestinationFolder = run.capture.destinationFolder;
    input.captureHistoryCount = run.capture.historyCount;
    input.whiteboardBoardColour = settings.whiteboard.boardColour;
    input.onboardingCompleted = settings.system.onboardingCompleted;
    input.transport = config.transport;
    input.syntheticHz = config.syntheticHz;
    input.textCapacity = config.limits.textCapacity;
    input.pointCapacity = config.limits.pointCapacity;
    input.strokeWidthPoints = config.widthPoints;
    input.scriptedActions = config.scriptedActions;
    input.allocationSelfTest = config.allocationSelfTest;
    return input;
}

std::string summaryJson(const RunSummaryInput& in) {
    // Without the audit there is nothing to count; zeros keep the keys comparable across builds.
    const AllocationAuditTotals audit = in.audit.compiledIn ? in.audit : AllocationAuditTotals{};
    OrderedObject o;
    o.text("kind", "drawSummary")
        .text("reason", in.reason)
        .text("buildConfiguration", in.buildConfiguration)
        .flag("auditCompiledIn", audit.compiledIn)
        .flag("auditArmed", audit.armed)
        .flag("allocationSelfTest", in.allocationSelfTest)
        .flag("latencyProbeAttached", in.latencyProbeAttached)
        .count("latencyProbeEvents", in.latencyProbeEvents)
        .fixed("durationSeconds", in.durationSeconds, 3)
        .raw("transport", in.transport)
        .number("syntheticHz", in.syntheticHz)
        .count("panels", in.panels)
        .count("eventCount", in.ink.eventCount)
        .count("draggedEventCount", in.ink.draggedEventCount)
        .count("strokeCount", in.ink.strokeCount)
        .count("visibleSpanCount", in.ink.visibleSpanCount)
        .count("reclaimablePointCount", in.ink.reclaimablePointCount)
        .count("visibleTextCount", in.ink.visibleTextCount)
        .count("droppedTextCount", in.ink.droppedTextCount)
        .count("textCapacity", in.textCapacity)
        .text("scriptedActions", joinedRawValues(in.scriptedActions))
        .count("captureFrameCount", in.capture.frameCount)
        .count("captureSelfCaptureFrames", in.capture.selfCaptureFrames)
        .count("captureRebuilds", in.capture.rebuilds);

    o.activity("lens", in.lens.activity)
        .number("lensLevel", in.lens.level)
        .number("lensSizePoints", in.lens.sizePoints);
    o.activity("fullScreenZoom", in.fullScreenZoom.activity)
        .number("fullScreenZoomLevel", in.fullScreenZoom.level)
        .number("fullScreenZoomPanEasing", in.fullScreenZoom.panEasing);
    o.activity("spotlight", in.spotlight.activity)
        .raw("spotlightShape", in.spotlight.shape)
        .number("spotlightSizePoints", in.spotlight.sizePoints)
        .number("spotlightDimOpacity", in.spotlight.dimOpacity)
        .flag("spotlightDimAllDisplays", in.spotlight.dimAllDisplays);
    const CursorHighlightSummary& highlight = in.cursorHighlight;
    o.activity("cursorHighlight", highlight.activity)
        .raw("cursorHighlightShape", highlight.shape)
        .number("cursorHighlightSizePoints", highlight.sizePoints)
        .colour("cursorHighlightColour", highlight.colour)
        .number("cursorHighlightOpacity", highlight.opacity)
        .number("cursorHighlightBorderWidthPoints", highlight.borderWidthPoints)
        .flag("cursorHighlightClickRipple", highlight.clickRipple);
    const KeystrokeDisplaySummary& keys = in.keystrokeDisplay;
    o.flag("keystrokeDisplayEnabled", keys.enabled)
        .flag("keystrokeDisplayActive", keys.active)
        .count("keystrokeDisplayShownCount", keys.shownCount)
        .raw("keystrokeDisplayPosition", keys.position)
        .number("keystrokeDisplaySizePoints", keys.sizePoints)
        .raw("keystrokeDisplayFadeMode", keys.fadeMode);

    o.raw("zoomLensShape", in.zoomLensShape)
        .text("captureDestinationFolder", in.captureDestinationFolder)
        .count("captureHistoryCount", in.captureHistoryCount)
        .colour("whiteboardBoardColour", in.whiteboardBoardColour)
        .flag("settingsWindowEnabled", in.settingsWindowEnabled)
        .flag("settingsWindowActive", in.settingsWindowActive)
        .flag("onboardingActive", in.onboardingActive)
        .flag("onboardingCompleted", in.onboardingCompleted)
        .flag("aboutActive", in.aboutActive)
        .text("aboutName", in.aboutName)
        .text("aboutVersion", in.aboutVersion)
        .text("aboutBuild", in.aboutBuild)
        .text("aboutIconSource", in.aboutIconSource)
        .flag("sparkleStarted", in.updaterStarted)
        .flag("sparkleAutomaticChecks", in.updaterAutomaticChecks)
        .text("sparkleFeedURL", in.updaterFeedUrl)
        .colour("penColour", in.penColour)
        .number("penWidthPoints", in.penWidthPoints)
        .number("penOpacity", in.penOpacity);

    o.count("frameCount", in.ink.frameCount)
        .count("deferredFrameCount", in.ink.deferredFrameCount)
        .count("tickCount", in.ink.tickCount)
        .count("idleTickCount", in.ink.idleTickCount)
        .count("instanceCount", in.ink.instanceCount)
        .count("droppedPointCount", in.ink.droppedPointCount)
        .count("droppedStrokeCount", in.ink.droppedStrokeCount)
        .count("droppedInstanceCount", in.ink.droppedInstanceCount)
        .count("handlerIntervals", audit.handlerIntervals)
        .count("handlerAllocations", audit.handlerAllocations)
        .count("handlerFrees", audit.handlerFrees)
        .count("worstIntervalAllocations", audit.worstIntervalAllocations)
        .count("mainThreadAllocationsOutsideHandler", audit.mainThreadAllocationsOutsideHandler)
        .flag("everBecameFrontmost", in.everBecameFrontmost)
        .count("pointCapacity", in.pointCapacity)
        .number("strokeWidthPoints", in.strokeWidthPoints)
        .number("backingScaleFactor", in.backingScaleFactor)
        .number("nominalRefreshHz", in.nominalRefreshHz)
        .text("osVersion", in.osVersion)
        .text("startedAt", in.startedAt);
    return std::move(o).close();
}

std::string progressLine(std::uint64_t events, std::uint64_t strokes, std::uint64_t frames,
                         std::optional<std::uint64_t> handlerAllocations) {
    std::string line = "draw: " + std::to_string(events) + " events / " + std::to_string(strokes) +
                       " strokes / " + std::to_string(frames) + " frames";
    if (handlerAllocations) {
        line += " / handler allocations " + std::to_string(*handlerAllocations);
    }
    return line;
}

std::string pointerParkRecord(std::int64_t step, double atSeconds, GlobalPoint requested,
                              GlobalPoint landed) {
    OrderedObject o;
    o.text("kind", "pointerPark")
        .count("step", step)
        .fixed("at", atSeconds, 6)
        .number("requestedX", requested.x)
        .number("requestedY", requested.y)
        .number("landedX", landed.x)
        .number("landedY", landed.y);
    return std::move(o).close();
}

std::string registrationRecord(const RegistrationInput& input) {
    std::string rgb = "[";
    for (std::size_t i = 0; i < input.fiducialRGB.size(); ++i) {
        rgb += (i ? "," : "") + std::to_string(input.fiducialRGB[i]);
    }
    rgb += "]";
    std::string marks = "[";
    for (std::size_t i = 0; i < input.marks.size(); ++i) {
        const RegistrationMark& mark = input.marks[i];
        OrderedObject m;
        m.text("name", mark.name)
            .number("contentX", mark.content.x)
            .number("contentY", mark.content.y)
            .number("globalX", mark.global.x)
            .number("globalY", mark.global.y)
            .number("sizePoints", mark.sizePoints);
        marks += (i ? "," : "") + std::move(m).close();
    }
    marks += "]";
    OrderedObject o;
    o.text("kind", "registration")
        .count("displayID", input.displayID)
        .flag("republished", input.republished)
        .text("screenName", input.screenName)
        .number("originX", input.originX)
        .number("originY", input.originY)
        .number("zoom", input.zoom)
        .number("pointWidth", input.pointWidth)
        .number("pointHeight", input.pointHeight)
        .number("pixelWidth", input.pixelWidth)
        .number("pixelHeight", input.pixelHeight)
        .number("backingScaleFactor", input.backingScaleFactor)
        .number("strokeWidthContentUnits", input.strokeWidthContentUnits)
        .json("fiducialRGB", rgb)
        .json("marks", marks);
    return std::move(o).close();
}

An16Report an16Report(std::vector<double> trialMilliseconds, std::int64_t trials,
                      std::int64_t lost) {
    std::sort(trialMilliseconds.begin(), trialMilliseconds.end());
    An16Report report;
    if (!trialMilliseconds.empty()) {
        report.p50 = trialMilliseconds[(trialMilliseconds.size() - 1) / 2];
        report.worst = trialMilliseconds.back();
    }
    const auto ms = [](double value) { return core::fixedDecimal(value, 2); };
    report.text = "\nAN-16 interactive-mode round trip, " + std::to_string(trials) +
                  " trials\n  p50   : " + ms(report.p50) + " ms\n  worst : " + ms(report.worst) +
                  " ms\n  budget: 50.00 ms\n  lost  : " + std::to_string(lost) + "\n";
    report.note = "trials=" + std::to_string(trials) + " p50Ms=" + ms(report.p50) +
                  " worstMs=" + ms(report.worst);
    return report;
}

std::string osVersionText(std::string_view osRelease, std::string_view kernelRelease) {
    static constexpr std::string_view kKey = "PRETTY_NAME=";
    std::string prettyName;
    while (!osRelease.empty()) {
        const std::size_t end = osRelease.find('\n');
        std::string_view line = osRelease.substr(0, end);
        osRelease.remove_prefix(end == std::string_view::npos ? osRelease.size() : end + 1);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        // Later assignments win, as when the file is sourced by a shell.
        if (line.starts_with(kKey)) {
            prettyName = unquoted(line.substr(kKey.size()));
        }
    }
    if (prettyName.empty()) {
        prettyName = "Linux";
    }
    if (kernelRelease.empty()) {
        return prettyName;
    }
    return prettyName + ", kernel " + std::string(kernelRelease);
}

std::string currentOsVersion() {
    auto osRelease = platform::readFileText("/etc/os-release");
    if (!osRelease) {
        osRelease = platform::readFileText("/usr/lib/os-release");
    }
    utsname names{};
    const bool haveKernel = ::uname(&names) == 0;
    return osVersionText(osRelease.value_or(""), haveKernel ? names.release : "");
}

std::string currentHardwareModel() {
    auto model = platform::readFileText("/sys/devices/virtual/dmi/id/product_name", 4096);
    if (!model) {
        return "";
    }
    const auto end = model->find_last_not_of(" \t\r\n");
    model->erase(end == std::string::npos ? 0 : end + 1);
    return std::move(*model);
}

std::string buildConfiguration() {
#ifdef NDEBUG
    return "Release";
#else
    return "Debug";
#endif
}

std::string startedAtText(std::chrono::system_clock::time_point moment) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(moment);
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(moment - whole);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    std::array<char, 64> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    // 1000 + ms gives the leading zeros without another formatting call.
    return std::string(date.data(), length) + "." +
           std::to_string(1000 + milliseconds.count()).substr(1) + "Z";
}

}  // namespace scrawlet::shell
