#include "app/ink/action_router.h"

namespace scrawlet::ink {

using core::ActionID;

std::string Outcome::text() const {
    const auto* words = std::get_if<std::string>(&value);
    return words ? *words : std::string();
}

std::string Outcome::describe() const {
    switch (kind) {
        case Kind::changedTool:
            return "changedTool(" + std::string(core::rawValue(std::get<core::Tool>(value))) + ")";
        case Kind::changedPalette:
            return "changedPalette(" + std::to_string(std::get<int>(value)) + ")";
        case Kind::changedWidth:
            return "changedWidth(" + std::to_string(std::get<int>(value)) + ")";
        case Kind::changedAutoErase:
            return "changedAutoErase(" +
                   std::string(core::rawValue(std::get<core::AutoEraseMode>(value))) + ")";
        case Kind::notImplemented:
            return "notImplemented(" + text() + ")";
        case Kind::needsPermission:
            return "needsPermission(" + text() + ")";
        case Kind::nothingToDo:
            return "nothingToDo(" + text() + ")";
        case Kind::handled:
            break;
    }
    return "handled";
}

Outcome Outcome::handledIf(bool done, ActionID action) {
    return done ? handled() : ActionRouter::unowned(action);
}

Outcome ActionRouter::unowned(ActionID action) {
    const auto nothing = [](const char* words) { return Outcome::nothingToDo(words); };
    switch (action) {
        case ActionID::overlayToggleAnnotation:
        case ActionID::overlayToggleInteractive:
            return nothing("no overlay to toggle");
        case ActionID::panelToggle:
            return nothing("no control panel");
        case ActionID::whiteboardToggle:
            return Outcome::notImplemented("WB-01 is not in M1");
        case ActionID::cursorHighlightToggle:
            return nothing("no display to highlight");
        case ActionID::spotlightToggle:
            return nothing("no display to dim");
        case ActionID::keystrokeDisplayToggle:
            return nothing("no display for the keystroke indicator");
        case ActionID::zoomToggleLens:
            return nothing("no display to magnify");
        case ActionID::zoomToggleFullScreen:
            return nothing("no display to zoom");
        case ActionID::zoomIncreaseLevel:
        case ActionID::zoomDecreaseLevel:
            return nothing("no active zoom to adjust");
        case ActionID::captureScreenshot:
        case ActionID::captureRegion:
            return nothing("no display to capture");
        case ActionID::appShowSettings:
            return nothing("no settings window available");
        case ActionID::appQuit:
            return nothing("no application to quit");
        case ActionID::editUndo:
            return nothing("nothing to undo");
        case ActionID::editRedo:
            return nothing("nothing to redo");
        case ActionID::editDeleteSelection:
            return nothing("nothing is selected");
        case ActionID::editClearAll:
            return nothing("already empty");
        default:
            // Tools, palette, width and fading belong to the tool controller.
            return Outcome::handled();
    }
}

void ActionRouter::add(ActionID action, Handler handler) {
    handlers_[static_cast<std::size_t>(action)] = std::move(handler);
}

Outcome ActionRouter::dispatch(ActionID action) const {
    if (permissionCheck_) {
        if (auto refusal = permissionCheck_(action)) {
            return Outcome::needsPermission(std::move(*refusal));
        }
    }
    const Handler& handler = handlers_[static_cast<std::size_t>(action)];
    return handler ? handler() : unowned(action);
}

}  // namespace scrawlet::ink
