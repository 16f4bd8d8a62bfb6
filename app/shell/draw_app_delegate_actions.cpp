// Draw mode's actions: who carries out each action the tool controller does not own.
#include "app/shell/control_panels.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/ink_surfaces.h"

namespace scrawlet::shell {

using core::ActionID;
using ink::Outcome;

// The actions the controller's features carry out; the tool controller registered its own.
void DrawAppDelegate::routeActions() {
    const auto onView = [this](ActionID action, bool (*edit)(ink::InkView&)) {
        router_.add(action, [this, action, edit] {
            ink::InkView* view = surfaces_->viewUnderPointer();
            return Outcome::handledIf(view && edit(*view), action);
        });
    };
    onView(ActionID::editUndo, [](ink::InkView& view) { return view.undo(); });
    onView(ActionID::editRedo, [](ink::InkView& view) { return view.redo(); });
    onView(ActionID::editClearAll, [](ink::InkView& view) { return view.canvas().clearAll(); });
    onView(ActionID::editDeleteSelection,
           [](ink::InkView& view) { return view.canvas().deleteSelection(); });
    router_.add(ActionID::overlayToggleAnnotation, [this] {
        if (surfaces_->empty()) {
            return ink::ActionRouter::unowned(ActionID::overlayToggleAnnotation);
        }
        toggleAnnotation();
        return Outcome::handled();
    });
    router_.add(ActionID::overlayToggleInteractive, [this] {
        if (surfaces_->empty()) {
            return ink::ActionRouter::unowned(ActionID::overlayToggleInteractive);
        }
        toggleInteractive();
        return Outcome::handled();
    });
    router_.add(ActionID::panelToggle, [this] {
        return Outcome::handledIf(panels_ && panels_->toggle(), ActionID::panelToggle);
    });
    router_.add(ActionID::appQuit, [this] {
        requestFinish("app.quit");
        return Outcome::handled();
    });
}

void DrawAppDelegate::pickTool(core::Tool tool) {
    if (const auto action = core::actionSelecting(tool)) {
        router_.dispatch(*action);
    }
}

}  // namespace scrawlet::shell
