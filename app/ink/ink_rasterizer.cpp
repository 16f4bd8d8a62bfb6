#include "app/ink/ink_rasterizer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace scrawlet::ink {
namespace {

// A unorm8 channel as GL stores it: the nearest level.
inline std::uint32_t level(float value) {
    return static_cast<std::uint32_t>(std::clamp(value, 0.0f, 1.0f) * 255.0f + 0.5f);
}

inline std::uint32_t pack(std::uint32_t a, std::uint32_t r, std::uint32_t g, std::uint32_t b) {
    return a << 24 | r << 16 | g << 8 | b;
}

inline float channel(std::uint32_t pixel, int shift) {
    return static_cast<float>((pixel >> shift) & 0xff) * (1.0f / 255.0f);
}

// `colour` is premultiplied (r, g, b, a) times the pixel's coverage.
inline std::uint32_t blendPixel(std::uint32_t destination, const float colour[4],
                                core::InkBlend blend) {
    if (blend == core::InkBlend::maximum) {
        return pack(level(std::max(colour[3], channel(destination, 24))),
                    level(std::max(colour[0], channel(destination, 16))),
                    level(std::max(colour[1], channel(destination, 8))),
                    level(std::max(colour[2], channel(destination, 0))));
    }
    const float keep = 1.0f - colour[3];
    return pack(level(colour[3] + channel(destination, 24) * keep),
                level(colour[0] + channel(destination, 16) * keep),
                level(colour[1] + channel(destination, 8) * keep),
                level(colour[2] + channel(destination, 0) * keep));
}

// Visits every pixel of `area` that the capsule covers: `covered(row, x)` where coverage is
// exactly 1, `edge(row, x, coverage)` on the anti-aliased fringe.
template <class Row, class Covered, class Edge>
void scanCapsule(const SegmentInstance& s, const PixelRect& area, Row rowAt, Covered covered,
                 Edge edge) {
    const float ax = s.a[0], ay = s.a[1];
    const float bax = s.b[0] - ax, bay = s.b[1] - ay;
    const float denom = bax * bax + bay * bay;
    const float inverse = denom > 1e-10f ? 1.0f / denom : 0.0f;
    const float radius = s.radius;
    const float outer = radius + 0.5f;
    const float outerSquared = outer * outer;
    const float inner = radius - 0.5f;
    const float innerSquared = inner > 0 ? inner * inner : -1.0f;

    for (int y = area.y; y < area.bottom(); ++y) {
        const float py = static_cast<float>(y) + 0.5f - ay;
        // The columns this row can touch: where the axis passes within `outer` of the row.
        float left = static_cast<float>(area.x), right = static_cast<float>(area.right());
        if (std::abs(bay) > 1e-6f) {
            float t0 = (py - outer) / bay, t1 = (py + outer) / bay;
            if (t0 > t1)
                std::swap(t0, t1);
            t0 = std::max(t0, 0.0f);
            t1 = std::min(t1, 1.0f);
            if (t0 > t1) {
                t0 = t1 = py / bay < 0.5f ? 0.0f : 1.0f;
            }
            const float x0 = ax + bax * t0, x1 = ax + bax * t1;
            left = std::max(left, std::floor(std::min(x0, x1) - outer));
            right = std::min(right, std::ceil(std::max(x0, x1) + outer));
        }
        auto* row = rowAt(y);
        for (int x = static_cast<int>(left); x < static_cast<int>(right); ++x) {
            const float pax = static_cast<float>(x) + 0.5f - ax;
            const float h = std::clamp((pax * bax + py * bay) * inverse, 0.0f, 1.0f);
            const float dx = pax - bax * h, dy = py - bay * h;
            const float squared = dx * dx + dy * dy;
            if (squared >= outerSquared)
                continue;
            if (squared <= innerSquared) {
                covered(row, x);
                continue;
            }
            edge(row, x, std::clamp(radius - std::sqrt(squared) + 0.5f, 0.0f, 1.0f));
        }
    }
}

void rasteriseOne(const PixelBuffer& target, const SegmentInstance& s, core::InkBlend blend,
                  float alpha, const PixelRect& clip) {
    const PixelRect area = reachOf(s).intersected(clip);
    if (area.isEmpty() || alpha <= 0)
        return;
    const float full[4] = {s.colour[0] * alpha, s.colour[1] * alpha, s.colour[2] * alpha, alpha};
    // An opaque normal capsule replaces what it fully covers; nothing to read.
    const bool replaces = blend == core::InkBlend::normal && alpha >= 1.0f;
    const std::uint32_t solid =
        pack(level(full[3]), level(full[0]), level(full[1]), level(full[2]));
    scanCapsule(
        s, area, [&](int y) { return target.row(y); },
        [&](std::uint32_t* row, int x) {
            row[x] = replaces ? solid : blendPixel(row[x], full, blend);
        },
        [&](std::uint32_t* row, int x, float coverage) {
            const float partial[4] = {full[0] * coverage, full[1] * coverage, full[2] * coverage,
                                      full[3] * coverage};
            row[x] = blendPixel(row[x], partial, blend);
        });
}

}  // namespace

