#include "app/aids/cursor_highlight.h"

#include <QGuiApplication>
#include <QScreen>
#include <cmath>

#include "app/aids/pointer_pictures.h"
#include "core/number_format.h"

namespace scrawlet::aids {
namespace {

// A ripple picture per refresh of the primary display.
std::chrono::milliseconds frameInterval() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    const double hz = screen && screen->refreshRate() > 1 ? screen->refreshRate() : 60.0;
    return std::chrono::milliseconds(std::max(1L, std::lround(1000.0 / hz)));
}

}  // namespace

CursorHighlight::CursorHighlight(const core::CursorHighlightSettings& settings,
                                 platform::PointerStage* stage)
    : PointerAid(stage), settings_(settings) {}

CursorHighlight::~CursorHighlight() {
    if (isActive() && stage_) {
        hide();
    }
}

void CursorHighlight::apply(const core::CursorHighlightSettings& settings) {
    settings_ = settings;
    refresh();
}

AidStats CursorHighlight::stats() const {
    const auto counters = stage_ ? stage_->counters() : platform::PointerStage::Counters{};
    return {isActive(), counters.followerFrames, counters.followerIdle};
}

void CursorHighlight::show() {
    platform::PointerStage::Follower follower;
    for (const Frame& frame : frames_) {
        follower.displays.push_back(frame.pixels);
    }
    follower.stamp = highlightStamp(settings_, scale());
    stage_->setFollower(std::move(follower));
    stage_->setRipples(settings_.clickRipple
                           ? std::optional(ripplePictures(settings_, scale(), frameInterval()))
                           : std::nullopt);
}

void CursorHighlight::hide() {
    stage_->setFollower(std::nullopt);
    stage_->setRipples(std::nullopt);
}

std::string CursorHighlight::toggleNote() const {
    return "shape=" + std::string(core::rawValue(settings_.shape)) +
           " size=" + core::shortestDecimal(settings_.sizePoints);
}

}  // namespace scrawlet::aids
