#include "app/ink/tool_controller.h"

#include <algorithm>

namespace scrawlet::ink {

using core::ActionID;

namespace {

using Outcome = ToolController::Outcome;

Outcome forward(const ToolController::OutcomeCallback& callback, const char* nothing) {
    return callback ? callback() : Outcome::nothingToDo(nothing);
}

Outcome handledIf(bool done, const char* nothing) {
    return done ? Outcome::handled() : Outcome::nothingToDo(nothing);
}

}  // namespace

std::string ToolController::Outcome::text() const {
    const auto* words = std::get_if<std::string>(&value);
    return words ? *words : std::string();
}

ToolController::ToolController(core::AnnotationSettings settings)
    : settings_(std::move(settings)) {}

core::StrokeStyle ToolController::currentStyle() const {
    return core::StrokeStyle::style(tool_, settings_);
}

ToolController::Outcome ToolController::dispatch(ActionID action) {
    if (permissionCheck) {
        if (auto refusal = permissionCheck(action)) {
            return Outcome::needsPermission(std::move(*refusal));
        }
    }
    switch (action) {
        case ActionID::overlayToggleAnnotation:
            return handledIf(onModeToggle && onModeToggle(ModeToggle::annotation),
                             "no overlay to toggle");
        case ActionID::overlayToggleInteractive:
            return handledIf(onModeToggle && onModeToggle(ModeToggle::interactive),
                             "no overlay to toggle");
        case ActionID::panelToggle:
            return handledIf(onPanelToggle && onPanelToggle(), "no control panel");
        case ActionID::whiteboardToggle:
            return Outcome::notImplemented("WB-01 is not in M1");
        case ActionID::cursorHighlightToggle:
            return forward(onCursorHighlightToggle, "no display to highlight");
        case ActionID::spotlightToggle:
            return forward(onSpotlightToggle, "no display to dim");
        case ActionID::keystrokeDisplayToggle:
            return forward(onKeystrokeDisplayToggle, "no display for the keystroke indicator");
        case ActionID::zoomToggleLens:
            return forward(onLensToggle, "no display to magnify");
        case ActionID::zoomToggleFullScreen:
            return forward(onFullScreenZoomToggle, "no display to zoom");
        case ActionID::zoomIncreaseLevel:
            return forward(onZoomIncreaseLevel, "no active zoom to adjust");
        case ActionID::zoomDecreaseLevel:
            return forward(onZoomDecreaseLevel, "no active zoom to adjust");
        case ActionID::captureScreenshot:
            return forward(onScreenshot, "no display to capture");
        case ActionID::captureRegion:
            return forward(onRegionCaptureToggle, "no display to capture");
        case ActionID::appShowSettings:
            return forward(onShowSettings, "no settings window available");
        case ActionID::appQuit:
            if (!onQuit) {
                return Outcome::nothingToDo("no application to quit");
            }
            onQuit();
            return Outcome::handled();
        case ActionID::editUndo:
            return handledIf(onEdit && onEdit(Edit::undo), "nothing to undo");
        case ActionID::editRedo:
            return handledIf(onEdit && onEdit(Edit::redo), "nothing to redo");
        case ActionID::editDeleteSelection:
            return handledIf(onEdit && onEdit(Edit::deleteSelection), "nothing is selected");
        case ActionID::editClearAll:
            return handledIf(onEdit && onEdit(Edit::clearAll), "already empty");
        case ActionID::strokeIncreaseWidth:
        case ActionID::strokeDecreaseWidth: {
            auto& width = settings_.strokeWidth;
            const int last = static_cast<int>(width.presetsPoints.size()) - 1;
            width.selectedIndex = action == ActionID::strokeIncreaseWidth
                                      ? std::min(width.selectedIndex + 1, last)
                                      : std::max(width.selectedIndex - 1, 0);
            styleAndSettingsChanged();
            return Outcome::changedWidth(width.selectedIndex);
        }
        case ActionID::annotationCycleAutoErase: {
            settings_.autoErase.mode = core::nextAutoEraseMode(settings_.autoErase.mode);
            if (onAutoEraseChange) {
                onAutoEraseChange(settings_.autoErase.timeToLiveSeconds());
            }
            if (onSettingsChange) {
                onSettingsChange(settings_);
            }
            return Outcome::changedAutoErase(settings_.autoErase.mode);
        }
        default:
            break;
    }
    if (const auto index = core::paletteIndex(action)) {
        settings_.selectedPaletteIndex = *index;
        styleAndSettingsChanged();
        return Outcome::changedPalette(*index);
    }
    return selectTool(action);
}

ToolController::Outcome ToolController::selectTool(ActionID action) {
    const auto tool = core::selectedTool(action);
    if (!tool) {
        return Outcome::handled();
    }
    tool_ = *tool;
    if (onToolChange) {
        onToolChange(tool_);
    }
    if (onStyleChange) {
        onStyleChange(currentStyle());
    }
    if (const auto reason = core::unavailableReason(tool_)) {
        return Outcome::notImplemented(std::string(*reason));
    }
    return Outcome::changedTool(tool_);
}

void ToolController::styleAndSettingsChanged() {
    if (onStyleChange) {
        onStyleChange(currentStyle());
    }
    if (onSettingsChange) {
        onSettingsChange(settings_);
    }
}

void ToolController::applyExternal(const core::AnnotationSettings& settings) {
    settings_ = settings;
    if (onStyleChange) {
        onStyleChange(currentStyle());
    }
    if (onAutoEraseChange) {
        onAutoEraseChange(settings_.autoErase.timeToLiveSeconds());
    }
    if (onSettingsChange) {
        onSettingsChange(settings_);
    }
}

}  // namespace scrawlet::ink
