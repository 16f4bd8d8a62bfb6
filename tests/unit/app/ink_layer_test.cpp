// The retained layer against an oracle: after every edit, the pixels kept by partial frames must
// equal a full redraw of the same scene by a fresh layer, and a new segment must present only
// its own neighbourhood.
#include "app/ink/ink_layer.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "app/ink/ink_canvas.h"
#include "app/ink/pixel_ink_target.h"

namespace scrawlet::ink {
namespace {

using core::ContentPoint;

constexpr int kWidth = 320;
constexpr int kHeight = 200;
constexpr PixelRect kBounds{0, 0, kWidth, kHeight};
const SceneCapacities kCapacities{16384, 256, 0, 16};

class InkLayerTest : public ::testing::Test {
  protected:
    InkLayerTest()
        : canvas(kCapacities, {{255, 0, 0, 255}, 4, 1, core::InkBlend::normal}),
          layer(kCapacities.pointCapacity + kCapacities.strokeCapacity, kCapacities.strokeCapacity),
          target([this](const PixelBuffer&, std::span<const PixelRect> rects) {
              presented.assign(rects.begin(), rects.end());
          }) {
        overlayPixels.assign(static_cast<std::size_t>(kWidth * kHeight), 0);
        overlay = {overlayPixels.data(), kWidth, kWidth, kHeight};
        target.setOverlay(overlay);
    }

    // A translucent grey box in the overlay, as a text label would be.
    void paintOverlayBox(const PixelRect& box, std::uint32_t pixel) {
        for (int y = box.y; y < box.bottom(); ++y)
            for (int x = box.x; x < box.right(); ++x)
                overlayPixels[static_cast<std::size_t>(y * kWidth + x)] = pixel;
    }

    InkLayer::Frame frame(std::span<const PixelRect> damage = {}) const {
        return {canvas, transform, now, kBounds, damage, overlayItems};
    }

    void renderAndCompare(const std::string& step, std::span<const PixelRect> damage = {}) {
        ASSERT_TRUE(layer.render(target, frame(damage))) << step;
        // A slow machine (or a sanitized build) may spread a repaint over frames: compare once
        // the owed work is done, as the screen would show it.
        while (layer.hasPendingRepaint()) ASSERT_TRUE(layer.render(target, frame())) << step;
        InkLayer fresh(kCapacities.pointCapacity + kCapacities.strokeCapacity,
                       kCapacities.strokeCapacity);
        PixelInkTarget full(nullptr);
        full.setOverlay(overlay);
        ASSERT_TRUE(fresh.render(full, frame()));
        while (fresh.hasPendingRepaint()) ASSERT_TRUE(fresh.render(full, frame()));
        int mismatches = 0;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const auto got = target.frame().row(y)[x], want = full.frame().row(y)[x];
                if (got != want && ++mismatches <= 3) {
                    ADD_FAILURE() << step << ": (" << x << ", " << y << ") " << std::hex << got
                                  << " not " << want;
                }
            }
        }
        EXPECT_EQ(mismatches, 0) << step;
    }

    void stroke(std::mt19937& random, core::Tool tool) {
        std::uniform_real_distribution<double> x(0, kWidth), y(0, kHeight);
        canvas.setTool(tool, now);
        ContentPoint p{x(random), y(random)};
        canvas.pointerDown(p, {}, 1, now);
        for (int i = 0; i < 12; ++i) {
            p = {p.x + x(random) / 16 - 10, p.y + y(random) / 10 - 10};
            canvas.pointerDrag(p, {});
            // Every few motions a frame, as the display would take them.
            if (i % 3 == 0)
                renderAndCompare("drag");
        }
        canvas.pointerUp(p, {}, now);
    }

    InkCanvas canvas;
    core::DisplayTransform transform{{0, 0}, 1, 1};
    double now = 10;
    InkLayer layer;
    std::vector<PixelRect> presented;
    PixelInkTarget target;
    std::vector<std::uint32_t> overlayPixels;
    PixelBuffer overlay;
    std::vector<PixelRect> overlayItems;
};

