// The probe's measurements: one record per pointer event and per committed frame, the time
// each frame was presented, and the JSON Lines text that joins them.
//
// Every store is allocated once, at construction; recording an event, a post or a frame never
// allocates, and a full store refuses the record (the caller ends the run). Everything is
// main-thread work except `framePresented`, which may come from any thread: the presented
// times and their count are guarded by `presentLock_`, which the finishing reads also take.
//
// Joining: frames are joined in order up to the first one whose presented time has not come,
// so a frame that is never presented leaves itself and every later frame, and their events,
// unmatched. Unmatched events are counted, not written.
#pragma once

#include <cmath>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace scrawlet::diagnostics {

struct EventRecord {
    double eventTimestamp = 0;  // the event's own time, seconds on the monotonic clock
    double handlerEntry = 0;
    double postTimestamp = 0;  // when the synthetic driver posted it; 0 for live input
    double handlerExit = 0;
    double locationX = 0;  // view points
    double locationY = 0;
    std::int32_t frameIndex = 0;  // the frame that will carry it
    std::int32_t phase = 0;       // 0 moved, 1 dragged, 2 down
};

struct FrameRecord {
    double encodeSubmitted = 0;
    double refreshInterval = 0;
};

// What the metadata line says about the run besides the probe's own counts.
struct RunMetadata {
    std::string buildConfiguration;
    std::string inputDeviceLabel;
    std::uint32_t displayID = 0;
    double nominalRefreshHz = 0;
    double backingScaleFactor = 1;
    double screenPointWidth = 0;
    double screenPointHeight = 0;
    bool opaqueWindow = true;
    std::string surface;
    bool clearOnDown = false;
    bool flashOnDraw = false;
    std::string presentMode;
    bool presentsWithTransaction = false;
    int maximumDrawableCount = 2;
    std::string inputTransport;
    bool synthetic = false;
    std::string inputDevicesJSON = "[]";
    std::size_t inputDeviceCount = 0;
    std::string osVersion;
    std::string hardwareModel;
    std::string startedAt;
    double occludedSeconds = 0;
};

class LatencyProbe {
  public:
    static constexpr std::size_t kEventCapacity = 400000;
    static constexpr std::size_t kFrameCapacity = 100000;

    explicit LatencyProbe(std::size_t eventCapacity = kEventCapacity,
                          std::size_t frameCapacity = kFrameCapacity);

    // The synthetic driver posted an event at the global pixel (x, y).
    void notePost(double time, int x, int y);
    // The post time of an event that arrived at the global pixel (x, y): the first post from
    // the last matched one on that lands there; 0 when none does (live input, a stray motion).
    double postTimeFor(int x, int y);

    // False when the store is full.
    bool recordEvent(const EventRecord& record);
    // The index of the new frame, or -1 when the store is full.
    std::int64_t commitFrame(double encodeSubmitted, double refreshInterval);
    // Any thread. `time` 0 or less means the platform could not say.
    void framePresented(std::int64_t frame, double time);

    void noteTick() { ++tickCount_; }
    void noteDeferredFrame() { ++deferredFrameCount_; }
    // For a surface whose frame clock is not the probe's own.
    void adoptClockCounts(std::uint64_t ticks, std::uint64_t deferredFrames) {
        tickCount_ = ticks;
        deferredFrameCount_ = deferredFrames;
    }
    // The first event that carries a post time compares the event clock with the post clock.
    void noteDomainCheck(double eventTimestamp, double postTimestamp);

    std::size_t eventCount() const { return eventCount_; }
    std::size_t postCount() const { return postCount_; }
    std::int32_t frameCommitCount() const { return static_cast<std::int32_t>(frameCount_); }
    std::size_t framePresentCount() const;
    std::uint64_t tickCount() const { return tickCount_; }
    std::uint64_t deferredFrameCount() const { return deferredFrameCount_; }
    double firstEventDelta() const { return firstEventDelta_; }
    bool isFull() const { return eventCount_ == events_.size() || frameCount_ == frames_.size(); }

    struct JoinCounts {
        std::size_t joinedFrameCount = 0;
        std::size_t zeroPresentedFrameCount = 0;
        std::size_t presentOrderViolations = 0;
        std::size_t unmatchedEventCount = 0;
    };
    JoinCounts joinCounts() const;

    // The whole file: the metadata line, then one sample line per joined event.
    std::string flushText(const RunMetadata& metadata) const;

  private:
    std::vector<EventRecord> events_;
    std::vector<FrameRecord> frames_;
    std::vector<double> postTimes_;
    std::vector<std::pair<int, int>> postPoints_;
    std::size_t eventCount_ = 0;
    std::size_t frameCount_ = 0;
    std::size_t postCount_ = 0;
    std::size_t postMatch_ = 0;
    std::uint64_t tickCount_ = 0;
    std::uint64_t deferredFrameCount_ = 0;
    double firstEventDelta_ = NAN;

    mutable std::mutex presentLock_;
    // NaN until the frame's time is known.
    std::vector<double> presented_;
    std::size_t presentedCount_ = 0;
};

}  // namespace scrawlet::diagnostics
