// Draw mode's reports: the banner at start and the summary at finish.
#include <unistd.h>

#include <iostream>

#include "app/aids/cursor_highlight.h"
#include "app/aids/keystroke_display.h"
#include "app/aids/spotlight.h"
#include "app/capture/magnifier.h"
#include "app/settings/about_window.h"
#include "app/settings/app_identity.h"
#include "app/settings/onboarding_window.h"
#include "app/settings/settings_window.h"
#include "app/settings/update_checker.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/draw_capture.h"
#include "app/shell/ink_surfaces.h"
#include "app/shell/run_summary.h"
#include "app/shortcuts/permissions.h"
#include "core/number_format.h"

namespace scrawlet::shell {

void DrawAppDelegate::printBanner() const {
    const auto line = [](std::string_view label, const std::string& value) {
        std::string text = "  " + std::string(label) + ":";
        text.resize(std::max<std::size_t>(text.size() + 1, 22), ' ');
        return text + value + "\n";
    };
    const auto onOff = [](bool on) { return std::string(on ? "on" : "off"); };
    const core::StrokeStyle pen = core::StrokeStyle::style(tools_->tool(), tools_->settings());
    std::string text = "scrawlet draw (M0 T5)\n";
    text += line("pid", std::to_string(::getpid()));
    text += line("build", buildConfiguration());
    text += line("panels", std::to_string(surfaces_->surfaces().size()) + " (one per screen)");
    text += line("level",
                 config_.levelToken + " (" + std::to_string(windowLevel(config_.levelToken)) + ")");
    text += line("click-through", onOff(surfaces_->ignoresMouse()));
    text += line("time limit", config_.maxDurationSeconds
                                   ? core::shortestDecimal(*config_.maxDurationSeconds) + " s"
                                   : std::string("none (runs until you quit)"));
    text += line("tool", std::string(core::rawValue(tools_->tool())));
    text += shortcuts::Permissions::banner() + "\n";
    text += line("stroke", pen.colour.hexString() + " at " +
                               core::shortestDecimal(pen.widthContentUnits) + "pt");
    text += line("capacity", std::to_string(config_.limits.pointCapacity) + " points, " +
                                 std::to_string(config_.limits.strokeCapacity) + " strokes");
    text += line("transport", std::string(core::rawValue(config_.transport)));
    text += line("drawing",
                 std::string(core::rawValue(presentPath_)) + " (OpenGL: " + glRenderer_ + ")");
    text +=
        line("allocation audit", "not compiled in (build with -DSCRAWLET_ALLOC_AUDIT=ON to count)");
    text += line("lens", onOff(false));
    text += line("full-screen zoom", onOff(false));
    if (spotlight_) {
        const core::SpotlightSettings& spot = spotlight_->settings();
        text += line("spotlight", onOff(spotlight_->isActive()) + " (" +
                                      std::string(core::rawValue(spot.shape)) + ", " +
                                      core::shortestDecimal(spot.sizePoints) + "pt, dim " +
                                      core::shortestDecimal(spot.dimOpacity) +
                                      (spot.dimAllDisplays ? ", all displays)" : ")"));
    } else {
        text += line("spotlight", onOff(false));
    }
    if (cursorHighlight_) {
        const core::CursorHighlightSettings& high = cursorHighlight_->settings();
        text += line("cursor highlight", onOff(cursorHighlight_->isActive()) + " (" +
                                             std::string(core::rawValue(high.shape)) + ", " +
                                             core::shortestDecimal(high.sizePoints) + "pt, " +
                                             high.colour.hexString() + " at " +
                                             core::shortestDecimal(high.opacity) +
                                             (high.clickRipple ? ", click ripples)" : ")"));
    } else {
        text += line("cursor highlight", onOff(false));
    }
    if (keystrokes_) {
        const core::KeystrokeDisplaySettings& keys = keystrokes_->settings();
        text += line("keystroke display", onOff(keystrokes_->isActive()) + " (" +
                                              std::string(core::rawValue(keys.position)) + ", " +
                                              core::shortestDecimal(keys.sizePoints) + "pt, fade " +
                                              std::string(core::rawValue(keys.fade.mode)) + ")");
    } else {
        text += line("keystroke display", onOff(false));
    }
    text += line("summary", config_.summaryPath);
    if (!compositing_) {
        // Without a compositing manager the overlays would be an opaque sheet over the desktop.
        text +=
            "   ** does not draw yet: no compositing manager is running; the overlays appear as "
            "soon as one starts (for example xcompmgr)\n";
    }
    text +=
        "Draw with the left button. Right-click clears. SIGUSR1 toggles click-through, SIGPWR "
        "prints totals, SIGUSR2 (or Ctrl-C) finishes.\n";
    std::cerr << text;
}

std::string DrawAppDelegate::summaryText(const std::string& reason, double durationSeconds) const {
    RunSummaryInput input = RunSummaryInput::fromConfig(config_, config_.currentSettings());
    input.reason = reason;
    input.durationSeconds = durationSeconds;
    input.buildConfiguration = buildConfiguration();
    const SummaryContributor* contributors[] = {surfaces_.get()};
    for (const SummaryContributor* contributor : contributors) {
        if (contributor) {
            contributor->contribute(input);
        }
    }
    const auto activity = [](const aids::AidStats& stats, bool enabled) {
        return AidActivity{enabled, stats.active, stats.presentedFrames, stats.idleTicks};
    };
    if (capture_) {
        input.capture = capture_->totals();
    }
    if (lens_) {
        input.lens.activity = {config_.lens, lens_->isActive(), lens_->presentedFrames(),
                               lens_->idleTicks()};
        input.fullScreenZoom.activity = {config_.fullScreenZoom, fullScreenZoom_->isActive(),
                                         fullScreenZoom_->presentedFrames(),
                                         fullScreenZoom_->idleTicks()};
    }
    if (spotlight_) {
        input.spotlight.activity = activity(spotlight_->stats(), config_.spotlight);
    }
    if (cursorHighlight_) {
        input.cursorHighlight.activity =
            activity(cursorHighlight_->stats(),
                     config_.cursorHighlight || cursorHighlight_->settings().enabled);
    }
    if (keystrokes_) {
        const core::KeystrokeDisplaySettings& keys = keystrokes_->settings();
        input.keystrokeDisplay.enabled = config_.keystrokeDisplay || keys.enabled;
        input.keystrokeDisplay.active = keystrokes_->isActive();
        input.keystrokeDisplay.shownCount = keystrokes_->shownCount();
        input.keystrokeDisplay.position = keys.position;
        input.keystrokeDisplay.sizePoints = keys.sizePoints;
        input.keystrokeDisplay.fadeMode = keys.fade.mode;
    }
    if (tools_) {
        const core::StrokeStyle pen = core::StrokeStyle::style(core::Tool::pen, tools_->settings());
        input.penColour = pen.colour;
        input.penWidthPoints = pen.widthContentUnits;
        input.penOpacity = pen.opacity;
    }
    input.onboardingActive = onboardingWindow_ && onboardingWindow_->isVisible();
    input.aboutActive = aboutWindow_ && aboutWindow_->isVisible();
    input.settingsWindowEnabled = config_.settingsWindow;
    input.settingsWindowActive = settingsWindow_ && settingsWindow_->isVisible();
    input.aboutName = settings::AppIdentity::name();
    input.aboutVersion = settings::AppIdentity::shortVersion();
    input.aboutBuild = settings::AppIdentity::buildNumber();
    input.aboutIconSource = settings::AppIdentity::iconAvailable() ? "bundle" : "placeholder";
    if (updater_) {
        input.updaterStarted = true;
        input.updaterAutomaticChecks = updater_->automaticChecks();
        input.updaterFeedUrl = updater_->feedUrl();
    }
    input.osVersion = currentOsVersion();
    input.startedAt = startedAtText(startedWallClock_);
    return summaryJson(input);
}

}  // namespace scrawlet::shell