TEST_F(InkLayerTest, PartialFramesEqualAFullRedrawThroughEveryKindOfEdit) {
    std::mt19937 random(7);
    const PixelRect label{100, 60, 80, 30};
    paintOverlayBox(label, 0x80404040);
    overlayItems = {label};
    renderAndCompare("first frame");

    const core::Colour colours[] = {{255, 0, 0, 255}, {0, 90, 255, 160}, {255, 230, 0, 255}};
    for (int i = 0; i < 12; ++i) {
        const bool highlight = i % 4 == 1;
        canvas.setStyle({colours[i % 3], highlight ? 14.0 : 3.0 + i % 5, highlight ? 0.5 : 1.0,
                         highlight ? core::InkBlend::maximum : core::InkBlend::normal});
        stroke(random, core::Tool::pen);
        renderAndCompare("stroke " + std::to_string(i));
    }
    // A shape dragged across others, frame by frame, then committed.
    canvas.setTool(core::Tool::ellipse, now);
    canvas.pointerDown({40, 40}, {}, 1, now);
    for (int i = 1; i < 8; ++i) {
        canvas.pointerDrag({40.0 + 25 * i, 40.0 + 15 * i}, {});
        renderAndCompare("live shape");
    }
    canvas.pointerUp({240, 160}, {}, now);
    renderAndCompare("shape committed");

    canvas.undo();
    renderAndCompare("undo");
    canvas.redo();
    renderAndCompare("redo");

    canvas.setTool(core::Tool::select, now);
    const ContentPoint start = canvas.scene().point(canvas.scene().span(2).start);
    canvas.pointerDown(start, {}, 1, now);
    canvas.pointerDrag({start.x + 30, start.y + 20}, {});
    canvas.pointerUp({start.x + 30, start.y + 20}, {}, now);
    renderAndCompare("move");
    EXPECT_TRUE(canvas.deleteSelection());
    renderAndCompare("delete");

    // The overlay changes over the ink: only its rectangle is damaged.
    paintOverlayBox(label, 0);
    const PixelRect moved{20, 120, 60, 40};
    paintOverlayBox(moved, 0xc0102030);
    overlayItems = {moved};
    const PixelRect damage[] = {label, moved};
    renderAndCompare("overlay moved", damage);

    EXPECT_TRUE(canvas.clearAll());
    renderAndCompare("clear");
    canvas.undo();
    renderAndCompare("clear undone");

    // Fading: older strokes fade at their own pace while the newest holds.
    canvas.setTimeToLive(1.0);
    layer.invalidate();
    canvas.setTool(core::Tool::pen, now);
    now += 0.1;
    stroke(random, core::Tool::pen);
    for (int i = 0; i < 12; ++i) {
        now += 0.08;
        renderAndCompare("fading " + std::to_string(i));
    }
}

TEST_F(InkLayerTest, ANewSegmentPresentsOnlyItsNeighbourhood) {
    canvas.pointerDown({50, 50}, {}, 1, now);
    ASSERT_TRUE(layer.render(target, frame()));
    canvas.pointerDrag({53, 52}, {});
    ASSERT_TRUE(layer.render(target, frame()));
    ASSERT_FALSE(presented.empty());
    long long area = 0;
    for (const PixelRect& rect : presented) {
        area += rect.area();
        EXPECT_TRUE(rect.intersects({49, 49, 6, 5}));
    }
    EXPECT_LE(area, 12 * 12) << "a 4-wide segment of 3.6 pixels";
    EXPECT_TRUE(layer.lastDamage().isEmpty()) << "drawn on top of what was there";
}

TEST_F(InkLayerTest, AnOpaqueStrokeOverAnAreaSparesRedrawingWhatItCovers) {
    canvas.setStyle({{0, 0, 0, 255}, 400, 1, core::InkBlend::normal});
    canvas.pointerDown({10, 10}, {}, 1, now);
    canvas.pointerDrag({300, 190}, {});
    canvas.pointerUp({300, 190}, {}, now);
    ASSERT_TRUE(layer.render(target, frame()));
    const auto& builder = layer.builder();
    const FadeUniform fade = FadeUniform::at(now, std::nullopt);
    EXPECT_EQ(builder.coveringStart(kBounds, 0, builder.instanceCount(), fade),
              builder.instanceCount() - 1);
    canvas.setStyle({{0, 0, 0, 128}, 400, 1, core::InkBlend::normal});
    canvas.pointerDown({10, 10}, {}, 1, now);
    canvas.pointerUp({10, 10}, {}, now);
    renderAndCompare("translucent over opaque");
    EXPECT_EQ(builder.coveringStart(kBounds, 0, builder.instanceCount(), fade),
              builder.instanceCount() - 2)
        << "a translucent dot decides nothing alone";
}

