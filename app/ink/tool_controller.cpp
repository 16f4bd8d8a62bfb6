#include "app/ink/tool_controller.h"

#include <algorithm>

namespace scrawlet::ink {

using core::ActionID;

ToolController::ToolController(core::AnnotationSettings settings)
    : settings_(std::move(settings)) {}

core::StrokeStyle ToolController::currentStyle() const {
    return core::StrokeStyle::style(tool_, settings_);
}

void ToolController::route(ActionRouter& router) {
    for (const ActionID action : core::allCases<ActionID>()) {
        const bool owned = core::selectedTool(action) || core::paletteIndex(action) ||
                           action == ActionID::strokeIncreaseWidth ||
                           action == ActionID::strokeDecreaseWidth ||
                           action == ActionID::annotationCycleAutoErase;
        if (owned) {
            router.add(action, [this, action] { return perform(action); });
        }
    }
}

Outcome ToolController::perform(ActionID action) {
    if (const auto tool = core::selectedTool(action)) {
        return selectTool(*tool);
    }
    if (const auto index = core::paletteIndex(action)) {
        settings_.selectedPaletteIndex = *index;
        styleAndSettingsChanged();
        return Outcome::changedPalette(*index);
    }
    switch (action) {
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
            const auto seconds = settings_.autoErase.timeToLiveSeconds();
            tell([&](Observer& o) { o.timeToLiveChanged(seconds); });
            tell([&](Observer& o) { o.settingsChanged(settings_); });
            return Outcome::changedAutoErase(settings_.autoErase.mode);
        }
        default:
            return ActionRouter::unowned(action);
    }
}

Outcome ToolController::selectTool(core::Tool tool) {
    tool_ = tool;
    tell([&](Observer& o) { o.toolChanged(tool_); });
    const core::StrokeStyle style = currentStyle();
    tell([&](Observer& o) { o.styleChanged(style); });
    if (const auto reason = core::unavailableReason(tool_)) {
        return Outcome::notImplemented(std::string(*reason));
    }
    return Outcome::changedTool(tool_);
}

void ToolController::applyExternal(core::AnnotationSettings settings) {
    settings_ = std::move(settings);
    const core::StrokeStyle style = currentStyle();
    tell([&](Observer& o) { o.styleChanged(style); });
    const auto seconds = settings_.autoErase.timeToLiveSeconds();
    tell([&](Observer& o) { o.timeToLiveChanged(seconds); });
}

void ToolController::styleAndSettingsChanged() {
    const core::StrokeStyle style = currentStyle();
    tell([&](Observer& o) { o.styleChanged(style); });
    tell([&](Observer& o) { o.settingsChanged(settings_); });
}

}  // namespace scrawlet::ink
