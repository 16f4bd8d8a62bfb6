#include "app/ink/pixel_ink_target.h"

namespace scrawlet::ink {

std::optional<int> PixelInkTarget::beginFrame(PixelRect bounds) {
    if (bounds.isEmpty())
        return std::nullopt;
    if (bounds.width != frame_.width || bounds.height != frame_.height) {
        pixels_.assign(
            static_cast<std::size_t>(bounds.width) * static_cast<std::size_t>(bounds.height), 0);
        frame_ = {pixels_.data(), bounds.width, bounds.width, bounds.height};
        coverageBytes_.assign(
            static_cast<std::size_t>(bounds.width) * static_cast<std::size_t>(bounds.height), 0);
        coverage_ = {coverageBytes_.data(), bounds.width, bounds.width, bounds.height};
        valid_ = false;
    }
    const int age = valid_ ? 1 : 0;
    valid_ = true;
    return age;
}

void PixelInkTarget::upload(std::span<const SegmentInstance> instances, int) {
    instances_ = instances;
}

void PixelInkTarget::drawInstances(int start, int count, core::InkBlend blend,
                                   const FadeUniform& fade, const PixelRect& clip) {
    if (start < 0 || count <= 0 || static_cast<std::size_t>(start + count) > instances_.size())
        return;
    rasterise(frame_,
              instances_.subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(count)),
              blend, fade, clip);
}

void PixelInkTarget::beginShape(const PixelRect& clip) {
    shapeClip_ = clip.intersected(frame_.bounds());
    shapeTouched_ = {};
    clearCoverage(coverage_, shapeClip_);
}

void PixelInkTarget::addToShape(int start, int count) {
    if (start < 0 || count <= 0 || static_cast<std::size_t>(start + count) > instances_.size())
        return;
    shapeTouched_ = shapeTouched_.united(rasteriseCoverage(
        coverage_,
        instances_.subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(count)),
        shapeClip_));
}

void PixelInkTarget::endShape(const ShapePaint& paint) {
    compositeCoverage(frame_, coverage_, paint, shapeTouched_);
}

void PixelInkTarget::drawOverlay(const PixelRect& rect) {
    if (overlay_.width == frame_.width && overlay_.height == frame_.height && overlay_.pixels) {
        blendOver(frame_, overlay_, rect);
    }
}

void PixelInkTarget::present(std::span<const PixelRect> rects) {
    if (presenter_ && !rects.empty())
        presenter_(frame_, rects);
}

}  // namespace scrawlet::ink
