// Every pointer event on a warmed canvas, and the instance building of the frame that carries
// it, must run in storage reserved up front.
#include <gtest/gtest.h>

#include "app/ink/ink_canvas.h"
#include "app/ink/stroke_instances.h"
#include "tests/unit/allocation/allocation_counter.h"

namespace scrawlet::ink {
namespace {

TEST(InkPathAllocations, PointerEventsAndFrameBuildingAfterPrewarmAllocateNothing) {
    const SceneCapacities capacities{8192, 64, 0, 16};
    InkCanvas canvas(capacities, {{255, 0, 0, 255}, 4, 1, core::InkBlend::normal});
    std::vector<SegmentInstance> storage(8192 + 64);
    StrokeInstanceBuilder builder(storage.data(), static_cast<int>(storage.size()), 64);
    const core::DisplayTransform transform({0, 0}, 1, 2);
    canvas.prewarm({0, 0});
    builder.sync(canvas.scene(), transform);
    builder.reset();

    const auto frame = [&] {
        builder.setLiveBirth(canvas.liveBirth());
        builder.sync(canvas.scene(), transform);
        builder.syncLive(canvas.liveShape(), transform);
    };
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
        canvas.undo();
        frame();
        counted = counter.count();
    }
    EXPECT_EQ(counted, 0);
}

}  // namespace
}  // namespace scrawlet::ink
