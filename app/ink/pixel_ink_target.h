// An ink target in plain memory, painted by the CPU rasteriser: the software renderer.
//
// It keeps the composed frame (ink, live shape, overlay) between frames, so its pixels are
// always the previous frame's; `present` hands the changed rectangles to the window system.
// The frame buffer and the coverage of translucent strokes are reallocated only when the size
// changes. Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "app/ink/ink_layer.h"
#include "app/ink/ink_rasterizer.h"

namespace scrawlet::ink {

class PixelInkTarget : public InkTarget {
  public:
    using Presenter = std::function<void(const PixelBuffer& frame, std::span<const PixelRect>)>;
    explicit PixelInkTarget(Presenter presenter) : presenter_(std::move(presenter)) {}

    // The overlay to draw over the ink: the frame's size, or empty for none.
    void setOverlay(const PixelBuffer& overlay) { overlay_ = overlay; }
    // The next frame starts from nothing (the window lost its pixels).
    void discard() { valid_ = false; }
    const PixelBuffer& frame() const { return frame_; }

    std::optional<int> beginFrame(PixelRect bounds) override;
    void upload(std::span<const SegmentInstance> instances, int from) override;
    void clear(const PixelRect& rect) override { clearPixels(frame_, rect); }
    void drawInstances(int start, int count, core::InkBlend blend, const FadeUniform& fade,
                       const PixelRect& clip) override;
    void beginShape(const PixelRect& clip) override;
    void addToShape(int start, int count) override;
    void endShape(const ShapePaint& paint) override;
    void drawOverlay(const PixelRect& rect) override;
    void present(std::span<const PixelRect> rects) override;
    int repaintTileSize() const override { return kTileSize; }
    static constexpr int kTileSize = 64;

  private:
    Presenter presenter_;
    std::vector<std::uint32_t> pixels_;
    PixelBuffer frame_;
    // The open shape's coverage, the frame's size; only its clip is cleared and used.
    std::vector<std::uint8_t> coverageBytes_;
    CoverageBuffer coverage_;
    PixelRect shapeClip_;
    PixelRect shapeTouched_;
    PixelBuffer overlay_;
    std::span<const SegmentInstance> instances_;
    bool valid_ = false;
};

}  // namespace scrawlet::ink
