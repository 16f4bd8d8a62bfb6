// The stroke shader's maths on the CPU: draws segment instances into premultiplied ARGB32
// pixels the way the GPU pipeline does (distance coverage with one pixel of ramp, the fade
// factor, premultiplied source-over or per-channel maximum, 8 bits stored after every blend).
//
// It is the software renderer for machines whose OpenGL is itself a software rasteriser, where
// drawing a few new capsules on the CPU costs microseconds and a GL frame costs milliseconds.
// Everything is clipped to a rectangle. Allocation-free; any thread, one buffer at a time.
#pragma once

#include <cstdint>
#include <span>

#include "app/ink/pixel_rect.h"
#include "app/ink/stroke_instances.h"
#include "core/ink_blend.h"

namespace scrawlet::ink {

// Premultiplied 0xAARRGGBB words, `stride` words a row.
struct PixelBuffer {
    std::uint32_t* pixels = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;

    PixelRect bounds() const { return {0, 0, width, height}; }
    std::uint32_t* row(int y) const { return pixels + static_cast<std::ptrdiff_t>(y) * stride; }
};

// One byte of coverage a pixel, `stride` bytes a row: a translucent stroke's shape.
struct CoverageBuffer {
    std::uint8_t* pixels = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;

    PixelRect bounds() const { return {0, 0, width, height}; }
    std::uint8_t* row(int y) const { return pixels + static_cast<std::ptrdiff_t>(y) * stride; }
};

void rasterise(const PixelBuffer& target, std::span<const SegmentInstance> instances,
               core::InkBlend blend, const FadeUniform& fade, const PixelRect& clip);

// Unites the instances' coverage into `target` (the larger value stays) within `clip`;
// returns the pixels it touched.
PixelRect rasteriseCoverage(const CoverageBuffer& target,
                            std::span<const SegmentInstance> instances, const PixelRect& clip);
// Blends `paint` over `target` within `rect`, each pixel at its coverage times the opacity.
void compositeCoverage(const PixelBuffer& target, const CoverageBuffer& coverage,
                       const ShapePaint& paint, const PixelRect& rect);
void clearCoverage(const CoverageBuffer& target, const PixelRect& rect);

void clearPixels(const PixelBuffer& target, const PixelRect& rect);

// Premultiplied source-over of `source` onto `target` within `rect` (same coordinates).
void blendOver(const PixelBuffer& target, const PixelBuffer& source, const PixelRect& rect);

void copyPixels(const PixelBuffer& target, const PixelBuffer& source, const PixelRect& rect);

}  // namespace scrawlet::ink