void rasterise(const PixelBuffer& target, std::span<const SegmentInstance> instances,
               core::InkBlend blend, const FadeUniform& fade, const PixelRect& clip) {
    const PixelRect bounded = clip.intersected(target.bounds());
    if (bounded.isEmpty())
        return;
    for (const SegmentInstance& instance : instances) {
        rasteriseOne(target, instance, blend, instance.colour[3] * fadeFactor(fade, instance.birth),
                     bounded);
    }
}

PixelRect rasteriseCoverage(const CoverageBuffer& target,
                            std::span<const SegmentInstance> instances, const PixelRect& clip) {
    const PixelRect bounded = clip.intersected(target.bounds());
    PixelRect touched;
    for (const SegmentInstance& instance : instances) {
        const PixelRect area = reachOf(instance).intersected(bounded);
        if (area.isEmpty())
            continue;
        touched = touched.united(area);
        // Stored as the GPU's 8-bit target stores it; the most covering capsule wins.
        scanCapsule(
            instance, area, [&](int y) { return target.row(y); },
            [](std::uint8_t* row, int x) { row[x] = 255; },
            [](std::uint8_t* row, int x, float coverage) {
                row[x] = std::max(row[x], static_cast<std::uint8_t>(level(coverage)));
            });
    }
    return touched;
}

void compositeCoverage(const PixelBuffer& target, const CoverageBuffer& coverage,
                       const ShapePaint& paint, const PixelRect& rect) {
    const PixelRect area = rect.intersected(target.bounds()).intersected(coverage.bounds());
    if (paint.opacity <= 0)
        return;
    for (int y = area.y; y < area.bottom(); ++y) {
        std::uint32_t* out = target.row(y);
        const std::uint8_t* in = coverage.row(y);
        for (int x = area.x; x < area.right(); ++x) {
            if (in[x] == 0)
                continue;
            const float alpha = static_cast<float>(in[x]) * (1.0f / 255.0f) * paint.opacity;
            const float colour[4] = {paint.colour[0] * alpha, paint.colour[1] * alpha,
                                     paint.colour[2] * alpha, alpha};
            out[x] = blendPixel(out[x], colour, core::InkBlend::normal);
        }
    }
}

void clearCoverage(const CoverageBuffer& target, const PixelRect& rect) {
    const PixelRect area = rect.intersected(target.bounds());
    for (int y = area.y; y < area.bottom(); ++y) {
        std::memset(target.row(y) + area.x, 0, static_cast<std::size_t>(area.width));
    }
}

void clearPixels(const PixelBuffer& target, const PixelRect& rect) {
    const PixelRect area = rect.intersected(target.bounds());
    for (int y = area.y; y < area.bottom(); ++y) {
        std::memset(target.row(y) + area.x, 0, static_cast<std::size_t>(area.width) * 4);
    }
}

void copyPixels(const PixelBuffer& target, const PixelBuffer& source, const PixelRect& rect) {
    const PixelRect area = rect.intersected(target.bounds()).intersected(source.bounds());
    for (int y = area.y; y < area.bottom(); ++y) {
        std::memcpy(target.row(y) + area.x, source.row(y) + area.x,
                    static_cast<std::size_t>(area.width) * 4);
    }
}

void blendOver(const PixelBuffer& target, const PixelBuffer& source, const PixelRect& rect) {
    const PixelRect area = rect.intersected(target.bounds()).intersected(source.bounds());
    for (int y = area.y; y < area.bottom(); ++y) {
        std::uint32_t* out = target.row(y);
        const std::uint32_t* in = source.row(y);
        for (int x = area.x; x < area.right(); ++x) {
            const std::uint32_t s = in[x];
            const std::uint32_t sa = s >> 24;
            if (sa == 0)
                continue;
            if (sa == 255) {
                out[x] = s;
                continue;
            }
            const float colour[4] = {channel(s, 16), channel(s, 8), channel(s, 0), channel(s, 24)};
            out[x] = blendPixel(out[x], colour, core::InkBlend::normal);
        }
    }
}

}  // namespace scrawlet::ink
