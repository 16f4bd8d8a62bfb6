#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "app/ink/stroke_instances.h"

namespace {

using scrawlet::core::Colour;
using scrawlet::core::ContentPoint;
using scrawlet::core::DisplayTransform;
using scrawlet::core::InkBlend;
using scrawlet::core::StrokePointOutcome;
using scrawlet::core::StrokeScene;
using scrawlet::core::StrokeStyle;
using scrawlet::ink::SegmentInstance;
using scrawlet::ink::StrokeInstanceBuilder;

constexpr int kPointCapacity = 65536;
constexpr int kStrokeCapacity = 1024;
const StrokeStyle kPen{Colour{255, 59, 48, 255}, 4, 1, InkBlend::normal};
const StrokeStyle kHighlighter{Colour{255, 214, 10, 255}, 16, 0.4, InkBlend::maximum};

// `strokes` finished strokes of 64 points, every fourth a highlighter.
void drawStrokes(StrokeScene& scene, int strokes) {
    for (int s = 0; s < strokes; ++s) {
        scene.begin({0, s * 2.0}, s % 4 == 3 ? kHighlighter : kPen, s);
        for (int k = 1; k < 64; ++k) {
            scene.extend({k * 10.0, s * 2.0 + std::sin(k * 0.3)});
        }
        scene.end();
    }
}

// A default-sized scene, full, rebuilt from scratch as after a zoom.
void BM_StrokeInstanceFullRebuild(benchmark::State& state) {
    StrokeScene scene(kPointCapacity, kStrokeCapacity, 0);
    drawStrokes(scene, kPointCapacity / 64);
    std::vector<SegmentInstance> storage(kPointCapacity + kStrokeCapacity);
    StrokeInstanceBuilder builder(storage.data(), static_cast<int>(storage.size()),
                                  kStrokeCapacity);
    const DisplayTransform transforms[2] = {{{0, 0}, 1, 2}, {{10, 10}, 1.5, 2}};
    int which = 0;
    for (auto _ : state) {
        which ^= 1;
        benchmark::DoNotOptimize(builder.sync(scene, transforms[which]));
    }
    state.SetItemsProcessed(state.iterations() * builder.instanceCount());
}
BENCHMARK(BM_StrokeInstanceFullRebuild)->Unit(benchmark::kMillisecond);

// One tick of drawing: a point appended to the open stroke of a half-full scene, then a sync.
// The scene's share alone is BM_StrokeSceneExtendPerPoint.
void BM_StrokeInstanceIncrementalPerPoint(benchmark::State& state) {
    StrokeScene scene(kPointCapacity, kStrokeCapacity, 0);
    drawStrokes(scene, kPointCapacity / 128);
    const int background = scene.visiblePointCount();
    std::vector<SegmentInstance> storage(kPointCapacity + kStrokeCapacity);
    StrokeInstanceBuilder builder(storage.data(), static_cast<int>(storage.size()),
                                  kStrokeCapacity);
    const DisplayTransform transform({0, 0}, 1, 2);
    const auto restart = [&] {
        scene.cancel();
        scene.begin({0, 5000}, kPen, 1e4);
        builder.sync(scene, transform);
    };
    restart();
    int k = 0;
    for (auto _ : state) {
        ++k;
        if (scene.extend({k * 0.5, 5000 + std::sin(k * 0.01) * 100}) !=
            StrokePointOutcome::appended) {
            state.PauseTiming();
            restart();
            k = 0;
            state.ResumeTiming();
        }
        benchmark::DoNotOptimize(builder.sync(scene, transform));
    }
    if (builder.instanceCount() != scene.visiblePointCount() || background == 0) {
        state.SkipWithError("instances do not match the scene");
    }
}
BENCHMARK(BM_StrokeInstanceIncrementalPerPoint);

}  // namespace
