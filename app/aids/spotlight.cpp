#include "app/aids/spotlight.h"

#include "app/aids/pointer_pictures.h"
#include "core/number_format.h"
#include "core/pointer_aid_geometry.h"

namespace scrawlet::aids {

Spotlight::Spotlight(const core::SpotlightSettings& settings, platform::PointerStage* stage)
    : PointerAid(stage), settings_(settings) {}

Spotlight::~Spotlight() {
    if (isActive() && stage_) {
        hide();
    }
}

void Spotlight::apply(const core::SpotlightSettings& settings) {
    settings_ = settings;
    refresh();
}

AidStats Spotlight::stats() const {
    const auto counters = stage_ ? stage_->counters() : platform::PointerStage::Counters{};
    return {isActive(), counters.dimFrames, counters.dimIdle};
}

void Spotlight::show() {
    using Stage = platform::PointerStage;
    Stage::Dim dim;
    dim.alpha = core::clampedUnit(settings_.dimOpacity);
    dim.hole = holeStamp(settings_, scale());
    const bool whole = core::surfaceDim(false, settings_.dimAllDisplays) == core::SurfaceDim::whole;
    for (const Frame& frame : frames_) {
        dim.planes.push_back({frame.pixels, whole ? Stage::Away::whole : Stage::Away::hidden});
    }
    stage_->setDim(std::move(dim));
}

void Spotlight::hide() {
    stage_->setDim(std::nullopt);
}

std::string Spotlight::toggleNote() const {
    return "shape=" + std::string(core::rawValue(settings_.shape)) +
           " size=" + core::shortestDecimal(settings_.sizePoints) +
           " dimAllDisplays=" + (settings_.dimAllDisplays ? "true" : "false");
}

}  // namespace scrawlet::aids
