#include "app/diagnostics/occlusion_meter.h"

#include <QEvent>
#include <iostream>

#include "app/platform/monotonic_clock.h"

namespace scrawlet::diagnostics {

OcclusionMeter::OcclusionMeter(QWindow& window) : window_(window) {
    window.installEventFilter(this);
}

double OcclusionMeter::occludedSeconds() const {
    return occludedSeconds_ +
           (occludedSince_ ? platform::monotonicSeconds() - *occludedSince_ : 0.0);
}

bool OcclusionMeter::eventFilter(QObject* watched, QEvent* event) {
    if (watched != &window_ || event->type() != QEvent::Expose) {
        return false;
    }
    // Qt records the new state before it delivers the event.
    const bool exposed = window_.isExposed();
    if (exposed) {
        if (!wasExposed_ && onFirstExposure) {
            onFirstExposure();
        }
        wasExposed_ = true;
        if (occludedSince_) {
            occludedSeconds_ += platform::monotonicSeconds() - *occludedSince_;
            occludedSince_.reset();
        }
    } else if (wasExposed_ && !occludedSince_) {
        occludedSince_ = platform::monotonicSeconds();
        std::cerr << "probe: window occluded — frames from here will not reach scanout\n";
    }
    return false;
}

}  // namespace scrawlet::diagnostics
