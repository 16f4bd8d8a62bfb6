// The ink view's overlay: text labels, the caret and box of the text being typed, the
// selection outline, the capture marquee, the hint bubble and the registration marks, painted
// with QPainter into one premultiplied ARGB32 image over the ink.
//
// `update` lays every item out and compares it with the last layout; only the rectangles of
// items that appeared, went, moved or changed are repainted (`repaint`) and reported as damage,
// so a caret blink touches the caret bar and a hint fade the bubble. Text sizes are pixels, like
// stroke widths. Main thread only.
#pragma once

#include <QImage>
#include <QString>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "app/ink/ink_rasterizer.h"
#include "app/ink/pixel_rect.h"
#include "core/fiducials.h"
#include "core/geometry.h"
#include "core/stroke_style.h"
#include "core/text_scene.h"

class QPainter;
class QFont;

namespace scrawlet::ink {

class InkCanvas;

// What the view adds over the canvas's own items.
struct OverlayDecorations {
    QString hintText;
    double hintOpacity = 1;
    bool caretBarShown = true;
    std::optional<QRectF> marquee;
    // Where the hint must not go: a window above the overlay, in view points.
    std::optional<QRectF> hintKeepClear;
    std::span<const core::fiducials::Mark> fiducials;
    // The frame's time: committed labels fade with auto-erase as strokes do.
    double now = 0;
};

// The font of a text item: the style's size in pixels times the zoom.
QFont textFont(const core::StrokeStyle& style, double zoom);
// Size of a multi-line label laid out with `font`: lines are clipped, never wrapped.
QSizeF labelSize(const QString& text, const QFont& font);

class InkOverlay {
  public:
    // Lays the overlay out for a view of `size` points at `ratio` pixels a point; true when
    // anything must be repainted.
    bool update(const InkCanvas& canvas, const core::DisplayTransform& transform, QSize size,
                qreal ratio, const OverlayDecorations& decorations);
    // Paints the changed rectangles into the image.
    void repaint(const InkCanvas& canvas, const core::DisplayTransform& transform,
                 const OverlayDecorations& decorations);
    // Everything is repainted at the next update (the size or the text font changed).
    void invalidate() {
        items_.clear();
        invalid_ = true;
    }

    const QImage& image() const { return image_; }
    PixelBuffer pixels();
    std::span<const PixelRect> damage() const { return damage_.rects(); }
    void clearDamage() { damage_.clear(); }
    // Pixel rectangles of every item on screen now.
    std::span<const PixelRect> itemRects() const { return itemRects_; }

  private:
    enum class Kind { fiducial, label, session, caretBar, outline, marquee, hint };
    struct Item {
        Kind kind;
        int index;        // the text item of a label, the mark of a fiducial
        QRectF frame;     // in points, what is painted
        PixelRect reach;  // in pixels, what painting touches
        std::size_t key;  // changes when the item looks different in the same place
        bool operator==(const Item& other) const {
            return kind == other.kind && index == other.index && reach == other.reach &&
                   key == other.key;
        }
    };
    void layOut(const InkCanvas& canvas, const core::DisplayTransform& transform,
                const OverlayDecorations& decorations, std::vector<Item>& items) const;
    void paintItem(QPainter& painter, const Item& item, const InkCanvas& canvas,
                   const core::DisplayTransform& transform,
                   const OverlayDecorations& decorations) const;

    QImage image_;
    QSize size_;
    qreal ratio_ = 1;
    bool invalid_ = true;
    std::vector<Item> items_;
    std::vector<Item> next_;
    std::vector<PixelRect> itemRects_;
    Damage damage_;
};

}  // namespace scrawlet::ink
