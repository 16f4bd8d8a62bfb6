// When the ink view draws: the frame clock of one display, without any timer of its own.
//
// Frames are only drawn while something is owed: input and edits owe a frame, and so does ink
// that is still fading. An owed frame is due at once, since a frame shows only what changed and
// the host draws after the queued input is handled, so no input waits for the display; ticks
// that only animate (fading) come once a refresh interval. After 30 idle ticks the clock
// pauses, so an idle overlay costs nothing; the next request resumes it. A host that cannot draw
// (its window is not exposed) suspends the clock: it owes nothing until it can draw again. The
// host runs a timer to `nextTickTime()` while `isRunning()`. Main thread only.
#pragma once

#include <cstdint>

namespace scrawlet::gl {

class FrameScheduler {
  public:
    static constexpr int kIdleTicksBeforePause = 30;

    explicit FrameScheduler(double refreshIntervalSeconds);

    void setRefreshInterval(double seconds);
    double refreshInterval() const { return refreshInterval_; }

    // Something must be drawn. Resumes a paused clock.
    void requestFrame();
    // Stops the clock; what was owed is drawn when `requestFrame` comes again.
    void suspend();

    enum class TickOutcome { draw, idle, paused };
    // One tick of the clock at `now`; `fading` says whether ink is still fading out.
    TickOutcome tick(double now, bool fading);
    // After a `draw`: whether a frame was actually presented; a deferred one is retried.
    void frameFinished(double now, bool presented);

    bool isRunning() const { return running_; }
    // When the next tick is due; at once when a frame is owed and the last is old enough.
    double nextTickTime() const;

    std::uint64_t tickCount() const { return tickCount_; }
    std::uint64_t idleTickCount() const { return idleTickCount_; }
    std::uint64_t frameCount() const { return frameCount_; }
    std::uint64_t deferredFrameCount() const { return deferredFrameCount_; }
    bool hasPendingInput() const { return hasPendingInput_; }

  private:
    double refreshInterval_;
    bool running_ = false;
    bool hasPendingInput_ = false;
    bool wasFading_ = false;
    int idleTicksSincePresent_ = 0;
    double lastTickTime_ = -1e300;
    double lastFrameTime_ = -1e300;
    double lastDeferredTime_ = -1e300;
    std::uint64_t tickCount_ = 0;
    std::uint64_t idleTickCount_ = 0;
    std::uint64_t frameCount_ = 0;
    std::uint64_t deferredFrameCount_ = 0;
};

}  // namespace scrawlet::gl
