// Drawing must never allocate: every operation of a warmed scene works in reserved storage.
// This binary replaces the global operator new to count allocations while a flag is set.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "core/stroke_scene.h"
#include "core/undo_history.h"
#include "tests/unit/allocation/allocation_counter.h"

namespace scrawlet::testing {

std::atomic<bool> countingAllocations{false};
std::atomic<long> allocationCount{0};

}  // namespace scrawlet::testing

using scrawlet::testing::allocationCount;
using scrawlet::testing::countingAllocations;

void* operator new(std::size_t size) {
    if (countingAllocations.load(std::memory_order_relaxed)) {
        allocationCount.fetch_add(1, std::memory_order_relaxed);
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace scrawlet::core {
namespace {

using CountingScope = scrawlet::testing::AllocationCounter;

TEST(DrawingAllocations, CounterSeesAnAllocation) {
    CountingScope scope;
    const auto probe = std::make_unique<int>(1);
    EXPECT_EQ(scope.count(), 1);
}

TEST(DrawingAllocations, WarmedSceneDrawsHitTestsAndUndoesWithoutAllocating) {
    constexpr int kPoints = 4096;
    constexpr int kStrokes = 64;
    StrokeScene scene(kPoints, kStrokes, 0.5);
    UndoHistory history(512);
    const StrokeStyle style{Colour{255, 0, 0, 255}, 4, 1, InkBlend::normal};

    long counted = 0;
    {
        CountingScope scope;
        for (int round = 0; round < 3; ++round) {
            for (int s = 0; s < kStrokes / 2; ++s) {
                const double y = s * 10.0;
                scene.begin({0, y}, style, s);
                for (int i = 1; i < 80; ++i) {
                    scene.extend({i * 1.0, y + (i % 3)});
                }
                scene.end();
                history.record(scene.visibleSpanCount(), scene.visiblePointCount(), 0);
                (void)scene.hitTest({40, y}, 6);
                (void)scene.bounds(scene.visibleSpanCount() - 1);
            }
            if (const auto t = scene.appendTombstone()) {
                scene.supersede(0, *t);
            }
            for (int u = 0; u < 10; ++u) {
                if (const auto state = history.undo()) {
                    scene.setVisible(state->spans, state->points);
                }
            }
            (void)history.redo();
            scene.begin({1, 1}, style, 0);  // truncates the undone future in place
            scene.cancel();
            scene.clear();
            history.reset();
        }
        counted = scope.count();
    }
    EXPECT_EQ(counted, 0);
    EXPECT_EQ(scene.pointStorageCapacity(), static_cast<std::size_t>(kPoints));
    EXPECT_EQ(scene.strokeStorageCapacity(), static_cast<std::size_t>(kStrokes));
}

TEST(DrawingAllocations, RefusalsAtCapacityDoNotGrowStorage) {
    StrokeScene scene(8, 2, 0);
    const StrokeStyle style{};
    CountingScope scope;
    for (int i = 0; i < 20; ++i) {
        scene.begin({0, static_cast<double>(i)}, style, 0);
        for (int k = 1; k < 10; ++k) {
            scene.extend({static_cast<double>(k), static_cast<double>(i)});
        }
        scene.end();
        (void)scene.appendTombstone();
    }
    EXPECT_EQ(scope.count(), 0);
    EXPECT_GT(scene.droppedPointCount(), 0);
    EXPECT_GT(scene.droppedStrokeCount(), 0);
    EXPECT_EQ(scene.pointStorageCapacity(), 8u);
    EXPECT_EQ(scene.strokeStorageCapacity(), 2u);
}

}  // namespace
}  // namespace scrawlet::core
