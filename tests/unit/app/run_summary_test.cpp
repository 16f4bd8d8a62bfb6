#include "app/shell/run_summary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <tuple>

#include "core/fiducials.h"

namespace scrawlet::shell {
namespace {

using nlohmann::json;

// Keys in document order, as the parser meets them; a parsed object would sort them.
std::vector<std::string> keysInOrder(const std::string& text) {
    std::vector<std::string> keys;
    const auto collect = [&](int depth, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::key && depth == 1) {
            keys.push_back(parsed.get<std::string>());
        }
        return true;
    };
    EXPECT_TRUE(json::parse(text, collect).is_object());
    return keys;
}

// The literal text of a non-string value, as written.
std::string rawValue(const std::string& text, const std::string& key) {
    const std::string marker = "\"" + key + "\":";
    const auto start = text.find(marker);
    if (start == std::string::npos) {
        return "<missing>";
    }
    const auto from = start + marker.size();
    return text.substr(from, text.find_first_of(",}", from) - from);
}

std::vector<std::string> summaryKeys() {
    std::istringstream words(
        "kind reason buildConfiguration auditCompiledIn auditArmed allocationSelfTest "
        "latencyProbeAttached latencyProbeEvents durationSeconds transport syntheticHz panels "
        "eventCount draggedEventCount strokeCount visibleSpanCount reclaimablePointCount "
        "visibleTextCount droppedTextCount textCapacity scriptedActions captureFrameCount "
        "captureSelfCaptureFrames captureRebuilds lensEnabled lensActive lensPresentedFrames "
        "lensIdleTicks lensLevel lensSizePoints fullScreenZoomEnabled fullScreenZoomActive "
        "fullScreenZoomPresentedFrames fullScreenZoomIdleTicks fullScreenZoomLevel "
        "fullScreenZoomPanEasing spotlightEnabled spotlightActive spotlightPresentedFrames "
        "spotlightIdleTicks spotlightShape spotlightSizePoints spotlightDimOpacity "
        "spotlightDimAllDisplays cursorHighlightEnabled cursorHighlightActive "
        "cursorHighlightPresentedFrames cursorHighlightIdleTicks cursorHighlightShape "
        "cursorHighlightSizePoints cursorHighlightColour cursorHighlightOpacity "
        "cursorHighlightBorderWidthPoints cursorHighlightClickRipple keystrokeDisplayEnabled "
        "keystrokeDisplayActive keystrokeDisplayShownCount keystrokeDisplayPosition "
        "keystrokeDisplaySizePoints keystrokeDisplayFadeMode zoomLensShape "
        "captureDestinationFolder captureHistoryCount whiteboardBoardColour "
        "settingsWindowEnabled settingsWindowActive onboardingActive onboardingCompleted "
        "aboutActive aboutName aboutVersion aboutBuild aboutIconSource sparkleStarted "
        "sparkleAutomaticChecks sparkleFeedURL penColour penWidthPoints penOpacity frameCount "
        "deferredFrameCount tickCount idleTickCount instanceCount droppedPointCount "
        "droppedStrokeCount droppedInstanceCount handlerIntervals handlerAllocations "
        "handlerFrees worstIntervalAllocations mainThreadAllocationsOutsideHandler "
        "everBecameFrontmost pointCapacity strokeWidthPoints backingScaleFactor nominalRefreshHz "
        "osVersion startedAt");
    return {std::istream_iterator<std::string>(words), {}};
}
const std::vector<std::string> kSummaryKeys = summaryKeys();

// Every field set, each counter distinct, so a value landing under the wrong key shows.
RunSummaryInput busyRun() {
    RunSummaryInput in;
    in.reason = "signal";
    in.durationSeconds = 12.3456;
    in.buildConfiguration = "Release";
    in.audit = {true, true, 31, 32, 33, 34, 35};
    in.transport = DrawConfig::Transport::cgEventPost;
    in.syntheticHz = 125;
    in.panels = 2;
    in.ink = {
        std::numeric_limits<std::uint64_t>::max(), 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    in.scriptedActions = {core::ActionID::toolPen, core::ActionID::editUndo};
    in.capture = {21, 22, 23};
    in.lens = {{true, true, 41, 42}, 2.5, 180};
    in.spotlight.shape = core::RegionShape::roundedRect;
    in.cursorHighlight.colour = {255, 59, 48, 128};
    in.cursorHighlight.shape = core::CursorHighlightShape::squircle;
    in.keystrokeDisplay = {true, false,
                           7,    core::KeystrokeDisplayPosition::topLeft,
                           28,   core::AutoEraseMode::threeSeconds};
    in.penColour = {255, 59, 48, 255};
    in.penOpacity = 0.1;
    in.backingScaleFactor = std::nan("");
    in.aboutName = "Scr\"aw\\let\n\xC3\xA9";
    in.osVersion = "Debian GNU/Linux 12 (bookworm), kernel 6.1.0";
    in.startedAt = "2025-03-07T09:05:02.042Z";
    return in;
}

TEST(RunSummaryJson, EveryKeyOnceInTheFixedOrder) {
    const std::string text = summaryJson(busyRun());
    EXPECT_EQ(keysInOrder(text), kSummaryKeys);
    EXPECT_TRUE(text.starts_with(R"({"kind":"drawSummary","reason":"signal",)")) << text;
    EXPECT_EQ(keysInOrder(summaryJson({})), kSummaryKeys) << "a bare run writes every key";
}

TEST(RunSummaryJson, ValuesUseTheirFixedForms) {
    const std::string text = summaryJson(busyRun());
    const json parsed = json::parse(text);
    const std::vector<std::pair<std::string, std::string>> raw = {
        {"durationSeconds", "12.346"},
        {"eventCount", "18446744073709551615"},
        {"draggedEventCount", "2"},
        {"droppedInstanceCount", "15"},
        {"captureRebuilds", "23"},
        {"lensIdleTicks", "42"},
        {"handlerAllocations", "32"},
        {"mainThreadAllocationsOutsideHandler", "35"},
        {"syntheticHz", "125.0"},
        {"lensLevel", "2.5"},
        {"penOpacity", "0.1"},
        {"backingScaleFactor", "0.0"},
        {"auditArmed", "true"},
        {"lensActive", "true"},
        {"keystrokeDisplayActive", "false"},
    };
    for (const auto& [key, expected] : raw) {
        EXPECT_EQ(rawValue(text, key), expected) << key;
    }
    EXPECT_EQ(parsed["transport"], "cgEventPost");
    EXPECT_EQ(parsed["scriptedActions"], "tool.pen,edit.undo");
    EXPECT_EQ(parsed["spotlightShape"], "roundedRect");
    EXPECT_EQ(parsed["cursorHighlightShape"], "squircle");
    EXPECT_EQ(parsed["keystrokeDisplayPosition"], "topLeft");
    EXPECT_EQ(parsed["keystrokeDisplayFadeMode"], "threeSeconds");
    EXPECT_EQ(parsed["penColour"], "#ff3b30");
    EXPECT_EQ(parsed["cursorHighlightColour"], "#ff3b3080");
    EXPECT_EQ(parsed["aboutName"], "Scr\"aw\\let\n\xC3\xA9");
    EXPECT_NE(text.find(R"("aboutName":"Scr\"aw\\let\n)"), std::string::npos);

    RunSummaryInput whole;
    whole.durationSeconds = 2;
    EXPECT_EQ(rawValue(summaryJson(whole), "durationSeconds"), "2.000");
}

TEST(RunSummaryInput, TheLensLevelVariableIsTheLensesAlone) {
    DrawConfig config;
    config.lensLevel = 3;
    config.spotlightSizePoints = 250;
    core::Settings settings;
    settings.zoom.level = 5;
    const RunSummaryInput input = RunSummaryInput::fromConfig(config, settings);
    EXPECT_EQ(input.lens.level, 3);
    EXPECT_EQ(input.fullScreenZoom.level, 5);
    EXPECT_EQ(input.spotlight.sizePoints, 250);
    EXPECT_EQ(input.spotlight.dimOpacity, settings.spotlight.dimOpacity);
}

TEST(RunSummaryLines, ProgressLineAndPointerParkRecord) {
    EXPECT_EQ(progressLine(120, 3, 45), "draw: 120 events / 3 strokes / 45 frames");
    EXPECT_EQ(progressLine(0, 0, 0, 0),
              "draw: 0 events / 0 strokes / 0 frames / handler allocations 0");
    EXPECT_EQ(progressLine(5000000000, 1, 2, 9),
              "draw: 5000000000 events / 1 strokes / 2 frames / handler allocations 9");

    const std::string record = pointerParkRecord(2, 1234.5, {100, 200.25}, {99.5, -3});
    EXPECT_EQ(record, R"({"kind":"pointerPark","step":2,"at":1234.500000,"requestedX":100.0,)"
                      R"("requestedY":200.25,"landedX":99.5,"landedY":-3.0})");
    EXPECT_TRUE(json::accept(record));
}

TEST(RunSummaryLines, RegistrationRecordPlacesMarksOnTheScreen) {
    const core::DisplayTransform transform({100, 50}, 2, 2);
    const auto marks = core::fiducials::marks(transform, 960, 1080);
    ASSERT_EQ(marks.size(), 5u);
    // Content points that the transform brings back to the inset corners and the centre.
    EXPECT_EQ(transform.viewportPoint(marks[0].centre), (core::ViewportPoint{48, 48}));
    EXPECT_EQ(transform.viewportPoint(marks[3].centre), (core::ViewportPoint{912, 1032}));
    EXPECT_EQ(transform.viewportPoint(marks[4].centre), (core::ViewportPoint{480, 540}));

    RegistrationInput input;
    input.displayID = 412;
    input.republished = true;
    input.screenName = "B";
    input.fiducialRGB = {0, 255, 255};
    input.marks.push_back({"centre", {340, 320}, {1440, 540}, 16});
    const std::string record = registrationRecord(input);
    EXPECT_EQ(keysInOrder(record),
              (std::vector<std::string>{"kind", "displayID", "republished", "screenName", "originX",
                                        "originY", "zoom", "pointWidth", "pointHeight",
                                        "pixelWidth", "pixelHeight", "backingScaleFactor",
                                        "strokeWidthContentUnits", "fiducialRGB", "marks"}));
    const json parsed = json::parse(record);
    EXPECT_EQ(parsed["kind"], "registration");
    EXPECT_EQ(parsed["fiducialRGB"], json::array({0, 255, 255}));
    EXPECT_EQ(parsed["marks"][0],
              json::parse(R"({"name":"centre","contentX":340.0,"contentY":320.0,)"
                          R"("globalX":1440.0,"globalY":540.0,"sizePoints":16.0})"));
}

TEST(RunSummaryLines, RoundTripReportTakesTheLowerMiddleAndCountsLostTrials) {
    const An16Report report = an16Report({9.5, 2.25, 30, 4}, 5, 1);
    EXPECT_DOUBLE_EQ(report.p50, 4);
    EXPECT_DOUBLE_EQ(report.worst, 30);
    EXPECT_EQ(report.text,
              "\nAN-16 interactive-mode round trip, 5 trials\n  p50   : 4.00 ms\n"
              "  worst : 30.00 ms\n  budget: 50.00 ms\n  lost  : 1\n");
    EXPECT_EQ(report.note, "trials=5 p50Ms=4.00 worstMs=30.00");
    EXPECT_EQ(an16Report({}, 2, 2).note, "trials=2 p50Ms=0.00 worstMs=0.00");
}

}  // namespace
}  // namespace scrawlet::shell
