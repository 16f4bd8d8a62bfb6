#include "app/diagnostics/latency_probe.h"

#include <algorithm>
#include <limits>

#include "core/json_object.h"

namespace scrawlet::diagnostics {
namespace {

// How far past the last matched post an arriving event is looked for: a few frames' worth of
// posts at the highest rate, so that a lookup stays short however long the run.
constexpr std::size_t kPostMatchWindow = 256;
constexpr std::size_t kBytesPerSample = 190;
constexpr std::size_t kMetadataBytes = 1024;

constexpr const char* kPhases[] = {"moved", "dragged", "down"};

}  // namespace

LatencyProbe::LatencyProbe(std::size_t eventCapacity, std::size_t frameCapacity)
    : events_(eventCapacity),
      frames_(frameCapacity),
      postTimes_(eventCapacity),
      postPoints_(eventCapacity),
      presented_(frameCapacity, NAN) {}

void LatencyProbe::notePost(double time, int x, int y) {
    if (postCount_ == postTimes_.size()) {
        return;
    }
    postTimes_[postCount_] = time;
    postPoints_[postCount_] = {x, y};
    ++postCount_;
}

double LatencyProbe::postTimeFor(int x, int y) {
    // The last matched post stays a candidate: one post through the server can arrive as a
    // motion and a press at the same point.
    const std::size_t end = std::min(postCount_, postMatch_ + kPostMatchWindow);
    for (std::size_t i = postMatch_; i < end; ++i) {
        if (postPoints_[i] == std::pair{x, y}) {
            postMatch_ = i;
            return postTimes_[i];
        }
    }
    return 0;
}

bool LatencyProbe::recordEvent(const EventRecord& record) {
    if (eventCount_ == events_.size()) {
        return false;
    }
    events_[eventCount_++] = record;
    return true;
}

std::int64_t LatencyProbe::commitFrame(double encodeSubmitted, double refreshInterval) {
    if (frameCount_ == frames_.size()) {
        return -1;
    }
    frames_[frameCount_] = {encodeSubmitted, refreshInterval};
    return static_cast<std::int64_t>(frameCount_++);
}

void LatencyProbe::framePresented(std::int64_t frame, double time) {
    if (frame < 0 || static_cast<std::size_t>(frame) >= presented_.size()) {
        return;
    }
    const std::lock_guard guard(presentLock_);
    presented_[static_cast<std::size_t>(frame)] = time;
    while (presentedCount_ < presented_.size() && !std::isnan(presented_[presentedCount_])) {
        ++presentedCount_;
    }
}

std::size_t LatencyProbe::framePresentCount() const {
    const std::lock_guard guard(presentLock_);
    return presentedCount_;
}

void LatencyProbe::noteDomainCheck(double eventTimestamp, double postTimestamp) {
    if (std::isnan(firstEventDelta_) && postTimestamp > 0) {
        firstEventDelta_ = eventTimestamp - postTimestamp;
    }
}

LatencyProbe::JoinCounts LatencyProbe::joinCounts() const {
    JoinCounts counts;
    const std::lock_guard guard(presentLock_);
    counts.joinedFrameCount = std::min(presentedCount_, frameCount_);
    double previous = 0;
    for (std::size_t i = 0; i < counts.joinedFrameCount; ++i) {
        const double time = presented_[i];
        if (time <= 0) {
            ++counts.zeroPresentedFrameCount;
            continue;
        }
        if (previous > 0 && time < previous) {
            ++counts.presentOrderViolations;
        }
        previous = time;
    }
    for (std::size_t i = 0; i < eventCount_; ++i) {
        if (events_[i].frameIndex < 0 ||
            static_cast<std::size_t>(events_[i].frameIndex) >= counts.joinedFrameCount) {
            ++counts.unmatchedEventCount;
        }
    }
    return counts;
}

std::string LatencyProbe::flushText(const RunMetadata& m) const {
    const JoinCounts counts = joinCounts();
    std::string out;
    out.reserve(eventCount_ * kBytesPerSample + kMetadataBytes + m.inputDevicesJSON.size());
    core::JsonObject meta(out);
    meta.text("kind", "meta")
        .text("buildConfiguration", m.buildConfiguration)
        .text("inputDevice", m.inputDeviceLabel)
        .count("displayID", m.displayID)
        .number("nominalRefreshHz", m.nominalRefreshHz)
        .number("backingScaleFactor", m.backingScaleFactor)
        .number("screenPointWidth", m.screenPointWidth)
        .number("screenPointHeight", m.screenPointHeight)
        .flag("opaqueWindow", m.opaqueWindow)
        .text("surface", m.surface)
        .text("presentMode", m.presentMode)
        .flag("presentsWithTransaction", m.presentsWithTransaction)
        .count("maximumDrawableCount", m.maximumDrawableCount)
        .flag("clearOnDown", m.clearOnDown)
        .flag("flashOnDraw", m.flashOnDraw)
        .text("inputTransport", m.inputTransport)
        .flag("synthetic", m.synthetic)
        .count("inputDeviceCount", m.inputDeviceCount)
        .json("inputDevices", m.inputDevicesJSON)
        .text("osVersion", m.osVersion)
        .text("hardwareModel", m.hardwareModel)
        .text("startedAt", m.startedAt)
        .count("eventCount", eventCount_)
        .count("frameCommitCount", frameCount_)
        .count("framePresentCount", framePresentCount())
        .count("joinedFrameCount", counts.joinedFrameCount)
        .count("tickCount", tickCount_)
        .count("deferredFrameCount", deferredFrameCount_)
        .count("unmatchedEventCount", counts.unmatchedEventCount)
        // No post time ever met an event (live input): there was nothing to compare.
        .fixedOrNull("domainCheckSeconds", firstEventDelta_, 9)
        .count("presentOrderViolations", counts.presentOrderViolations)
        .count("zeroPresentedFrameCount", counts.zeroPresentedFrameCount)
        .fixed("occludedSeconds", m.occludedSeconds, 3)
        .close();
    out += '\n';

    std::size_t seq = 0;
    const std::lock_guard guard(presentLock_);
    for (std::size_t i = 0; i < eventCount_; ++i) {
        const EventRecord& e = events_[i];
        if (e.frameIndex < 0 || static_cast<std::size_t>(e.frameIndex) >= counts.joinedFrameCount) {
            continue;
        }
        const auto frame = static_cast<std::size_t>(e.frameIndex);
        core::JsonObject sample(out);
        sample.text("kind", "sample")
            .count("seq", seq++)
            .fixed("eventTimestamp", e.eventTimestamp, 9)
            .fixed("handlerEntry", e.handlerEntry, 9)
            .fixed("handlerExit", e.handlerExit, 9)
            .fixed("postTimestamp", e.postTimestamp, 9)
            .fixed("encodeSubmitted", frames_[frame].encodeSubmitted, 9)
            .fixed("presentedTime", presented_[frame], 9)
            .fixed("refreshInterval", frames_[frame].refreshInterval, 9)
            .count("frameIndex", frame)
            .text("phase", kPhases[std::clamp(e.phase, 0, 2)])
            .fixed("x", e.locationX, 9)
            .fixed("y", e.locationY, 9)
            .close();
        out += '\n';
    }
    return out;
}

}  // namespace scrawlet::diagnostics
