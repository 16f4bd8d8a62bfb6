// The machine-readable traces a draw-mode run leaves for test harnesses, built as text.
//
// `summaryJson` turns a plain snapshot of the run (RunSummaryInput) into the one-object JSON
// summary with its keys in the fixed order consumers rely on; the progress line and the
// pointer-park record are built the same way. Nothing here touches a display: the caller
// gathers the values (counters summed over all views, the aids' and windows' state, the pen
// settings) on the main thread and hands them over. A default-constructed input is a run in
// which no aid, window or audit took part: every flag false, every counter 0, every key still
// written.
//
// Number forms: "durationSeconds" "%.3f", "at" "%.6f", counts as integers, other measures in
// the shortest text that reads back as the same double ("4.0"). JSON has no NaN or infinity,
// so a non-finite measure is written as 0.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/shell/draw_config.h"
#include "core/action_id.h"
#include "core/auto_erase.h"
#include "core/colour.h"
#include "core/settings.h"

namespace scrawlet::shell {

// The state every presentation aid reports; zero when the aid never ran.
struct AidActivity {
    bool enabled = false;
    bool active = false;
    std::uint64_t presentedFrames = 0;
    std::uint64_t idleTicks = 0;
};

// The allocation audit's counts. When the audit is not compiled in the summary writes false
// and zeros whatever the other fields hold.
struct AllocationAuditTotals {
    bool compiledIn = false;
    bool armed = false;
    std::uint64_t handlerIntervals = 0;
    std::uint64_t handlerAllocations = 0;
    std::uint64_t handlerFrees = 0;
    std::uint64_t worstIntervalAllocations = 0;
    std::uint64_t mainThreadAllocationsOutsideHandler = 0;
};

// Counters summed over every ink view of the run.
struct InkTotals {
    std::uint64_t eventCount = 0;
    std::uint64_t draggedEventCount = 0;
    std::uint64_t strokeCount = 0;
    std::uint64_t visibleSpanCount = 0;
    std::uint64_t reclaimablePointCount = 0;
    std::uint64_t visibleTextCount = 0;
    std::uint64_t droppedTextCount = 0;
    std::uint64_t frameCount = 0;
    std::uint64_t deferredFrameCount = 0;
    std::uint64_t tickCount = 0;
    std::uint64_t idleTickCount = 0;
    std::uint64_t instanceCount = 0;
    std::uint64_t droppedPointCount = 0;
    std::uint64_t droppedStrokeCount = 0;
    std::uint64_t droppedInstanceCount = 0;
};

struct CaptureTotals {
    std::uint64_t frameCount = 0;
    std::uint64_t selfCaptureFrames = 0;
    std::uint64_t rebuilds = 0;
};

struct LensSummary {
    AidActivity activity;
    double level = 0;
    double sizePoints = 0;
};

struct FullScreenZoomSummary {
    AidActivity activity;
    double level = 0;
    double panEasing = 0;
};

struct SpotlightSummary {
    AidActivity activity;
    core::RegionShape shape = core::RegionShape::circle;
    double sizePoints = 0;
    double dimOpacity = 0;
    bool dimAllDisplays = false;
};

struct CursorHighlightSummary {
    AidActivity activity;
    core::CursorHighlightShape shape = core::CursorHighlightShape::ring;
    double sizePoints = 0;
    core::Colour colour;
    double opacity = 0;
    double borderWidthPoints = 0;
    bool clickRipple = false;
};

struct KeystrokeDisplaySummary {
    bool enabled = false;
    bool active = false;
    std::uint64_t shownCount = 0;
    core::KeystrokeDisplayPosition position = core::KeystrokeDisplayPosition::bottomRight;
    double sizePoints = 0;
    core::AutoEraseMode fadeMode = core::AutoEraseMode::off;
};

struct RunSummaryInput {
    std::string reason;
    double durationSeconds = 0;
    std::string buildConfiguration;  // "Release" or "Debug"
    AllocationAuditTotals audit;
    bool allocationSelfTest = false;
    bool latencyProbeAttached = false;
    std::uint64_t latencyProbeEvents = 0;
    DrawConfig::Transport transport = DrawConfig::Transport::live;
    double syntheticHz = 0;
    std::uint64_t panels = 0;
    InkTotals ink;
    std::int64_t textCapacity = 0;
    std::vector<core::ActionID> scriptedActions;
    CaptureTotals capture;
    LensSummary lens;
    FullScreenZoomSummary fullScreenZoom;
    SpotlightSummary spotlight;
    CursorHighlightSummary cursorHighlight;
    KeystrokeDisplaySummary keystrokeDisplay;
    core::RegionShape zoomLensShape = core::RegionShape::circle;
    std::string captureDestinationFolder;
    std::int64_t captureHistoryCount = 0;
    core::Colour whiteboardBoardColour;
    bool settingsWindowEnabled = false;
    bool settingsWindowActive = false;
    bool onboardingActive = false;
    bool onboardingCompleted = false;
    bool aboutActive = false;
    std::string aboutName;
    std::string aboutVersion;
    std::string aboutBuild;
    std::string aboutIconSource = "placeholder";  // or "bundle"
    bool updaterStarted = false;
    bool updaterAutomaticChecks = false;
    std::string updaterFeedUrl;
    core::Colour penColour;
    double penWidthPoints = 0;
    double penOpacity = 0;
    bool everBecameFrontmost = false;
    std::int64_t pointCapacity = 0;
    double strokeWidthPoints = 0;
    double backingScaleFactor = 0;
    double nominalRefreshHz = 0;
    std::string osVersion;  // see currentOsVersion()
    std::string startedAt;  // see startedAtText()

