#include "app/diagnostics/latency_probe.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "core/json_text.h"

namespace scrawlet::diagnostics {
namespace {

// How far past the last matched post an arriving event is looked for: a few frames' worth of
// posts at the highest rate, so that a lookup stays short however long the run.
constexpr std::size_t kPostMatchWindow = 256;
constexpr std::size_t kBytesPerSample = 190;
constexpr std::size_t kMetadataBytes = 1024;

constexpr const char* kPhases[] = {"moved", "dragged", "down"};

void appendInteger(std::string& out, std::int64_t value) {
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void key(std::string& out, std::string_view name) {
    out += ",\"";
    out += name;
    out += "\":";
}

void seconds(std::string& out, std::string_view name, double value) {
    key(out, name);
    core::appendFixedDecimal(out, value, 9);
}

void text(std::string& out, std::string_view name, std::string_view value) {
    key(out, name);
    core::appendJsonString(out, value);
}

void number(std::string& out, std::string_view name, double value) {
    key(out, name);
    // Whole values (60 Hz, 1920 points) read as integers, the rest with three decimals.
    if (std::isfinite(value) && value == std::floor(value) && std::abs(value) < 1e15) {
        appendInteger(out, static_cast<std::int64_t>(value));
    } else {
        core::appendFixedDecimal(out, value, 3);
    }
}

void count(std::string& out, std::string_view name, std::uint64_t value) {
    key(out, name);
    appendInteger(out, static_cast<std::int64_t>(value));
}

void flag(std::string& out, std::string_view name, bool value) {
    key(out, name);
    out += value ? "true" : "false";
}

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
    out += "{\"kind\":\"meta\"";
    text(out, "buildConfiguration", m.buildConfiguration);
    text(out, "inputDevice", m.inputDeviceLabel);
    count(out, "displayID", m.displayID);
    number(out, "nominalRefreshHz", m.nominalRefreshHz);
    number(out, "backingScaleFactor", m.backingScaleFactor);
    number(out, "screenPointWidth", m.screenPointWidth);
    number(out, "screenPointHeight", m.screenPointHeight);
    flag(out, "opaqueWindow", m.opaqueWindow);
    text(out, "surface", m.surface);
    text(out, "presentMode", m.presentMode);
    flag(out, "presentsWithTransaction", m.presentsWithTransaction);
    count(out, "maximumDrawableCount", static_cast<std::uint64_t>(m.maximumDrawableCount));
    flag(out, "clearOnDown", m.clearOnDown);
    flag(out, "flashOnDraw", m.flashOnDraw);
    text(out, "inputTransport", m.inputTransport);
    flag(out, "synthetic", m.synthetic);
    count(out, "inputDeviceCount", m.inputDeviceCount);
    key(out, "inputDevices");
    out += m.inputDevicesJSON;
    text(out, "osVersion", m.osVersion);
    text(out, "hardwareModel", m.hardwareModel);
    text(out, "startedAt", m.startedAt);
    count(out, "eventCount", eventCount_);
    count(out, "frameCommitCount", frameCount_);
    count(out, "framePresentCount", framePresentCount());
    count(out, "joinedFrameCount", counts.joinedFrameCount);
    count(out, "tickCount", tickCount_);
    count(out, "deferredFrameCount", deferredFrameCount_);
    count(out, "unmatchedEventCount", counts.unmatchedEventCount);
    // No post time ever met an event (live input): there was nothing to compare.
    if (std::isnan(firstEventDelta_)) {
        key(out, "domainCheckSeconds");
        out += "null";
    } else {
        seconds(out, "domainCheckSeconds", firstEventDelta_);
    }
    count(out, "presentOrderViolations", counts.presentOrderViolations);
    count(out, "zeroPresentedFrameCount", counts.zeroPresentedFrameCount);
    key(out, "occludedSeconds");
    core::appendFixedDecimal(out, m.occludedSeconds, 3);
    out += "}\n";

    std::uint64_t seq = 0;
    const std::lock_guard guard(presentLock_);
    for (std::size_t i = 0; i < eventCount_; ++i) {
        const EventRecord& e = events_[i];
        if (e.frameIndex < 0 || static_cast<std::size_t>(e.frameIndex) >= counts.joinedFrameCount) {
            continue;
        }
        const auto frame = static_cast<std::size_t>(e.frameIndex);
        out += "{\"kind\":\"sample\"";
        count(out, "seq", seq++);
        seconds(out, "eventTimestamp", e.eventTimestamp);
        seconds(out, "handlerEntry", e.handlerEntry);
        seconds(out, "handlerExit", e.handlerExit);
        seconds(out, "postTimestamp", e.postTimestamp);
        seconds(out, "encodeSubmitted", frames_[frame].encodeSubmitted);
        seconds(out, "presentedTime", presented_[frame]);
        seconds(out, "refreshInterval", frames_[frame].refreshInterval);
        count(out, "frameIndex", frame);
        text(out, "phase", kPhases[std::clamp(e.phase, 0, 2)]);
        seconds(out, "x", e.locationX);
        seconds(out, "y", e.locationY);
        out += "}\n";
    }
    return out;
}

}  // namespace scrawlet::diagnostics
