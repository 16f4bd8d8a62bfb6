// The store of all ink on one display.
//
// Points of every stroke lie back to back in one array; spans say which run belongs to which
// stroke. Nothing in the middle is ever deleted: undo and redo move the visible prefix
// (`visibleSpanCount`, `visiblePointCount`), and delete, move and beautify append a tombstone or
// a replacement that supersedes the old span. The next append after an undo truncates the
// hidden future.
//
// Capacities are fixed at construction and both arrays are reserved to them, so no operation
// allocates. Full stores refuse work and count it. Index arguments out of range are the
// caller's bugs (asserted). Main thread only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "core/enum_traits.h"
#include "core/geometry.h"
#include "core/stroke_style.h"

namespace scrawlet::core {

struct StrokeSpan {
    int start = 0;  // index of the first point in the scene's point store
    int count = 0;  // 0 for a tombstone, 1 for a dot
    StrokeStyle style;
    double birth = 0;       // seconds on the view's monotonic clock
    int supersededBy = -1;  // -1, or the index of a later span that replaces this one

    int segmentCount() const { return (count > 1 ? count : 1) - 1; }
    bool operator==(const StrokeSpan&) const = default;
};

enum class StrokePointOutcome { appended, coincident, pointCapacityReached, noStrokeInProgress };

template <>
struct EnumTraits<StrokePointOutcome> {
    static constexpr std::array<std::string_view, 4> names{
        "appended", "coincident", "pointCapacityReached", "noStrokeInProgress"};
};

class StrokeScene {
  public:
    StrokeScene(int pointCapacity, int strokeCapacity, double minimumSeparation);

    // Drawing.
    bool begin(ContentPoint point, const StrokeStyle& style, double birth);
    StrokePointOutcome extend(ContentPoint point);
    bool end();
    bool cancel();

    // Editing.
    std::optional<int> appendTombstone();
    void supersede(int spanAt, int with);
    void setVisible(int spans, int points);
    void truncateToVisible();
    void clear();

    // Queries.
    bool isDrawing() const { return isDrawing_; }
    int visibleSpanCount() const { return visibleSpanCount_; }
    int visiblePointCount() const { return visiblePointCount_; }
    int pointCapacity() const { return pointCapacity_; }
    int strokeCapacity() const { return strokeCapacity_; }
    double minimumSeparation() const { return minimumSeparation_; }
    double minimumSeparationSquared() const { return minimumSeparationSquared_; }
    void setMinimumSeparation(double separation);
    int droppedPointCount() const { return droppedPointCount_; }
    int droppedStrokeCount() const { return droppedStrokeCount_; }

    int spanCount() const { return static_cast<int>(spans_.size()); }
    int pointCount() const { return static_cast<int>(points_.size()); }
    const StrokeSpan& span(int index) const;
    ContentPoint point(int index) const;
    bool isVisible(int spanIndex) const;
    // Upper bound on what the renderer draws: superseded spans of the prefix included.
    int segmentCount() const;
    int reclaimablePointCount() const { return pointCount() - visiblePointCount_; }
    std::optional<double> newestBirth() const;
    std::optional<int> hitTest(ContentPoint point, double slop) const;
    std::optional<ContentRect> bounds(int spanIndex) const;

    // Read-only access to the whole point store without copying.
    template <class Body>
    decltype(auto) withPoints(Body&& body) const {
        return body(std::span<const ContentPoint>(points_));
    }

    // Counts the edits that can hide or change what was already drawn (supersede, setVisible,
    // cancel, clear); appending never moves it. A renderer that saw the same count
    // may extend what it built instead of rebuilding.
    std::uint64_t hidingEditCount() const { return hidingEditCount_; }

    // For an allocation audit: both must equal the capacities for the life of the scene.
    std::size_t pointStorageCapacity() const { return points_.capacity(); }
    std::size_t strokeStorageCapacity() const { return spans_.capacity(); }

  private:
    // Superseded by a span inside the visible prefix.
    bool isHidden(const StrokeSpan& span) const {
        return span.supersededBy >= 0 && span.supersededBy < visibleSpanCount_;
    }
    void showEverything();
    // Leaves the drawing state and fixes the open stroke's box.
    void closeOpenStroke();

    // Search index for hit tests, kept beside the spans so a click skips far strokes and far
    // runs of a long stroke without touching their points. Built when a stroke closes, so
    // extending costs nothing extra; the open stroke is searched point by point.
    struct PointBox {
        double minX, minY, maxX, maxY;
        void add(ContentPoint p) {
            minX = p.x < minX ? p.x : minX;
            minY = p.y < minY ? p.y : minY;
            maxX = p.x > maxX ? p.x : maxX;
            maxY = p.y > maxY ? p.y : maxY;
        }
        bool excludes(ContentPoint p, double reach) const {
            return p.x < minX - reach || p.x > maxX + reach || p.y < minY - reach ||
                   p.y > maxY + reach;
        }
    };
    struct SpanIndex {
        PointBox box;    // all points of the span
        int firstChunk;  // its first entry in chunkBoxes_
    };
    static constexpr int kSegmentsPerChunk = 8;

    static PointBox boxOf(std::span<const ContentPoint> points);
    void indexClosedStroke();
    bool segmentsWithinReach(const StrokeSpan& span, int fromSegment, int toSegment,
                             ContentPoint point, double reachSquared) const;

    std::vector<ContentPoint> points_;
    std::vector<StrokeSpan> spans_;
    std::vector<SpanIndex> spanIndex_;
    std::vector<PointBox> chunkBoxes_;  // one per run of kSegmentsPerChunk segments
    bool isDrawing_ = false;
    int visibleSpanCount_ = 0;
    int visiblePointCount_ = 0;
    int pointCapacity_;
    int strokeCapacity_;
    double minimumSeparation_;
    double minimumSeparationSquared_;
    int droppedPointCount_ = 0;
    int droppedStrokeCount_ = 0;
    std::uint64_t hidingEditCount_ = 0;
};

}  // namespace scrawlet::core
