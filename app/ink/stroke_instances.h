// Turns a stroke scene into GPU segment instances, without any GPU.
//
// Every visible stroke of n points becomes n instances: a dot (a == b) for its start cap and one
// capsule per segment. Instances live in caller-provided memory (the GPU's mapped buffer, or
// plain memory in tests) of a fixed capacity; `sync` appends only what is new while a stroke is
// drawn and rebuilds from the start after undo, a transform change or an edit that hides a
// span. Runs group consecutive instances of equal blend so that each run is one draw call. The
// live shape's instances follow the scene's, so each frame calls `sync` before `syncLive`: new
// scene instances take the live shape's slots. Nothing here allocates after construction.
// Main thread only.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "app/ink/pixel_rect.h"
#include "core/geometry.h"
#include "core/ink_blend.h"
#include "core/live_shape.h"
#include "core/shape_geometry.h"
#include "core/stroke_scene.h"

namespace scrawlet::ink {

// The GPU record, 48 bytes, laid out as the shader's `Segment`.
struct alignas(16) SegmentInstance {
    float a[2];    // start, drawable pixels, origin top left, y down
    float b[2];    // end; equal to `a` for a dot
    float radius;  // half the width in pixels, at least 0.5
    float birth;   // seconds on the monotonic clock
    float padding[2];
    float colour[4];  // straight RGBA in 0...1, alpha already times the opacity
};
static_assert(sizeof(SegmentInstance) == 48);
static_assert(offsetof(SegmentInstance, colour) == 32);

struct InstanceRun {
    int start = 0;
    int count = 0;
    core::InkBlend blend = core::InkBlend::normal;
    bool operator==(const InstanceRun&) const = default;
};

// (now, timeToLive, window) as the shader reads it; (now, 0, 0) when auto-erase is off.
struct FadeUniform {
    float now = 0;
    float timeToLive = 0;
    float window = 0;
    static FadeUniform at(double now, std::optional<double> timeToLiveSeconds);
};

// The shader's fade factor, evaluated on the CPU (for tests and for checking the GLSL).
float fadeFactor(const FadeUniform& fade, float birth);

// How a stroke drawn as one shape is blended over its united coverage: its straight colour
// and one opacity, its alpha times its fade factor.
struct ShapePaint {
    float colour[3] = {};
    float opacity = 1;
    static ShapePaint of(const SegmentInstance& instance, const FadeUniform& fade);
};

// Every pixel an instance can touch: its capsule, the anti-aliased fringe and rounding.
PixelRect reachOf(const SegmentInstance& instance);

class StrokeInstanceBuilder {
  public:
    // `storage` must hold `capacity` instances, be 16-byte aligned and outlive the builder.
    // `maximumRunCount` is the scene's stroke capacity: every run starts with a new span.
    StrokeInstanceBuilder(SegmentInstance* storage, int capacity, int maximumRunCount);

    // Brings the scene's instances up to date; true when a frame is needed.
    bool sync(const core::StrokeScene& scene, const core::DisplayTransform& transform);
    // Replaces the live shape's instances; true when a frame is needed (also to erase one).
    bool syncLive(const std::optional<core::LiveShape>& shape,
                  const core::DisplayTransform& transform);
    // Forgets everything built, keeping storage (warm-up and the hard clear); the next `sync`
    // counts as a rebuild.
    void reset();

    std::span<const SegmentInstance> instances() const {
        return {storage_, static_cast<std::size_t>(instanceCount_ + liveInstanceCount_)};
    }
    std::span<const InstanceRun> runs() const { return runs_; }
    int instanceCapacity() const { return capacity_; }
    int instanceCount() const { return instanceCount_; }
    int liveInstanceCount() const { return liveInstanceCount_; }
    core::InkBlend liveBlend() const { return liveBlend_; }
    std::uint64_t droppedInstanceCount() const { return droppedInstanceCount_; }
    // Bumped whenever `sync` starts over: a copy of the instances is then stale from index 0,
    // even when the count did not shrink (a zoom, a move).
    std::uint64_t rebuildCount() const { return rebuildCount_; }
    void setLiveBirth(double birth) { liveBirth_ = birth; }
    // Births are stored as seconds since `epoch`: 32-bit floats keep millisecond steps for days
    // after it, where seconds since boot lose them within a week. The fade's `now` must use it too.
    void setEpoch(double epoch) { epoch_ = epoch; }
    double epoch() const { return epoch_; }

