// Draw mode's actions: who carries out each action the tool controller does not own.
#include <iostream>

#include "app/aids/cursor_highlight.h"
#include "app/aids/keystroke_display.h"
#include "app/aids/spotlight.h"
#include "app/platform/platform_services.h"
#include "app/shell/control_panels.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/ink_surfaces.h"
#include "app/shell/screenshots.h"

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
    router_.add(ActionID::captureScreenshot, [this] {
        return screenshots_ ? screenshots_->takeScreenshot()
                            : ink::ActionRouter::unowned(ActionID::captureScreenshot);
    });
    router_.add(ActionID::captureRegion, [this] {
        return screenshots_ ? screenshots_->toggleRegionCapture()
                            : ink::ActionRouter::unowned(ActionID::captureRegion);
    });
    router_.add(ActionID::zoomToggleLens, [this] { return toggleLens(); });
    router_.add(ActionID::zoomToggleFullScreen, [this] { return toggleFullScreenZoom(); });
    router_.add(ActionID::zoomIncreaseLevel, [this] { return adjustZoomLevel(0.5); });
    router_.add(ActionID::zoomDecreaseLevel, [this] { return adjustZoomLevel(-0.5); });
    router_.add(ActionID::spotlightToggle, [this] { return toggleSpotlight(); });
    router_.add(ActionID::cursorHighlightToggle, [this] { return toggleCursorHighlight(); });
    router_.add(ActionID::keystrokeDisplayToggle, [this] { return toggleKeystrokeDisplay(); });
    router_.add(ActionID::appShowSettings, [this] { return showSettingsWindow(); });
    router_.add(ActionID::appQuit, [this] {
        requestFinish("app.quit");
        return Outcome::handled();
    });
}

// Both aids are built whatever the configuration says, so that their shortcuts work; they stay
// off until asked, at launch or later.
void DrawAppDelegate::buildPointerAids() {
    pointerStage_ = platform::createPointerStage();
    const core::Settings settings = config_.settingsWithOverrides(config_.currentSettings());
    spotlight_ = std::make_unique<aids::Spotlight>(settings.spotlight, pointerStage_.get());
    spotlight_->setCompositing(compositing_);
    displays_.addFeature(*spotlight_);
    cursorHighlight_ =
        std::make_unique<aids::CursorHighlight>(settings.cursorHighlight, pointerStage_.get());
    cursorHighlight_->setCompositing(compositing_);
    displays_.addFeature(*cursorHighlight_);
    if (config_.spotlight) {
        spotlight_->setActive(true);
    }
    if (config_.cursorHighlight || settings.cursorHighlight.enabled) {
        cursorHighlight_->setActive(true);
    }
}

// Settings are read afresh at every toggle: the file may have changed since launch.
Outcome DrawAppDelegate::toggleSpotlight() {
    if (!spotlight_) {
        return ink::ActionRouter::unowned(ActionID::spotlightToggle);
    }
    spotlight_->apply(config_.settingsWithOverrides(config_.currentSettings()).spotlight);
    spotlight_->setActive(!spotlight_->isActive());
    return Outcome::handled();
}

Outcome DrawAppDelegate::toggleCursorHighlight() {
    if (!cursorHighlight_) {
        return ink::ActionRouter::unowned(ActionID::cursorHighlightToggle);
    }
    cursorHighlight_->apply(
        config_.settingsWithOverrides(config_.currentSettings()).cursorHighlight);
    cursorHighlight_->setActive(!cursorHighlight_->isActive());
    return Outcome::handled();
}

void DrawAppDelegate::applyAidSettings(const core::Settings& settings) {
    const core::Settings run = config_.settingsWithOverrides(settings);
    if (spotlight_) {
        spotlight_->apply(run.spotlight);
    }
    if (cursorHighlight_) {
        cursorHighlight_->apply(run.cursorHighlight);
    }
}

core::KeystrokeDisplaySettings DrawAppDelegate::keystrokeDisplayLiveSettings() const {
    return config_.settingsWithOverrides(config_.currentSettings()).keystrokeDisplay;
}

// Always built, so that its shortcut works later; "enabled" in the settings is the state at
// launch, as the draw configuration's flag is.
void DrawAppDelegate::buildKeystrokeDisplay() {
    const core::KeystrokeDisplaySettings settings = keystrokeDisplayLiveSettings();
    keystrokes_ = std::make_unique<aids::KeystrokeDisplay>(settings, placer_.get(),
                                                           &platform::createKeyMonitor);
    displays_.addFeature(*keystrokes_);
    if (config_.keystrokeDisplay || settings.enabled) {
        const Outcome outcome = router_.dispatch(ActionID::keystrokeDisplayToggle);
        if (!outcome.text().empty()) {
            std::cerr << "draw: " << outcome.text() << "\n";
        }
    }
}

// The settings file is read again at every switch, so an edit made meanwhile shows.
Outcome DrawAppDelegate::toggleKeystrokeDisplay() {
    if (!keystrokes_) {
        return ink::ActionRouter::unowned(ActionID::keystrokeDisplayToggle);
    }
    keystrokes_->apply(keystrokeDisplayLiveSettings());
    if (const auto switched = keystrokes_->setActive(!keystrokes_->isActive()); !switched) {
        return Outcome::nothingToDo("the keystroke display cannot see keys: " + switched.error());
    }
    return Outcome::handled();
}

void DrawAppDelegate::pickTool(core::Tool tool) {
    if (const auto action = core::actionSelecting(tool)) {
        router_.dispatch(*action);
    }
}

}  // namespace scrawlet::shell
