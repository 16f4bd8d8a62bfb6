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

// Squared distance from p to the segment a-b, the projection clamped to the segment.
double distanceSquaredToSegment(ContentPoint p, ContentPoint a, ContentPoint b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double lengthSquared = dx * dx + dy * dy;
    if (lengthSquared <= 0) {
        return distanceSquared(p, a);
    }
    double t = ((p.x - a.x) * dx + (p.y - a.y) * dy) / lengthSquared;
    t = t < 0 ? 0 : (t > 1 ? 1 : t);
    return distanceSquared(p, {a.x + t * dx, a.y + t * dy});
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
    isDrawing_ = false;
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
    isDrawing_ = false;
    return wasDrawing;
}

bool StrokeScene::cancel() {
    if (!isDrawing_ || spans_.empty()) {
        return false;
    }
    points_.resize(points_.size() - static_cast<std::size_t>(spans_.back().count));
    spans_.pop_back();
    showEverything();
    isDrawing_ = false;
    return true;
}

std::optional<int> StrokeScene::appendTombstone() {
    isDrawing_ = false;
    if (spanCount() >= strokeCapacity_) {
        ++droppedStrokeCount_;
        return std::nullopt;
    }
    truncateToVisible();
    spans_.push_back({pointCount(), 0, StrokeStyle::empty(), 0, -1});
    visibleSpanCount_ = spanCount();
    return spanCount() - 1;
}

void StrokeScene::supersede(int spanAt, int with) {
    assert(0 <= spanAt && spanAt < with && with < spanCount());
    spans_[static_cast<std::size_t>(spanAt)].supersededBy = with;
}

void StrokeScene::setVisible(int spans, int points) {
    assert(0 <= spans && spans <= spanCount());
    assert(0 <= points && points <= pointCount());
    visibleSpanCount_ = spans;
    visiblePointCount_ = points;
    isDrawing_ = false;
}

void StrokeScene::truncateToVisible() {
    if (visibleSpanCount_ < spanCount()) {
        spans_.resize(static_cast<std::size_t>(visibleSpanCount_));
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
    points_.clear();
    spans_.clear();
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
        const StrokeSpan& span = spans_[static_cast<std::size_t>(i)];
        if (span.count < 1 || isHidden(span)) {
            continue;
        }
        const double reach = slop + span.style.widthContentUnits * 0.5;
        const double reachSquared = reach * reach;
        const ContentPoint* first = points_.data() + span.start;
        if (span.count == 1) {
            if (reach >= 0 && distanceSquared(point, first[0]) <= reachSquared) {
                return i;
            }
            continue;
        }
        if (reach < 0) {
            continue;
        }
        for (int k = 0; k + 1 < span.count; ++k) {
            if (distanceSquaredToSegment(point, first[k], first[k + 1]) <= reachSquared) {
                return i;
            }
        }
    }
    return std::nullopt;
}

std::optional<ContentRect> StrokeScene::bounds(int spanIndex) const {
    if (spanIndex < 0 || spanIndex >= visibleSpanCount_) {
        return std::nullopt;
    }
    const StrokeSpan& span = spans_[static_cast<std::size_t>(spanIndex)];
    if (isHidden(span) || span.count < 1) {
        return std::nullopt;
    }
    double minX = std::numeric_limits<double>::max();
    double minY = minX;
    double maxX = -minX;
    double maxY = -minX;
    for (int k = span.start; k < span.start + span.count; ++k) {
        const ContentPoint p = points_[static_cast<std::size_t>(k)];
        minX = std::min(minX, p.x);
        minY = std::min(minY, p.y);
        maxX = std::max(maxX, p.x);
        maxY = std::max(maxY, p.y);
    }
    const double w = span.style.widthContentUnits;
    return ContentRect{minX - w * 0.5, minY - w * 0.5, (maxX - minX) + w, (maxY - minY) + w};
}

}  // namespace scrawlet::core
