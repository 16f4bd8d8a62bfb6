#include "app/ink/tool_controller.h"

#include <gtest/gtest.h>

#include "app/shortcuts/permissions.h"

namespace scrawlet::ink {
namespace {

using core::ActionID;
using Outcome = ToolController::Outcome;

TEST(ToolControllerDispatch, MissingOrRefusingCallbacksGiveTheirNothingToDoTexts) {
    ToolController controller(core::AnnotationSettings::schemaDefaults());
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
    controller.onEdit = [](ToolController::Edit) { return false; };
    for (const auto& [action, text] : texts) {
        EXPECT_EQ(controller.dispatch(action), Outcome::nothingToDo(text)) << rawValue(action);
    }
    EXPECT_EQ(controller.dispatch(ActionID::whiteboardToggle),
              Outcome::notImplemented("WB-01 is not in M1"));
}

TEST(ToolControllerDispatch, ForwardedActionsReachTheirCallbacks) {
    ToolController controller(core::AnnotationSettings::schemaDefaults());
    std::vector<std::string> calls;
    controller.onEdit = [&](ToolController::Edit edit) {
        calls.push_back("edit" + std::to_string(static_cast<int>(edit)));
        return true;
    };
    controller.onModeToggle = [&](ToolController::ModeToggle toggle) {
        calls.push_back("mode" + std::to_string(static_cast<int>(toggle)));
        return true;
    };
    controller.onScreenshot = [&] {
        calls.push_back("shot");
        return Outcome::nothingToDo("busy");
    };
    controller.onQuit = [&] { calls.push_back("quit"); };
    EXPECT_EQ(controller.dispatch(ActionID::editClearAll), Outcome::handled());
    EXPECT_EQ(controller.dispatch(ActionID::overlayToggleInteractive), Outcome::handled());
    EXPECT_EQ(controller.dispatch(ActionID::captureScreenshot), Outcome::nothingToDo("busy"));
    EXPECT_EQ(controller.dispatch(ActionID::appQuit), Outcome::handled());
    EXPECT_EQ(calls, (std::vector<std::string>{"edit2", "mode1", "shot", "quit"}));
}

TEST(ToolControllerDispatch, ToolPaletteAndWidthChangesRestyleAndSave) {
    ToolController controller(core::AnnotationSettings::schemaDefaults());
    std::vector<core::StrokeStyle> styles;
    int saves = 0;
    std::optional<core::Tool> toolSeen;
    controller.onStyleChange = [&](const core::StrokeStyle& s) { styles.push_back(s); };
    controller.onSettingsChange = [&](const core::AnnotationSettings&) { ++saves; };
    controller.onToolChange = [&](core::Tool t) { toolSeen = t; };

    EXPECT_EQ(controller.dispatch(ActionID::toolHighlighter),
              Outcome::changedTool(core::Tool::highlighter));
    EXPECT_EQ(toolSeen, core::Tool::highlighter);
    EXPECT_EQ(styles.back().blend, core::InkBlend::maximum);
    EXPECT_EQ(styles.back().opacity, 0.4);
    EXPECT_EQ(saves, 0) << "a tool change is not a settings change";

    EXPECT_EQ(controller.dispatch(ActionID::paletteSelect3), Outcome::changedPalette(2));
    EXPECT_EQ(styles.back().colour, controller.settings().palette[2]);
    EXPECT_EQ(controller.dispatch(ActionID::strokeIncreaseWidth), Outcome::changedWidth(2));
    EXPECT_EQ(controller.dispatch(ActionID::strokeIncreaseWidth), Outcome::changedWidth(2));
    EXPECT_EQ(styles.back().widthContentUnits, 8);
    for (int i = 0; i < 3; ++i) {
        controller.dispatch(ActionID::strokeDecreaseWidth);
    }
    EXPECT_EQ(controller.settings().strokeWidth.selectedIndex, 0);
    EXPECT_EQ(saves, 6);

    EXPECT_EQ(controller.dispatch(ActionID::toolEraser),
              Outcome::notImplemented("AN-08 is P1, not in M1's P0 set"));
    EXPECT_EQ(controller.tool(), core::Tool::eraser) << "selected all the same";
}

TEST(ToolControllerDispatch, AutoEraseCyclesAndReportsTheTimeToLive) {
    auto settings = core::AnnotationSettings::schemaDefaults();
    settings.autoErase.customSeconds = 12;
    ToolController controller(settings);
    std::vector<std::optional<double>> lifetimes;
    controller.onAutoEraseChange = [&](std::optional<double> t) { lifetimes.push_back(t); };
    for (const auto mode : {core::AutoEraseMode::oneSecond, core::AutoEraseMode::threeSeconds,
                            core::AutoEraseMode::fiveSeconds, core::AutoEraseMode::custom,
                            core::AutoEraseMode::off}) {
        EXPECT_EQ(controller.dispatch(ActionID::annotationCycleAutoErase),
                  Outcome::changedAutoErase(mode));
    }
    EXPECT_EQ(lifetimes, (std::vector<std::optional<double>>{1.0, 3.0, 5.0, 12.0, std::nullopt}));
}

TEST(ToolControllerDispatch, ARefusedPermissionStopsTheActionBeforeAnyChange) {
    shortcuts::Permissions::overrideForTesting({shortcuts::Permissions::Grant::accessibility},
                                               true);
    ToolController controller(core::AnnotationSettings::schemaDefaults());
    controller.permissionCheck = shortcuts::Permissions::refusal;
    bool toolChanged = false;
    controller.onToolChange = [&](core::Tool) { toolChanged = true; };
    EXPECT_EQ(controller.dispatch(ActionID::toolText),
              Outcome::needsPermission("The text tool needs the Accessibility permission. Grant "
                                       "it by logging in to an X11 session, then quit and "
                                       "reopen Scrawlet."));
    EXPECT_FALSE(toolChanged);
    EXPECT_EQ(controller.tool(), core::Tool::pen);
    EXPECT_EQ(controller.dispatch(ActionID::captureScreenshot),
              Outcome::nothingToDo("no display to capture"))
        << "screen recording is still held";
    shortcuts::Permissions::overrideForTesting({}, true);
}

}  // namespace
}  // namespace scrawlet::ink
