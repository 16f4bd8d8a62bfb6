// The pictures the pointer aids hand to the pointer stage, drawn once per change of settings:
// the spotlight's hole with the dim round it, the cursor highlight, and the frames of the click
// ripples. `scale` is device pixels per point.
#pragma once

#include <chrono>

#include "app/platform/pointer_stage.h"
#include "core/settings.h"

namespace scrawlet::aids {

platform::PointerStage::Stamp holeStamp(const core::SpotlightSettings& settings, double scale);
platform::PointerStage::Stamp highlightStamp(const core::CursorHighlightSettings& settings,
                                             double scale);
platform::PointerStage::Ripples ripplePictures(const core::CursorHighlightSettings& settings,
                                               double scale,
                                               std::chrono::milliseconds frameInterval);

}  // namespace scrawlet::aids