TEST_F(InkLayerTest, AWholeRepaintOfWidePensIsSpreadOverFramesAndEndsRight) {
    // A few hundred milliseconds of CPU work at once on any machine: far over one frame.
    canvas.setStyle({{20, 200, 90, 200}, 200, 1, core::InkBlend::normal});
    for (int s = 0; s < 6; ++s) {
        canvas.pointerDown({0, s * 17.0}, {}, 1, now);
        for (int k = 1; k < 80; ++k) canvas.pointerDrag({k * 4.0, s * 17.0 + k % 7}, {});
        canvas.pointerUp({300, s * 17.0}, {}, now);
    }
    ASSERT_TRUE(layer.render(target, frame()));
    EXPECT_TRUE(layer.hasPendingRepaint()) << "one frame did not take it all";
    int frames = 1;
    while (layer.hasPendingRepaint() && frames < 1000) {
        canvas.pointerDown({20, 20}, {}, 1, now);  // input keeps coming meanwhile
        canvas.pointerUp({20, 20}, {}, now);
        ASSERT_TRUE(layer.render(target, frame()));
        ++frames;
    }
    EXPECT_FALSE(layer.hasPendingRepaint());
    renderAndCompare("after the spread repaint");
}

// A translucent or fading stroke is one shape at one opacity: a straight stroke of many
// segments looks like the one capsule from its first point to its last, with no darker dot
// where two segments meet.
TEST_F(InkLayerTest, ATranslucentStrokeOfManySegmentsLooksLikeOneCapsule) {
    struct Case {
        const char* name;
        std::uint8_t alpha;
        std::optional<double> timeToLive;
    };
    const auto drawn = [](const Case& c, int segments) {
        InkCanvas straight(kCapacities, {{30, 60, 200, c.alpha}, 10, 1, core::InkBlend::normal});
        straight.setTimeToLive(c.timeToLive);
        straight.pointerDown({20, 100}, {}, 1, 10);
        for (int k = 1; k <= segments; ++k)
            straight.pointerDrag({20 + 280.0 * k / segments, 100}, {});
        straight.pointerUp({300, 100}, {}, 10);
        InkLayer fresh(kCapacities.pointCapacity + kCapacities.strokeCapacity,
                       kCapacities.strokeCapacity);
        PixelInkTarget full(nullptr);
        // Halfway through the fade of a one-second time to live.
        const InkLayer::Frame frame{straight, {{0, 0}, 1, 1}, 10.8, kBounds, {}, {}};
        EXPECT_TRUE(fresh.render(full, frame));
        while (fresh.hasPendingRepaint()) EXPECT_TRUE(fresh.render(full, frame));
        const std::uint32_t* pixels = full.frame().pixels;
        return std::vector<std::uint32_t>(pixels, pixels + kWidth * kHeight);
    };
    for (const Case& c : {Case{"translucent", 128, std::nullopt}, Case{"fading", 255, 1.0}}) {
        const auto jointed = drawn(c, 40), single = drawn(c, 1);
        int mismatches = 0;
        for (std::size_t i = 0; i < jointed.size(); ++i) {
            for (int shift = 0; shift < 32; shift += 8) {
                const int got = static_cast<int>(jointed[i] >> shift & 0xff);
                const int want = static_cast<int>(single[i] >> shift & 0xff);
                if (std::abs(got - want) > 1 && ++mismatches <= 3) {
                    ADD_FAILURE() << c.name << ": (" << i % kWidth << ", " << i / kWidth << ") "
                                  << std::hex << jointed[i] << " not " << single[i];
                }
            }
        }
        EXPECT_EQ(mismatches, 0) << c.name;
    }
}

TEST(Damage, MergesTouchingRectanglesAndStaysBounded) {
    Damage damage({0, 0, 100, 100});
    damage.add({10, 10, 10, 10});
    damage.add({20, 10, 10, 10});  // touches: one rectangle
    ASSERT_EQ(damage.rects().size(), 1u);
    EXPECT_EQ(damage.rects()[0], (PixelRect{10, 10, 20, 10}));
    damage.add({12, 12, 2, 2});      // inside: nothing new
    damage.add({-50, 90, 200, 50});  // clipped to the bounds
    EXPECT_EQ(damage.rects().back(), (PixelRect{0, 90, 100, 10}));
    for (int i = 0; i < 20; ++i) damage.add({i * 4 % 90, 40 + i % 3 * 15, 2, 2});
    EXPECT_LE(damage.rects().size(), Damage::kMaximumRects);
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(damage.intersects({i * 4 % 90, 40 + i % 3 * 15, 2, 2})) << i;
    }
    damage.addAll();
    EXPECT_TRUE(damage.isEverything());
    EXPECT_TRUE(PixelRect::enclosing(0, 0, std::nan(""), 1).isEmpty());
}

}  // namespace
}  // namespace scrawlet::ink
