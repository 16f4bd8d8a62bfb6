// The ink of one display as a layer of retained pixels: decides what each frame must repaint
// and has an `InkTarget` paint only that.
//
// New segments are drawn onto what is already there. Only these repaint an area, and only
// their own area: the live shape (the union of its old and new reach), ink that is fading, the
// overlay's changed rectangles, and new segments that fall on the live shape or an overlay item
// (so that the overlay stays on top). Everything is repainted after a rebuild of the instances
// (undo, redo, delete, move, clear, beautify, a transform change), after `invalidate` (expose,
// resize, a new time to live) and when the target lost its pixels. A repaint clears the area and
// draws, from the last instance that covers it whole, only the instances that reach into it.
// A translucent stroke is drawn as one shape at one opacity, never capsule by capsule, so new
// segments of one are repainted rather than drawn over what is there.
//
// The instance storage and the builder are made at construction; a frame allocates nothing.
// Main thread only.
#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <span>
#include <vector>

#include "app/ink/pixel_rect.h"
#include "app/ink/stroke_instances.h"
#include "core/geometry.h"
#include "core/ink_blend.h"

namespace scrawlet::ink {

class InkCanvas;
struct SceneCapacities;

// Where a layer's pixels go: a retained frame that can be cleared and drawn into by area, and
// presented by area. Targets hold the instances they are given until the next upload.
class InkTarget {
  public:
    virtual ~InkTarget() = default;
    // Prepares a frame of `size` pixels. Returns the age of the pixels it holds in frames:
    // 1 = the previous frame's, n = n frames old, 0 = nothing usable; nullopt = no frame now.
    virtual std::optional<int> beginFrame(PixelRect bounds) = 0;
    // Instances before `from` are unchanged since the last upload.
    virtual void upload(std::span<const SegmentInstance> instances, int from) = 0;
    virtual void clear(const PixelRect& rect) = 0;
    virtual void drawInstances(int start, int count, core::InkBlend blend, const FadeUniform& fade,
                               const PixelRect& clip) = 0;
    // A stroke drawn as one shape: `beginShape` starts an empty shape within `clip`,
    // `addToShape` unites the coverage of some of its instances (the most covering capsule
    // decides a pixel), and `endShape` blends the shape once with `paint`.
    virtual void beginShape(const PixelRect& clip) = 0;
    virtual void addToShape(int start, int count) = 0;
    virtual void endShape(const ShapePaint& paint) = 0;
    virtual void drawOverlay(const PixelRect& rect) = 0;
    virtual void present(std::span<const PixelRect> rects) = 0;
    // Repaints are cut into squares of this many pixels (0: not cut), so that an area covered
    // whole by one opaque segment costs that segment alone, and long repaints can be spread
    // over frames.
    virtual int repaintTileSize() const { return 0; }
};

class InkLayer {
  public:
    InkLayer(int instanceCapacity, int strokeCapacity);

    StrokeInstanceBuilder& builder() { return builder_; }
    const StrokeInstanceBuilder& builder() const { return builder_; }

    // The next frame repaints everything.
    void invalidate() { needsEverything_ = true; }
    // Forgets every instance (the hard clear and the warm-up).
    void reset();

    struct Frame {
        const InkCanvas& canvas;
        core::DisplayTransform transform;
        double now = 0;
        PixelRect bounds;
        // Overlay rectangles whose pixels changed, and every rectangle the overlay draws in.
        std::span<const PixelRect> overlayDamage;
        std::span<const PixelRect> overlayItems;
    };
    // False when the target could not draw; the frame is then still owed.
    bool render(InkTarget& target, const Frame& frame);
    // A repaint longer than `kFrameBudgetSeconds` leaves the rest for the next frames, so no
    // frame holds the main thread much longer than a refresh; more frames are then owed.
    bool hasPendingRepaint() const { return !pending_.isEmpty(); }
    static constexpr double kFrameBudgetSeconds = 0.008;

    // What the last frame repainted and presented, for tests and measurements.
    const Damage& lastDamage() const { return lastDamage_; }
    long long lastPresentedArea() const { return lastPresentedArea_; }

    // Pixels of the spans whose fade factor differs between `then` and `now`.
    static void addFadingDamage(const InkCanvas& canvas, const core::DisplayTransform& transform,
                                double then, double now, Damage& damage);

  private:
    void repaint(InkTarget& target, const PixelRect& rect, const FadeUniform& fade);
    // Draws the scene instances in [from, to) that reach into `clip`, in order.
    void drawScene(InkTarget& target, int from, int to, const FadeUniform& fade,
                   const PixelRect& clip);
    void drawLive(InkTarget& target, const FadeUniform& fade, const PixelRect& clip);
    // Repaints `damage` tile by tile until the budget is spent; what was done goes to
    // `presented`, the rest to `pending_`.
    void repaintWithinBudget(InkTarget& target, const Damage& damage, const FadeUniform& fade,
                             Damage& presented, std::chrono::steady_clock::time_point deadline);

    static constexpr int kHistory = 3;

    std::vector<SegmentInstance> storage_;
    StrokeInstanceBuilder builder_;
    bool needsEverything_ = true;
    int presentedInstances_ = 0;
    std::uint64_t builtRebuilds_ = 0;
    PixelRect lastLiveReach_;
    std::optional<double> lastFrameTime_;
    // What each of the last frames presented, newest first, for targets whose pixels are older.
    std::array<Damage, kHistory> history_{};
    Damage lastDamage_;
    Damage pending_;
    long long lastPresentedArea_ = 0;
};

}  // namespace scrawlet::ink
