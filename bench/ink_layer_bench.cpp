// The CPU renderer's cost per frame: a new segment drawn onto a full screen of ink, a repaint
// of the whole screen after an undo, and a whole screen of ink fading, with thin pens and with
// very wide ones.
#include <benchmark/benchmark.h>

#include <cmath>

#include "app/ink/ink_canvas.h"
#include "app/ink/ink_layer.h"
#include "app/ink/pixel_ink_target.h"

namespace {

using namespace scrawlet;
using ink::InkCanvas;
using ink::InkLayer;
using ink::PixelInkTarget;

constexpr ink::PixelRect kScreen{0, 0, 1920, 1080};
const ink::SceneCapacities kCapacities{65536, 1024, 0, 16};

struct Rig {
    explicit Rig(double width)
        : canvas(kCapacities, {{255, 0, 0, 255}, width, 1, core::InkBlend::normal}),
          layer(kCapacities.pointCapacity + kCapacities.strokeCapacity, kCapacities.strokeCapacity),
          target(nullptr) {}
    void render(double now = 1) { layer.render(target, {canvas, transform, now, kScreen, {}, {}}); }
    // `strokes` strokes of `points` points across the screen.
    void fill(int strokes, int points) {
        for (int s = 0; s < strokes; ++s) {
            const double y = 20 + (s * 37) % 1040;
            canvas.pointerDown({20, y}, {}, 1, 1);
            for (int k = 1; k < points; ++k) {
                canvas.pointerDrag({20 + k * 1880.0 / points, y + 15 * std::sin(k * 0.2)}, {});
            }
            canvas.pointerUp({1900, y}, {}, 1);
        }
        render();
    }
    InkCanvas canvas;
    core::DisplayTransform transform{{0, 0}, 1, 1};
    InkLayer layer;
    PixelInkTarget target;
};

void BM_NewSegmentOnAFullScreen(benchmark::State& state) {
    Rig rig(static_cast<double>(state.range(0)));
    rig.fill(200, 100);  // 20,000 points
    while (rig.layer.hasPendingRepaint()) rig.render();
    double x = 500;
    for (auto _ : state) {
        // A new stroke now and then, so the scene never fills up.
        if (x > 1400 || x == 500) {
            state.PauseTiming();
            rig.canvas.pointerUp({x, 500}, {}, 1);
            rig.canvas.undo();
            rig.render();
            while (rig.layer.hasPendingRepaint()) rig.render();
            x = 500;
            rig.canvas.pointerDown({x, 500}, {}, 1, 1);
            state.ResumeTiming();
        }
        x += 3;
        rig.canvas.pointerDrag({x, 500.0 + (static_cast<int>(x) % 2) * 40}, {});
        rig.render();
    }
}
BENCHMARK(BM_NewSegmentOnAFullScreen)->Arg(4)->Arg(200)->Arg(5000)->Unit(benchmark::kMicrosecond);

void BM_RepaintEverythingAfterUndo(benchmark::State& state) {
    Rig rig(static_cast<double>(state.range(0)));
    rig.fill(static_cast<int>(state.range(1)), 100);
    while (rig.layer.hasPendingRepaint()) rig.render();
    // What one frame costs at most, and how many frames a whole repaint takes.
    int frames = 0;
    for (auto _ : state) {
        rig.canvas.undo();
        rig.render();
        ++frames;
        state.PauseTiming();
        while (rig.layer.hasPendingRepaint()) {
            rig.render();
            ++frames;
        }
        rig.canvas.redo();
        rig.render();
        while (rig.layer.hasPendingRepaint()) rig.render();
        state.ResumeTiming();
    }
    state.counters["frames"] = benchmark::Counter(frames, benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_RepaintEverythingAfterUndo)
    ->Args({4, 200})
    ->Args({200, 20})
    ->Args({5000, 20})
    ->Unit(benchmark::kMillisecond);

// Every stroke on the screen fading at once: each frame repaints them within its budget, and
// how much of the screen one frame gets through is what fading costs.
void BM_FadingFullScreenFrame(benchmark::State& state) {
    Rig rig(static_cast<double>(state.range(0)));
    rig.canvas.setTimeToLive(1.0);
    rig.fill(static_cast<int>(state.range(1)), 100);
    while (rig.layer.hasPendingRepaint()) rig.render();
    double now = 1.61;
    double presented = 0;
    for (auto _ : state) {
        now = now < 1.95 ? now + 0.001 : 1.61;
        rig.render(now);
        presented += static_cast<double>(rig.layer.lastPresentedArea());
    }
    state.counters["pixels"] = benchmark::Counter(presented, benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_FadingFullScreenFrame)->Args({4, 200})->Args({200, 20})->Unit(benchmark::kMillisecond);

}  // namespace
