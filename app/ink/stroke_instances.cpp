#include "app/ink/stroke_instances.h"

#include <algorithm>
#include <cassert>

#include "core/auto_erase.h"

namespace scrawlet::ink {
namespace {

constexpr double kMinimumRadiusPixels = 0.5;
constexpr float kMinimumFadeWindowSeconds = 1e-5f;

// Everything but the ends, which are the same for all of a span's instances.
SegmentInstance styledInstance(const core::StrokeStyle& style, double birth,
                               const core::DisplayTransform& transform) {
    const double radius =
        transform.backingScaleFactor() * (transform.zoom() * (style.widthContentUnits * 0.5));
    const double alpha = style.colour.alpha / 255.0 * style.opacity;
    SegmentInstance instance{};
    // Also floors a NaN width, which would otherwise make the capsule vanish.
    instance.radius =
        static_cast<float>(radius > kMinimumRadiusPixels ? radius : kMinimumRadiusPixels);
    instance.birth = static_cast<float>(birth);
    instance.colour[0] = static_cast<float>(style.colour.red / 255.0);
    instance.colour[1] = static_cast<float>(style.colour.green / 255.0);
    instance.colour[2] = static_cast<float>(style.colour.blue / 255.0);
    instance.colour[3] = static_cast<float>(alpha > 1 ? 1 : (alpha > 0 ? alpha : 0));
    return instance;
}

void setEnds(SegmentInstance& instance, core::ScreenPixel a, core::ScreenPixel b) {
    instance.a[0] = static_cast<float>(a.x);
    instance.a[1] = static_cast<float>(a.y);
    instance.b[0] = static_cast<float>(b.x);
    instance.b[1] = static_cast<float>(b.y);
}

}  // namespace

FadeUniform FadeUniform::at(double now, std::optional<double> timeToLiveSeconds) {
    if (!timeToLiveSeconds || !(*timeToLiveSeconds > 0)) {
        return {static_cast<float>(now), 0, 0};
    }
    return {static_cast<float>(now), static_cast<float>(*timeToLiveSeconds),
            static_cast<float>(core::AutoErase::fadeWindow(*timeToLiveSeconds))};
}

// Single precision and this order of tests on purpose: it must match the vertex shader.
float fadeFactor(const FadeUniform& fade, float birth) {
    if (fade.timeToLive <= 0) {
        return 1;
    }
    const float age = fade.now - birth;
    const float hold = fade.timeToLive - fade.window;
    float f = 0;
    if (age <= hold) {
        f = 1;
    } else if (age >= fade.timeToLive) {
        f = 0;
    } else {
        f = (fade.timeToLive - age) / std::max(fade.window, kMinimumFadeWindowSeconds);
    }
    return std::clamp(f, 0.0f, 1.0f);
}

ShapePaint ShapePaint::of(const SegmentInstance& instance, const FadeUniform& fade) {
    return {{instance.colour[0], instance.colour[1], instance.colour[2]},
            instance.colour[3] * fadeFactor(fade, instance.birth)};
}

// The capsule reaches radius + 0.5 from its axis; one more pixel absorbs rounding.
StrokeInstanceBuilder::Box StrokeInstanceBuilder::boxOf(const SegmentInstance& instance) {
    const float reach = instance.radius + 1.0f;
    return {std::min(instance.a[0], instance.b[0]) - reach,
            std::min(instance.a[1], instance.b[1]) - reach,
            std::max(instance.a[0], instance.b[0]) + reach,
            std::max(instance.a[1], instance.b[1]) + reach};
}

PixelRect reachOf(const SegmentInstance& instance) {
    const auto box = StrokeInstanceBuilder::boxOf(instance);
    return PixelRect::enclosing(box.minX, box.minY, box.maxX, box.maxY);
}

StrokeInstanceBuilder::StrokeInstanceBuilder(SegmentInstance* storage, int capacity,
                                             int maximumRunCount)
    : storage_(storage), capacity_(capacity) {
    assert(storage != nullptr && capacity >= 0 && maximumRunCount >= 0);
    runs_.reserve(static_cast<std::size_t>(maximumRunCount));
    strokeStarts_.reserve(static_cast<std::size_t>(maximumRunCount));
    chunks_.reserve(static_cast<std::size_t>(capacity / kInstancesPerChunk + 1));
}

void StrokeInstanceBuilder::resetCursor() {
    instanceCount_ = 0;
    cursorSpan_ = 0;
    cursorPoint_ = 0;
    runs_.clear();
    strokeStarts_.clear();
    chunks_.clear();
}

void StrokeInstanceBuilder::reset() {
    resetCursor();
    liveInstanceCount_ = 0;
    liveReach_ = {};
    lastTransform_.reset();
}

PixelRect StrokeInstanceBuilder::reach(int from, int to) const {
    PixelRect result;
    to = std::min(to, instanceCount_);
    for (int i = std::max(from, 0); i < to; ++i) {
        // Whole chunks inside the range answer at once.
        if (i % kInstancesPerChunk == 0 && i + kInstancesPerChunk <= to) {
            const Box& box = chunks_[static_cast<std::size_t>(i / kInstancesPerChunk)];
            result = result.united(PixelRect::enclosing(box.minX, box.minY, box.maxX, box.maxY));
            i += kInstancesPerChunk - 1;
            continue;
        }
        result = result.united(reachOf(storage_[i]));
    }
    return result;
}

std::pair<int, int> StrokeInstanceBuilder::strokeAt(int index) const {
    const auto next = std::upper_bound(strokeStarts_.begin(), strokeStarts_.end(), index);
    const int start = next == strokeStarts_.begin() ? 0 : *(next - 1);
    return {start, next == strokeStarts_.end() ? instanceCount_ : std::min(*next, instanceCount_)};
}

bool StrokeInstanceBuilder::drawsAsShape(int index, const FadeUniform& fade) const {
    if (storage_[index].colour[3] * fadeFactor(fade, storage_[index].birth) >= 1.0f ||
        blendAt(index) != core::InkBlend::normal) {
        return false;
    }
    const auto [start, end] = strokeAt(index);
    return end - start > 1;
}

core::InkBlend StrokeInstanceBuilder::blendAt(int index) const {
    auto run =
        std::upper_bound(runs_.begin(), runs_.end(), index,
                         [](int at, const InstanceRun& r) { return at < r.start + r.count; });
    return run == runs_.end() ? core::InkBlend::normal : run->blend;
}

namespace {

// Whether every pixel centre of `rect` is fully covered by the capsule (coverage exactly 1).
bool coversWhole(const SegmentInstance& s, const PixelRect& rect) {
    const float inner = s.radius - 0.5f;
    if (inner <= 0)
        return false;
    const float bax = s.b[0] - s.a[0], bay = s.b[1] - s.a[1];
    const float denom = bax * bax + bay * bay;
    const float corners[4][2] = {
        {static_cast<float>(rect.x) + 0.5f, static_cast<float>(rect.y) + 0.5f},
        {static_cast<float>(rect.right()) - 0.5f, static_cast<float>(rect.y) + 0.5f},
        {static_cast<float>(rect.x) + 0.5f, static_cast<float>(rect.bottom()) - 0.5f},
        {static_cast<float>(rect.right()) - 0.5f, static_cast<float>(rect.bottom()) - 0.5f}};
    // A capsule is convex, so holding the four corner centres holds every centre between.
    for (const auto& c : corners) {
        const float pax = c[0] - s.a[0], pay = c[1] - s.a[1];
        const float h =
            denom > 1e-10f ? std::clamp((pax * bax + pay * bay) / denom, 0.0f, 1.0f) : 0;
        const float dx = pax - bax * h, dy = pay - bay * h;
        // A margin keeps the GPU's rounding from leaving a pixel a level short.
        if (dx * dx + dy * dy > (inner - 0.01f) * (inner - 0.01f))
            return false;
    }
    return true;
}

}  // namespace

int StrokeInstanceBuilder::coveringStart(const PixelRect& rect, int from, int to,
                                         const FadeUniform& fade) const {
    to = std::min(to, instanceCount_);
    from = std::max(from, 0);
    for (int chunk = (to - 1) / kInstancesPerChunk; chunk >= 0 && to > from; --chunk) {
        const int start = chunk * kInstancesPerChunk;
        if (start + kInstancesPerChunk <= from)
            break;
        if (!chunks_[static_cast<std::size_t>(chunk)].intersects(rect))
            continue;
        for (int i = std::min(to, start + kInstancesPerChunk) - 1; i >= std::max(start, from);
             --i) {
            const SegmentInstance& s = storage_[i];
            if (s.colour[3] >= 1.0f && coversWhole(s, rect) && fadeFactor(fade, s.birth) >= 1.0f &&
                blendAt(i) == core::InkBlend::normal) {
                return i;
            }
        }
    }
    return from;
}

bool StrokeInstanceBuilder::needsRebuild(const core::StrokeScene& scene,
                                         const core::DisplayTransform& transform) const {
    // Undo, delete, move, beautify and clear all go through an edit that the scene counts;
    // drawing only appends. So an unchanged count means the built instances are still right,
    // however many edits happened between two frames.
    return !lastTransform_ || !(*lastTransform_ == transform) ||
           scene.hidingEditCount() != lastHidingEditCount_;
}

bool StrokeInstanceBuilder::sync(const core::StrokeScene& scene,
                                 const core::DisplayTransform& transform) {
    const bool rebuilt = needsRebuild(scene, transform);
    if (rebuilt) {
        resetCursor();
        ++rebuildCount_;
    }
    lastTransform_ = transform;
    lastHidingEditCount_ = scene.hidingEditCount();
    const int before = instanceCount_;
    scene.withPoints(
        [&](std::span<const core::ContentPoint> points) { appendSpans(scene, points, transform); });
    // Scene instances may have taken the live shape's slots; `syncLive` rewrites it next.
    liveInstanceCount_ = std::min(liveInstanceCount_, capacity_ - instanceCount_);
    return rebuilt || instanceCount_ != before;
}

void StrokeInstanceBuilder::appendSpans(const core::StrokeScene& scene,
                                        std::span<const core::ContentPoint> points,
                                        const core::DisplayTransform& transform) {
    const int spanCount = scene.visibleSpanCount();
    for (; cursorSpan_ < spanCount; ++cursorSpan_, cursorPoint_ = 0) {
        const core::StrokeSpan& span = scene.span(cursorSpan_);
        if (cursorPoint_ < span.count && scene.isVisible(cursorSpan_)) {
            // Within the reserved storage: every stroke is a visible span of the scene.
            if (cursorPoint_ == 0 && strokeStarts_.size() < strokeStarts_.capacity()) {
                strokeStarts_.push_back(instanceCount_);
            }
            SegmentInstance instance = styledInstance(span.style, span.birth - epoch_, transform);
            const core::ContentPoint* p = points.data() + span.start;
            // The first instance of a stroke is its start cap: a dot on point 0.
            core::ScreenPixel a = transform.screenPixel(p[cursorPoint_ > 0 ? cursorPoint_ - 1 : 0]);
            for (; cursorPoint_ < span.count; ++cursorPoint_) {
                const core::ScreenPixel b = transform.screenPixel(p[cursorPoint_]);
                setEnds(instance, a, b);
                append(instance, span.style.blend);
                a = b;
            }
        }
        // The open stroke keeps the cursor so that the next sync resumes at its new points.
        if (cursorSpan_ == spanCount - 1 && scene.isDrawing()) {
            return;
        }
    }
}

void StrokeInstanceBuilder::append(const SegmentInstance& instance, core::InkBlend blend) {
    if (instanceCount_ >= capacity_) {
        ++droppedInstanceCount_;
        return;
    }
    if (runs_.empty() || runs_.back().blend != blend) {
        // Unreachable with runs reserved to the stroke capacity; refusing beats allocating.
        if (runs_.size() == runs_.capacity()) {
            ++droppedInstanceCount_;
            return;
        }
        runs_.push_back({instanceCount_, 0, blend});
    }
    ++runs_.back().count;
    storage_[instanceCount_] = instance;
    const Box box = boxOf(instance);
    if (instanceCount_ % kInstancesPerChunk == 0) {
        chunks_.push_back(box);  // within the reserved storage
    } else {
        Box& chunk = chunks_.back();
        chunk = {std::min(chunk.minX, box.minX), std::min(chunk.minY, box.minY),
                 std::max(chunk.maxX, box.maxX), std::max(chunk.maxY, box.maxY)};
    }
    ++instanceCount_;
}

bool StrokeInstanceBuilder::syncLive(const std::optional<core::LiveShape>& shape,
                                     const core::DisplayTransform& transform) {
    const bool wasShown = liveInstanceCount_ > 0;
    liveInstanceCount_ = 0;
    liveReach_ = {};
    if (!shape) {
        return wasShown;
    }
    const int n = core::ShapeGeometry::expand(*shape, livePoints_);
    if (n < 2) {
        return wasShown;
    }
    liveBlend_ = shape->style.blend;
    SegmentInstance instance = styledInstance(shape->style, liveBirth_ - epoch_, transform);
    // Every capsule has round ends already; the scene's dot only exists for one-point strokes.
    core::ScreenPixel a = transform.screenPixel(livePoints_[0]);
    for (int i = 1; i < n; ++i) {
        const int slot = instanceCount_ + liveInstanceCount_;
        if (slot >= capacity_) {
            ++droppedInstanceCount_;
            return true;
        }
        const core::ScreenPixel b = transform.screenPixel(livePoints_[static_cast<std::size_t>(i)]);
        setEnds(instance, a, b);
        storage_[slot] = instance;
        liveReach_ = liveReach_.united(reachOf(instance));
        ++liveInstanceCount_;
        a = b;
    }
    return true;
}

}  // namespace scrawlet::ink
