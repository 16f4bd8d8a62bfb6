#include "app/gl/frame_scheduler.h"

#include <algorithm>
#include <cassert>

namespace scrawlet::gl {

FrameScheduler::FrameScheduler(double refreshIntervalSeconds)
    : refreshInterval_(refreshIntervalSeconds) {
    assert(refreshIntervalSeconds > 0);
}

void FrameScheduler::setRefreshInterval(double seconds) {
    if (seconds > 0) {
        refreshInterval_ = seconds;
    }
}

void FrameScheduler::requestFrame() {
    hasPendingInput_ = true;
    if (!running_) {
        running_ = true;
        idleTicksSincePresent_ = 0;
    }
}

void FrameScheduler::suspend() {
    running_ = false;
    hasPendingInput_ = false;
}

FrameScheduler::TickOutcome FrameScheduler::tick(double now, bool fading) {
    ++tickCount_;
    lastTickTime_ = now;
    // The tick after a fade ends draws once more: the last fading frame came a little before
    // the end and would otherwise stay on screen as a faint ghost.
    const bool fadeEnded = wasFading_ && !fading;
    wasFading_ = fading;
    if (!hasPendingInput_ && !fading && !fadeEnded) {
        ++idleTickCount_;
        if (++idleTicksSincePresent_ >= kIdleTicksBeforePause) {
            running_ = false;
            return TickOutcome::paused;
        }
        return TickOutcome::idle;
    }
    hasPendingInput_ = false;
    idleTicksSincePresent_ = 0;
    return TickOutcome::draw;
}

void FrameScheduler::frameFinished(double now, bool presented) {
    if (presented) {
        ++frameCount_;
        lastFrameTime_ = now;
    } else {
        ++deferredFrameCount_;
        hasPendingInput_ = true;
        lastDeferredTime_ = now;
    }
}

double FrameScheduler::nextTickTime() const {
    // A frame that could not be drawn is retried at the display's pace, not in a spin.
    if (hasPendingInput_) {
        return std::max(lastFrameTime_, lastDeferredTime_ + refreshInterval_);
    }
    return lastTickTime_ + refreshInterval_;
}

}  // namespace scrawlet::gl