    // Pixels the instances in [from, to) can touch.
    PixelRect reach(int from, int to) const;
    // Pixels the live shape's instances can touch; empty without one.
    const PixelRect& liveReach() const { return liveReach_; }
    // Calls `body(start, count, blend)` for runs of scene instances in [from, to) that may touch
    // `rect`, in drawing order. Instances far from it are skipped a chunk at a time.
    template <class Body>
    void forEachRangeIn(const PixelRect& rect, int from, int to, Body&& body) const;
    // The last scene instance before `to` that alone decides every pixel of `rect` (opaque,
    // unfaded, normal blend, covering it whole), or `from` when there is none: drawing from there
    // gives the same pixels as drawing from `from`.
    int coveringStart(const PixelRect& rect, int from, int to, const FadeUniform& fade) const;
    // The scene instances [first, second) of the stroke that holds instance `index`.
    std::pair<int, int> strokeAt(int index) const;
    // Whether the scene instance at `index` must be drawn with the rest of its stroke as one
    // shape: its capsules overlap at every joint, and a translucent stroke blended capsule by
    // capsule would darken there. Opaque strokes, dots and the highlighter's maximum are
    // drawn capsule by capsule.
    bool drawsAsShape(int index, const FadeUniform& fade) const;

    static constexpr int kInstancesPerChunk = 16;

    // What an instance can touch, unrounded: its capsule, the fringe and a pixel of rounding.
    struct Box {
        float minX, minY, maxX, maxY;
        bool intersects(const PixelRect& r) const {
            return minX < static_cast<float>(r.right()) && maxX > static_cast<float>(r.x) &&
                   minY < static_cast<float>(r.bottom()) && maxY > static_cast<float>(r.y);
        }
    };
    static Box boxOf(const SegmentInstance& instance);

  private:
    core::InkBlend blendAt(int index) const;
    template <class Body>
    void emitRuns(int start, int end, Body& body) const;

    bool needsRebuild(const core::StrokeScene& scene,
                      const core::DisplayTransform& transform) const;
    void resetCursor();
    void appendSpans(const core::StrokeScene& scene, std::span<const core::ContentPoint> points,
                     const core::DisplayTransform& transform);
    void append(const SegmentInstance& instance, core::InkBlend blend);

    SegmentInstance* storage_;
    int capacity_;
    int instanceCount_ = 0;
    std::vector<InstanceRun> runs_;  // reserved to maximumRunCount
    std::vector<int> strokeStarts_;  // the first instance of each stroke, reserved alike
    std::uint64_t droppedInstanceCount_ = 0;
    std::uint64_t rebuildCount_ = 0;
    int cursorSpan_ = 0;
    int cursorPoint_ = 0;
    std::optional<core::DisplayTransform> lastTransform_;
    std::uint64_t lastHidingEditCount_ = 0;
    int liveInstanceCount_ = 0;
    core::InkBlend liveBlend_ = core::InkBlend::normal;
    double liveBirth_ = 0;
    double epoch_ = 0;
    std::array<core::ContentPoint, core::ShapeGeometry::maximumPointCount> livePoints_{};
    std::vector<Box> chunks_;  // reserved to the chunk count of a full buffer
    PixelRect liveReach_;
};

template <class Body>
void StrokeInstanceBuilder::emitRuns(int start, int end, Body& body) const {
    // Runs are sorted and few; find the first that ends after `start`.
    auto run =
        std::upper_bound(runs_.begin(), runs_.end(), start,
                         [](int at, const InstanceRun& r) { return at < r.start + r.count; });
    for (; run != runs_.end() && run->start < end; ++run) {
        const int s = std::max(start, run->start);
        const int e = std::min(end, run->start + run->count);
        if (s < e)
            body(s, e - s, run->blend);
    }
}

template <class Body>
void StrokeInstanceBuilder::forEachRangeIn(const PixelRect& rect, int from, int to,
                                           Body&& body) const {
    to = std::min(to, instanceCount_);
    from = std::max(from, 0);
    int pendingStart = -1, pendingEnd = -1;
    for (int chunk = from / kInstancesPerChunk; chunk * kInstancesPerChunk < to; ++chunk) {
        if (!chunks_[static_cast<std::size_t>(chunk)].intersects(rect))
            continue;
        const int s = std::max(from, chunk * kInstancesPerChunk);
        const int e = std::min(to, (chunk + 1) * kInstancesPerChunk);
        if (s == pendingEnd) {
            pendingEnd = e;
            continue;
        }
        if (pendingStart >= 0)
            emitRuns(pendingStart, pendingEnd, body);
        pendingStart = s;
        pendingEnd = e;
    }
    if (pendingStart >= 0)
        emitRuns(pendingStart, pendingEnd, body);
}

}  // namespace scrawlet::ink
