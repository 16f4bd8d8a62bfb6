#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "core/stroke_scene.h"

namespace {

using scrawlet::core::Colour;
using scrawlet::core::ContentPoint;
using scrawlet::core::InkBlend;
using scrawlet::core::StrokePointOutcome;
using scrawlet::core::StrokeScene;
using scrawlet::core::StrokeStyle;

const StrokeStyle kStyle{Colour{255, 59, 48, 255}, 4, 1, InkBlend::normal};

// Time per point appended to an open stroke of the default-sized scene.
void BM_StrokeSceneExtendPerPoint(benchmark::State& state) {
    std::vector<ContentPoint> path;
    for (int i = 1; i < 65536; ++i) {
        path.push_back({i * 0.5, std::sin(i * 0.01) * 100});
    }
    StrokeScene scene(65536, 1024, 0);
    scene.begin({0, 0}, kStyle, 0);
    std::size_t next = 0;
    for (auto _ : state) {
        if (scene.extend(path[next]) != StrokePointOutcome::appended || ++next == path.size()) {
            state.PauseTiming();
            scene.clear();
            scene.begin({0, 0}, kStyle, 0);
            next = 0;
            state.ResumeTiming();
        }
    }
}
BENCHMARK(BM_StrokeSceneExtendPerPoint);

// 1,024 strokes of 64 points. `stacked` lays them in horizontal bands (a page of handwriting);
// otherwise every stroke crosses the whole drawing, so no box rejects anything.
StrokeScene sceneOf1024Strokes(bool stacked) {
    StrokeScene scene(65536, 1024, 0);
    for (int s = 0; s < 1024; ++s) {
        const double y = stacked ? s * 2.0 : 0;
        scene.begin({0, y + s * 0.001}, kStyle, s);
        for (int k = 1; k < 64; ++k) {
            const double zig = stacked ? (k % 2) : ((k % 2) ? 2000 : 0) + s * 0.001;
            scene.extend({k * 10.0, y + zig});
        }
        scene.end();
    }
    return scene;
}

void BM_StrokeSceneHitTestTypical(benchmark::State& state) {
    const StrokeScene scene = sceneOf1024Strokes(true);
    for (auto _ : state) {
        benchmark::DoNotOptimize(scene.hitTest({315, 1025.5}, 6));
    }
}
BENCHMARK(BM_StrokeSceneHitTestTypical)->Unit(benchmark::kMicrosecond);

void BM_StrokeSceneHitTestMissEverywhere(benchmark::State& state) {
    const StrokeScene scene = sceneOf1024Strokes(false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(scene.hitTest({3, 1500}, 0));
    }
}
BENCHMARK(BM_StrokeSceneHitTestMissEverywhere)->Unit(benchmark::kMicrosecond);

}  // namespace
