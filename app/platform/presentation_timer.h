// When a swapped frame reached the display server, for latency measurements.
//
// `framePresented` is called on the main thread right after a frame's swap; the time is found
// on a thread of the timer's own and reported there, so the caller must accept reports from
// any thread. On X11 the time is the end of one round trip on the connection that swapped,
// which the server answers only after it has taken the swap; drivers that offer swap
// timestamps would do better, and Xvfb with llvmpipe offers none. Frames are reported in the
// order they were presented. When more frames wait than the timer holds, the newest are
// reported at once with the time 0 (unknown) rather than queued without bound.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace scrawlet::platform {

class PresentationTimer {
  public:
    using Report = std::function<void(std::int64_t frame, double presentedSeconds)>;

    virtual ~PresentationTimer() = default;
    virtual void framePresented(std::int64_t frame) = 0;
};

// The window system's timer; the immediate one where it has none.
std::unique_ptr<PresentationTimer> createPresentationTimer(PresentationTimer::Report report);
// Reports each frame at once, on the calling thread, with the monotonic time of the call.
std::unique_ptr<PresentationTimer> createImmediatePresentationTimer(
    PresentationTimer::Report report);

}  // namespace scrawlet::platform
