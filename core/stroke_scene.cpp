#include "core/stroke_scene.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace scrawlet::core {
namespace {

double distanceSquared(ContentPoint a, ContentPoint b) {
    const double dx = a.x - b.x;
    const double dy = a.y - b.y;
    return dx * dx + dy * dy;
}

// Whether p lies within `reach` of the segment a-b, the projection clamped to the segment.
// Division-free: this runs for every segment of the drawing on a click with the select tool.
bool withinReachOfSegment(ContentPoint p, ContentPoint a, ContentPoint b, double reachSquared) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double px = p.x - a.x;
    const double py = p.y - a.y;
    const double along = px * dx + py * dy;
    if (along <= 0) {
        return px * px + py * py <= reachSquared;
    }
    const double lengthSquared = dx * dx + dy * dy;
    if (along >= lengthSquared) {
        return distanceSquared(p, b) <= reachSquared;
    }
    // Perpendicular distance squared is cross² / length².
    const double cross = px * dy - py * dx;
    return cross * cross <= reachSquared * lengthSquared;
}

}  // namespace

StrokeScene::StrokeScene(int pointCapacity, int strokeCapacity, double minimumSeparation)
    : pointCapacity_(pointCapacity),
      strokeCapacity_(strokeCapacity),
      minimumSeparation_(minimumSeparation),
      minimumSeparationSquared_(minimumSeparation * minimumSeparation) {
    assert(pointCapacity >= 1 && strokeCapacity >= 1 && minimumSeparation >= 0);
    points_.reserve(static_cast<std::size_t>(pointCapacity));
    spans_.reserve(static_cast<std::size_t>(strokeCapacity));
    spanIndex_.reserve(static_cast<std::size_t>(strokeCapacity));
    // Each span needs ceil(segments / chunk) chunks: at most points / chunk + one per span.
    chunkBoxes_.reserve(static_cast<std::size_t>(pointCapacity / kSegmentsPerChunk) +
                        static_cast<std::size_t>(strokeCapacity));
}

void StrokeScene::setMinimumSeparation(double separation) {
    minimumSeparation_ = separation;
    minimumSeparationSquared_ = separation * separation;
}

void StrokeScene::showEverything() {
    visibleSpanCount_ = spanCount();
    visiblePointCount_ = pointCount();
}

bool StrokeScene::begin(ContentPoint point, const StrokeStyle& style, double birth) {
    closeOpenStroke();
    // Whole stores are counted, hidden future included: a full scene keeps refusing after an
    // undo until it is cleared.
    if (spanCount() >= strokeCapacity_) {
        ++droppedStrokeCount_;
        return false;
    }
    if (pointCount() >= pointCapacity_) {
        ++droppedPointCount_;
        ++droppedStrokeCount_;
        return false;
    }
    truncateToVisible();
    spans_.push_back({pointCount(), 1, style, birth, -1});
    spanIndex_.push_back({boxOf(std::span(&point, 1)), static_cast<int>(chunkBoxes_.size())});
    points_.push_back(point);
    showEverything();
    isDrawing_ = true;
    return true;
}

StrokePointOutcome StrokeScene::extend(ContentPoint point) {
    if (!isDrawing_ || spans_.empty()) {
        return StrokePointOutcome::noStrokeInProgress;
    }
    StrokeSpan& last = spans_.back();
    const ContentPoint previous = points_[static_cast<std::size_t>(last.start + last.count - 1)];
    if (distanceSquared(point, previous) <= minimumSeparationSquared_) {
        return StrokePointOutcome::coincident;
    }
    if (pointCount() >= pointCapacity_) {
        ++droppedPointCount_;
        return StrokePointOutcome::pointCapacityReached;
    }
    points_.push_back(point);
    ++last.count;
    visiblePointCount_ = pointCount();
    return StrokePointOutcome::appended;
}

bool StrokeScene::end() {
    const bool wasDrawing = isDrawing_;
    closeOpenStroke();
    return wasDrawing;
}

void StrokeScene::closeOpenStroke() {
    if (isDrawing_) {
        isDrawing_ = false;
        indexClosedStroke();
    }
}

StrokeScene::PointBox StrokeScene::boxOf(std::span<const ContentPoint> points) {
    PointBox box{points[0].x, points[0].y, points[0].x, points[0].y};
    for (const ContentPoint p : points.subspan(1)) {
        box.add(p);
    }
    return box;
}

void StrokeScene::indexClosedStroke() {
    const StrokeSpan& span = spans_.back();
    const std::span<const ContentPoint> points(points_.data() + span.start,
                                               static_cast<std::size_t>(span.count));
    SpanIndex& index = spanIndex_.back();
    index.box = boxOf(points);
    // A chunk holds the points of its segments, the shared end point included.
    for (int first = 0; first < span.segmentCount(); first += kSegmentsPerChunk) {
        const int last = std::min(first + kSegmentsPerChunk, span.count - 1);
        chunkBoxes_.push_back(boxOf(points.subspan(static_cast<std::size_t>(first),
                                                   static_cast<std::size_t>(last - first + 1))));
    }
}

bool StrokeScene::cancel() {
    if (!isDrawing_ || spans_.empty()) {
        return false;
    }
    points_.resize(points_.size() - static_cast<std::size_t>(spans_.back().count));
    ++hidingEditCount_;
    spans_.pop_back();
    spanIndex_.pop_back();
    showEverything();
    isDrawing_ = false;
    return true;
}

