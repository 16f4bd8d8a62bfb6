// The text labels placed on one display.
//
// Mirrors the stroke scene in miniature: a fixed capacity reserved up front, a visible prefix
// that undo and redo move, superseding for delete, move and re-edit, and tombstones (empty
// items) for delete. Unlike the stroke scene, an append truncates the hidden future before it
// tests the capacity, so a full scene makes room by discarding undone items. Indices out of
// range are the caller's bugs (asserted). Main thread only.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/geometry.h"
#include "core/stroke_style.h"

namespace scrawlet::core {

struct TextSpan {
    TextSpan() = default;
    TextSpan(ContentPoint at, std::string words, const StrokeStyle& inkStyle, double bornAt)
        : position(at), text(std::move(words)), style(inkStyle), birth(bornAt) {}

    ContentPoint position;  // bottom-left of the first line's box
    std::string text;       // UTF-8; one line per line feed
    StrokeStyle style;
    double birth = 0;
    int supersededBy = -1;

    bool operator==(const TextSpan&) const = default;
};

class TextScene {
  public:
    explicit TextScene(int capacity);

    int count() const { return static_cast<int>(items_.size()); }
    int capacity() const { return capacity_; }
    int droppedCount() const { return droppedCount_; }
    int visibleCount() const { return visibleCount_; }
    const TextSpan& span(int index) const;

    bool append(TextSpan span);
    std::optional<int> appendTombstone();
    void supersede(int spanAt, int with);
    void setVisible(int count);
    void clear();

    bool isVisible(int index) const;
    // `measure` gives an item's laid-out box; only the presentation layer knows it.
    std::optional<int> hitTest(ContentPoint point, double slop,
                               const std::function<ContentRect(const TextSpan&)>& measure) const;

    // A size estimate for when no laid-out label exists.
    static ContentRect approximateBounds(const TextSpan& span);

  private:
    bool isHidden(const TextSpan& span) const {
        return span.supersededBy >= 0 && span.supersededBy < visibleCount_;
    }

    std::vector<TextSpan> items_;
    int visibleCount_ = 0;
    int capacity_;
    int droppedCount_ = 0;
};

}  // namespace scrawlet::core
