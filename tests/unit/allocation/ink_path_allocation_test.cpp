// Every pointer event on a warmed canvas, and the frame that carries it (instance building,
// damage, the CPU renderer), must run in storage reserved up front, beautify included.
#include <gtest/gtest.h>

#include <cmath>

#include "app/ink/ink_canvas.h"
#include "app/ink/ink_layer.h"
#include "app/ink/pixel_ink_target.h"
#include "tests/unit/allocation/allocation_counter.h"

namespace scrawlet::ink {
namespace {

TEST(InkPathAllocations, PointerEventsAndTheirFramesAfterPrewarmAllocateNothing) {
    const SceneCapacities capacities{8192, 64, 0, 16};
    InkCanvas canvas(capacities, {{255, 0, 0, 255}, 4, 1, core::InkBlend::normal});
    canvas.setBeautify({true, 0.08});
    InkLayer layer(8192 + 64, 64);
    int presents = 0;
    PixelInkTarget target([&](const PixelBuffer&, std::span<const PixelRect>) { ++presents; });
    const core::DisplayTransform transform({0, 0}, 1, 2);
    const PixelRect bounds{0, 0, 800, 700};
    canvas.prewarm({0, 0});
    const auto frame = [&] {
        ASSERT_TRUE(layer.render(target, {canvas, transform, 1.0, bounds, {}, {}}));
    };
    frame();  // makes the frame buffer
    layer.reset();

    long counted = 0;
    {
        testing::AllocationCounter counter;
        for (const core::Tool tool :
             {core::Tool::pen, core::Tool::highlighter, core::Tool::arrow, core::Tool::ellipse}) {
            canvas.setTool(tool, 0);
            for (int stroke = 0; stroke < 8; ++stroke) {
                const double y = stroke * 20.0;
                canvas.pointerDown({0, y}, {}, 1, 1.0);
                frame();
                for (int i = 1; i < 100; ++i) {
                    canvas.pointerDrag({i * 3.0, y + (i % 5)}, {i % 2 == 0, false});
                    frame();
                }
                canvas.pointerUp({300, y}, {}, 1.0);
                frame();
            }
        }
        // A circle drawn with the pen is beautified on release.
        canvas.setTool(core::Tool::pen, 0);
        canvas.pointerDown({200, 100}, {}, 1, 1.0);
        for (int i = 1; i <= 72; ++i) {
            const double t = i * 2 * M_PI / 72;
            canvas.pointerDrag({200 + 60 * std::cos(t), 160 + 60 * std::sin(t) - 60}, {});
        }
        canvas.pointerUp({260, 100}, {}, 1.0);
        frame();
        canvas.undo();
        frame();
        counted = counter.count();
    }
    EXPECT_EQ(counted, 0);
    EXPECT_GT(canvas.scene().spanCount(), 33) << "the circle was beautified";
    EXPECT_GT(presents, 3000);
}

}  // namespace
}  // namespace scrawlet::ink