std::optional<int> StrokeScene::appendTombstone() {
    closeOpenStroke();
    if (spanCount() >= strokeCapacity_) {
        ++droppedStrokeCount_;
        return std::nullopt;
    }
    truncateToVisible();
    spans_.push_back({pointCount(), 0, StrokeStyle::empty(), 0, -1});
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    spanIndex_.push_back(
        {{kInfinity, kInfinity, -kInfinity, -kInfinity}, static_cast<int>(chunkBoxes_.size())});
    visibleSpanCount_ = spanCount();
    return spanCount() - 1;
}

void StrokeScene::supersede(int spanAt, int with) {
    assert(0 <= spanAt && spanAt < with && with < spanCount());
    spans_[static_cast<std::size_t>(spanAt)].supersededBy = with;
    ++hidingEditCount_;
}

void StrokeScene::setVisible(int spans, int points) {
    assert(0 <= spans && spans <= spanCount());
    assert(0 <= points && points <= pointCount());
    closeOpenStroke();
    visibleSpanCount_ = spans;
    visiblePointCount_ = points;
    ++hidingEditCount_;
}

void StrokeScene::truncateToVisible() {
    if (visibleSpanCount_ < spanCount()) {
        spans_.resize(static_cast<std::size_t>(visibleSpanCount_));
        chunkBoxes_.resize(static_cast<std::size_t>(spanIndex_[spans_.size()].firstChunk));
        spanIndex_.resize(spans_.size());
    }
    if (visiblePointCount_ < pointCount()) {
        points_.resize(static_cast<std::size_t>(visiblePointCount_));
    }
    // A deletion, move or beautification that was undone and then discarded no longer hides
    // its stroke.
    const int remaining = spanCount();
    for (StrokeSpan& span : spans_) {
        if (span.supersededBy >= remaining) {
            span.supersededBy = -1;
        }
    }
}

void StrokeScene::clear() {
    ++hidingEditCount_;
    points_.clear();
    spans_.clear();
    spanIndex_.clear();
    chunkBoxes_.clear();
    isDrawing_ = false;
    visibleSpanCount_ = 0;
    visiblePointCount_ = 0;
}

const StrokeSpan& StrokeScene::span(int index) const {
    assert(0 <= index && index < spanCount());
    return spans_[static_cast<std::size_t>(index)];
}

ContentPoint StrokeScene::point(int index) const {
    assert(0 <= index && index < pointCount());
    return points_[static_cast<std::size_t>(index)];
}

bool StrokeScene::isVisible(int spanIndex) const {
    if (spanIndex < 0 || spanIndex >= visibleSpanCount_) {
        return false;
    }
    return !isHidden(spans_[static_cast<std::size_t>(spanIndex)]);
}

int StrokeScene::segmentCount() const {
    int total = 0;
    for (int i = 0; i < visibleSpanCount_; ++i) {
        total += spans_[static_cast<std::size_t>(i)].segmentCount();
    }
    return total;
}

std::optional<double> StrokeScene::newestBirth() const {
    if (visibleSpanCount_ < 1) {
        return std::nullopt;
    }
    return spans_[static_cast<std::size_t>(visibleSpanCount_ - 1)].birth;
}

std::optional<int> StrokeScene::hitTest(ContentPoint point, double slop) const {
    for (int i = visibleSpanCount_ - 1; i >= 0; --i) {
        const auto index = static_cast<std::size_t>(i);
        const StrokeSpan& span = spans_[index];
        if (span.count < 1 || isHidden(span)) {
            continue;
        }
        const double reach = slop + span.style.widthContentUnits * 0.5;
        if (!(reach >= 0)) {
            continue;
        }
        const double reachSquared = reach * reach;
        if (span.count == 1) {
            if (distanceSquared(point, points_[static_cast<std::size_t>(span.start)]) <=
                reachSquared) {
                return i;
            }
            continue;
        }
        if (isDrawing_ && i == spanCount() - 1) {
            if (segmentsWithinReach(span, 0, span.segmentCount(), point, reachSquared)) {
                return i;
            }
            continue;
        }
        if (spanIndex_[index].box.excludes(point, reach)) {
            continue;
        }
        const PointBox* chunk = chunkBoxes_.data() + spanIndex_[index].firstChunk;
        for (int first = 0; first < span.segmentCount(); first += kSegmentsPerChunk, ++chunk) {
            if (!chunk->excludes(point, reach) &&
                segmentsWithinReach(span, first,
                                    std::min(first + kSegmentsPerChunk, span.segmentCount()), point,
                                    reachSquared)) {
                return i;
            }
        }
    }
    return std::nullopt;
}

bool StrokeScene::segmentsWithinReach(const StrokeSpan& span, int fromSegment, int toSegment,
                                      ContentPoint point, double reachSquared) const {
    const ContentPoint* p = points_.data() + span.start;
    for (int k = fromSegment; k < toSegment; ++k) {
        if (withinReachOfSegment(point, p[k], p[k + 1], reachSquared)) {
            return true;
        }
    }
    return false;
}

std::optional<ContentRect> StrokeScene::bounds(int spanIndex) const {
    if (spanIndex < 0 || spanIndex >= visibleSpanCount_) {
        return std::nullopt;
    }
    const StrokeSpan& span = spans_[static_cast<std::size_t>(spanIndex)];
    if (isHidden(span) || span.count < 1) {
        return std::nullopt;
    }
    const auto [minX, minY, maxX, maxY] =
        boxOf({points_.data() + span.start, static_cast<std::size_t>(span.count)});
    const double w = span.style.widthContentUnits;
    return ContentRect{minX - w * 0.5, minY - w * 0.5, (maxX - minX) + w, (maxY - minY) + w};
}

}  // namespace scrawlet::core