    // An input carrying what the configuration decides (transport, synthetic rate, capacities,
    // stroke width, scripted actions, allocation self-test) and, until each aid reports its
    // own, the aids' and windows' values from the current settings with the configuration's
    // overrides on top; counters and activity stay zero.
    static RunSummaryInput fromConfig(const DrawConfig& config, const core::Settings& settings);
};

// A feature that has figures in the summary writes them into the snapshot at finish.
class SummaryContributor {
  public:
    virtual ~SummaryContributor() = default;
    virtual void contribute(RunSummaryInput& input) const = 0;
};

// The summary object on one line, without a line feed.
std::string summaryJson(const RunSummaryInput& input);

// "draw: N events / N strokes / N frames", plus " / handler allocations N" when the allocation
// audit is compiled in (pass its count then); without a line feed.
std::string progressLine(std::uint64_t events, std::uint64_t strokes, std::uint64_t frames,
                         std::optional<std::uint64_t> handlerAllocations = std::nullopt);

// One "pointerPark" kind record for the event log; `atSeconds` is monotonic uptime.
std::string pointerParkRecord(std::int64_t step, double atSeconds, GlobalPoint requested,
                              GlobalPoint landed);

// One "registration" kind record: where a surface's content lands on the screen, with its
// registration marks ("marks": name, content point, global point in screen points, size).
struct RegistrationMark {
    std::string name;
    GlobalPoint content;
    GlobalPoint global;
    double sizePoints = 0;
};
struct RegistrationInput {
    std::uint32_t displayID = 0;
    bool republished = false;
    std::string screenName;
    double originX = 0, originY = 0, zoom = 1;
    double pointWidth = 0, pointHeight = 0, pixelWidth = 0, pixelHeight = 0;
    double backingScaleFactor = 1;
    double strokeWidthContentUnits = 0;
    std::vector<int> fiducialRGB;
    std::vector<RegistrationMark> marks;
};
std::string registrationRecord(const RegistrationInput& input);

// The interactive-mode round-trip report: the block for standard error (starting with its
// blank line) and the note of the "an16" record. The median of an even count is the lower
// middle trial.
struct An16Report {
    double p50 = 0;
    double worst = 0;
    std::string text;
    std::string note;
};
An16Report an16Report(std::vector<double> trialMilliseconds, std::int64_t trials,
                      std::int64_t lost);

// "<PRETTY_NAME>, kernel <release>" from the text of an os-release file; PRETTY_NAME falls
// back to "Linux" as that file's format prescribes.
std::string osVersionText(std::string_view osRelease, std::string_view kernelRelease);
// The same for this machine (/etc/os-release, else /usr/lib/os-release, and uname).
std::string currentOsVersion();

// The machine's model as its firmware names it (the DMI product name), empty when unknown.
std::string currentHardwareModel();

// "Release" for an optimised build without assertions, else "Debug".
std::string buildConfiguration();

// ISO 8601 in UTC with milliseconds, "2025-03-07T09:05:02.042Z": a wall-clock moment that
// harnesses can line up with their own logs, unlike the monotonic times of the event log.
std::string startedAtText(std::chrono::system_clock::time_point moment);

}  // namespace scrawlet::shell
