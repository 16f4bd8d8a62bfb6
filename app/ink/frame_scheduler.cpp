#include "app/ink/frame_scheduler.h"

#include <cassert>

namespace scrawlet::ink {

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

FrameScheduler::TickOutcome FrameScheduler::tick(double now, bool fading) {
    ++tickCount_;
    lastTickTime_ = now;
    if (!hasPendingInput_ && !fading) {
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
    }
}

double FrameScheduler::nextTickTime() const {
    // An owed frame never waits for the tick cadence, only for the display: when the last
    // frame is older than one interval, this time has passed and the host draws at once.
    if (hasPendingInput_) {
        return lastFrameTime_ + refreshInterval_;
    }
    return lastTickTime_ + refreshInterval_;
}

}  // namespace scrawlet::ink
