// The magnifiers' handlers: the lens and full-screen zoom toggles, the level steps and their
// hints. Capture starts with the first toggle when the run did not start it at launch.
#include <iostream>

#include "app/capture/magnifier.h"
#include "app/ink/ink_view.h"
#include "app/log/frontmost_log.h"
#include "app/settings/settings_store.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/draw_capture.h"
#include "app/shell/draw_shortcuts.h"
#include "app/shell/ink_surfaces.h"
#include "core/number_format.h"

namespace scrawlet::shell {

using ink::Outcome;

core::ZoomSettings DrawAppDelegate::zoomSettings() const {
    return config_.settingsWithOverrides(config_.currentSettings()).zoom;
}

bool DrawAppDelegate::ensureCapture() {
    if (!capture_) {
        capture_ = DrawCapture::startForMagnifiers(surfaces_->displayIDs(), this);
        if (!capture_) {
            return false;
        }
    }
    if (!lens_) {
        const core::ZoomSettings settings = zoomSettings();
        zoomLevel_ = settings.level;
        capture::Magnifier::Capture link;
        link.project = [this](std::uint32_t id,
                              std::optional<platform::CaptureService::Projection> p) {
            if (capture_) {
                capture_->project(id, std::move(p));
            }
        };
        link.watchPointer = [this](const void* watcher, std::function<void(QPoint)> moved) {
            return capture_ && capture_->watchPointer(watcher, std::move(moved));
        };
        link.followsPointer = [this] { return capture_ && capture_->followsPointer(); };
        const platform::WindowPlacement placement = overlayPlacement(config_, true);
        lens_ = std::make_unique<capture::Magnifier>(capture::Magnifier::Kind::lens, settings, link,
                                                     placer_.get(), placement);
        fullScreenZoom_ = std::make_unique<capture::Magnifier>(
            capture::Magnifier::Kind::fullScreen, settings, link, placer_.get(), placement);
        displays_.addFeature(*lens_);
        displays_.addFeature(*fullScreenZoom_);
        capture_->addObserver([lens = lens_.get(), zoom = fullScreenZoom_.get()](
                                  const capture::DisplayCapture::Frame& frame) {
            lens->store(frame);
            zoom->store(frame);
        });
    }
    return true;
}

Outcome DrawAppDelegate::toggleLens() {
    if (!ensureCapture()) {
        return Outcome::nothingToDo("the capture stream is not running");
    }
    lens_->apply(zoomSettings());
    lens_->setActive(!lens_->isActive());
    shortcuts_->setZooming(lens_->isActive() || fullScreenZoom_->isActive());
    announceZoom(lens_->isActive(), "Lens");
    return Outcome::handled();
}

Outcome DrawAppDelegate::toggleFullScreenZoom() {
    if (!ensureCapture()) {
        return Outcome::nothingToDo("the capture stream is not running");
    }
    core::ZoomSettings settings = zoomSettings();
    settings.level = zoomLevel_;
    fullScreenZoom_->apply(settings);
    fullScreenZoom_->setActive(!fullScreenZoom_->isActive());
    shortcuts_->setZooming(lens_->isActive() || fullScreenZoom_->isActive());
    announceZoom(fullScreenZoom_->isActive(), "Zoom");
    return Outcome::handled();
}

Outcome DrawAppDelegate::adjustZoomLevel(double step) {
    const bool lensOn = lens_ && lens_->isActive();
    const bool zoomOn = fullScreenZoom_ && fullScreenZoom_->isActive();
    if (!lensOn && !zoomOn) {
        return Outcome::nothingToDo("no active zoom to adjust");
    }
    zoomLevel_ = core::steppedZoomLevel(zoomLevel_, step);
    core::ZoomSettings settings = zoomSettings();
    settings.level = zoomLevel_;
    for (capture::Magnifier* magnifier : {lens_.get(), fullScreenZoom_.get()}) {
        if (magnifier->isActive()) {
            magnifier->apply(settings);
        }
    }
    log::FrontmostLog::shared().record("zoomLevelChange", std::nullopt,
                                       "level=" + core::shortestDecimal(zoomLevel_));
    // The level is the user's choice from now on, kept for the next run.
    if (!config_.runSettingsFile) {
        settings::SettingsStore::save(
            settings::SettingsStore::settingsFile(),
            [level = zoomLevel_](core::Settings& document) { document.zoom.level = level; },
            "draw: ");
    }
    if (ink::InkView* view = surfaces_->viewUnderPointer()) {
        view->showHint(QString::fromStdString(core::zoomLevelText(zoomLevel_)) + QChar(0x00D7),
                       false);
    }
    return Outcome::handled();
}

void DrawAppDelegate::announceZoom(bool active, const char* mode) {
    ink::InkView* view = surfaces_->viewUnderPointer();
    if (!view) {
        return;
    }
    if (!active) {
        view->hideHint();
        return;
    }
    const QString up = shortcuts_->actionKeyLabel(core::ActionID::zoomIncreaseLevel);
    const QString down = shortcuts_->actionKeyLabel(core::ActionID::zoomDecreaseLevel);
    view->showHint(QString::fromLatin1(mode) + " " +
                       QString::fromStdString(core::zoomLevelText(zoomLevel_)) + QChar(0x00D7) +
                       QStringLiteral("  ·  ") + up + " / " + down + QStringLiteral(" to adjust"),
                   false);
}

}  // namespace scrawlet::shell
