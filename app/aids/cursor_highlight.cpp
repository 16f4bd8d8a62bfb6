#include "app/aids/cursor_highlight.h"

#include "app/aids/aid_window.h"
#include "app/aids/pointer_pictures.h"
#include "core/number_format.h"

namespace scrawlet::aids {

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
    stage_->setRipples(settings_.clickRipple ? std::optional(ripplePictures(settings_, scale(),
                                                                            refreshMilliseconds()))
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
