#include "app/ink/tool_controller.h"

#include <gtest/gtest.h>

#include "app/shortcuts/permissions.h"

namespace scrawlet::ink {
namespace {

using core::ActionID;

struct Recorder : ToolController::Observer {
    std::vector<core::StrokeStyle> styles;
    std::vector<std::optional<double>> lifetimes;
    std::optional<core::Tool> tool;
    int saves = 0;
    void toolChanged(core::Tool t) override { tool = t; }
    void styleChanged(const core::StrokeStyle& s) override { styles.push_back(s); }
    void timeToLiveChanged(std::optional<double> t) override { lifetimes.push_back(t); }
    void settingsChanged(const core::AnnotationSettings&) override { ++saves; }
};

struct Routed {
    explicit Routed(core::AnnotationSettings settings = core::AnnotationSettings::schemaDefaults())
        : tools(std::move(settings)) {
        tools.route(router);
        tools.addObserver(seen);
    }
    ActionRouter router;
    ToolController tools;
    Recorder seen;
};

TEST(ActionRouter, UnownedActionsAnswerWithTheirNothingToDoTexts) {
    Routed routed;
    const std::pair<ActionID, const char*> texts[] = {
        {ActionID::overlayToggleAnnotation, "no overlay to toggle"},
        {ActionID::panelToggle, "no control panel"},
        {ActionID::cursorHighlightToggle, "no display to highlight"},
        {ActionID::spotlightToggle, "no display to dim"},
        {ActionID::keystrokeDisplayToggle, "no display for the keystroke indicator"},
        {ActionID::zoomToggleLens, "no display to magnify"},
        {ActionID::zoomToggleFullScreen, "no display to zoom"},
        {ActionID::zoomDecreaseLevel, "no active zoom to adjust"},
        {ActionID::captureRegion, "no display to capture"},
        {ActionID::appShowSettings, "no settings window available"},
        {ActionID::appQuit, "no application to quit"},
        {ActionID::editUndo, "nothing to undo"},
        {ActionID::editRedo, "nothing to redo"},
        {ActionID::editDeleteSelection, "nothing is selected"},
        {ActionID::editClearAll, "already empty"},
    };
    for (const auto& [action, text] : texts) {
        EXPECT_EQ(routed.router.dispatch(action), Outcome::nothingToDo(text)) << rawValue(action);
    }
    EXPECT_EQ(routed.router.dispatch(ActionID::whiteboardToggle),
              Outcome::notImplemented("WB-01 is not in M1"));
    routed.router.add(ActionID::editUndo,
                      [] { return Outcome::handledIf(false, ActionID::editUndo); });
    EXPECT_EQ(routed.router.dispatch(ActionID::editUndo), Outcome::nothingToDo("nothing to undo"))
        << "an owner with nothing to do answers like a missing one";
}

TEST(ActionRouter, EachActionReachesItsLatestOwner) {
    Routed routed;
    std::vector<std::string> calls;
    routed.router.add(ActionID::captureScreenshot, [&] {
        calls.push_back("first");
        return Outcome::handled();
    });
    routed.router.add(ActionID::captureScreenshot, [&] {
        calls.push_back("shot");
        return Outcome::nothingToDo("busy");
    });
    routed.router.add(ActionID::appQuit, [&] {
        calls.push_back("quit");
        return Outcome::handled();
    });
    EXPECT_EQ(routed.router.dispatch(ActionID::captureScreenshot), Outcome::nothingToDo("busy"));
    EXPECT_EQ(routed.router.dispatch(ActionID::appQuit), Outcome::handled());
    EXPECT_EQ(calls, (std::vector<std::string>{"shot", "quit"}));
    EXPECT_EQ(Outcome::changedTool(core::Tool::arrow).describe(), "changedTool(arrow)");
    EXPECT_EQ(Outcome::nothingToDo("already empty").describe(), "nothingToDo(already empty)");
}

TEST(ToolControllerRouting, ToolPaletteAndWidthChangesRestyleAndSave) {
    Routed routed;
    ActionRouter& router = routed.router;
    Recorder& seen = routed.seen;
    EXPECT_EQ(router.dispatch(ActionID::toolHighlighter),
              Outcome::changedTool(core::Tool::highlighter));
    EXPECT_EQ(seen.tool, core::Tool::highlighter);
    EXPECT_EQ(seen.styles.back().blend, core::InkBlend::maximum);
    EXPECT_EQ(seen.styles.back().opacity, 0.4);
    EXPECT_EQ(seen.saves, 0) << "a tool change is not a settings change";

    EXPECT_EQ(router.dispatch(ActionID::paletteSelect3), Outcome::changedPalette(2));
    EXPECT_EQ(seen.styles.back().colour, routed.tools.settings().palette[2]);
    EXPECT_EQ(router.dispatch(ActionID::strokeIncreaseWidth), Outcome::changedWidth(2));
    EXPECT_EQ(router.dispatch(ActionID::strokeIncreaseWidth), Outcome::changedWidth(2));
    EXPECT_EQ(seen.styles.back().widthContentUnits, 8);
    for (int i = 0; i < 3; ++i) {
        router.dispatch(ActionID::strokeDecreaseWidth);
    }
    EXPECT_EQ(routed.tools.settings().strokeWidth.selectedIndex, 0);
    EXPECT_EQ(seen.saves, 6);

    EXPECT_EQ(router.dispatch(ActionID::toolEraser),
              Outcome::notImplemented("AN-08 is P1, not in M1's P0 set"));
    EXPECT_EQ(routed.tools.tool(), core::Tool::eraser) << "selected all the same";
}

TEST(ToolControllerRouting, AutoEraseCyclesAndReportsTheTimeToLive) {
    auto settings = core::AnnotationSettings::schemaDefaults();
    settings.autoErase.customSeconds = 12;
    Routed routed(settings);
    for (const auto mode : {core::AutoEraseMode::oneSecond, core::AutoEraseMode::threeSeconds,
                            core::AutoEraseMode::fiveSeconds, core::AutoEraseMode::custom,
                            core::AutoEraseMode::off}) {
        EXPECT_EQ(routed.router.dispatch(ActionID::annotationCycleAutoErase),
                  Outcome::changedAutoErase(mode));
    }
    EXPECT_EQ(routed.seen.lifetimes,
              (std::vector<std::optional<double>>{1.0, 3.0, 5.0, 12.0, std::nullopt}));
}

TEST(ToolControllerRouting, ARefusedPermissionStopsTheActionBeforeAnyChange) {
    shortcuts::Permissions::overrideForTesting({shortcuts::Permissions::Grant::accessibility},
                                               true);
    Routed routed;
    routed.router.setPermissionCheck(shortcuts::Permissions::refusal);
    EXPECT_EQ(routed.router.dispatch(ActionID::toolText),
              Outcome::needsPermission("The text tool needs the Accessibility permission. Grant "
                                       "it by logging in to an X11 session, then quit and "
                                       "reopen Scrawlet."));
    EXPECT_FALSE(routed.seen.tool);
    EXPECT_EQ(routed.tools.tool(), core::Tool::pen);
    EXPECT_EQ(routed.router.dispatch(ActionID::captureScreenshot),
              Outcome::nothingToDo("no display to capture"))
        << "screen recording is still held";
    shortcuts::Permissions::overrideForTesting({}, true);
}

}  // namespace
}  // namespace scrawlet::ink
