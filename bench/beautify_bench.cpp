#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "core/beautify.h"

namespace scrawlet::core {
namespace {

constexpr int kStrokePoints = 500;

// Closed and within tolerance, so both passes of the circle test run over every point.
std::vector<ContentPoint> noisyCircle() {
    std::vector<ContentPoint> points;
    for (int i = 0; i < kStrokePoints; ++i) {
        const double t = 2 * std::numbers::pi * i / (kStrokePoints - 1);
        const double r = 120 + 3 * std::sin(7.3 * i);
        points.push_back({400 + r * std::cos(t), 300 + r * std::sin(t)});
    }
    return points;
}

// Open: the line test measures every point against the chord.
std::vector<ContentPoint> wigglyStroke() {
    std::vector<ContentPoint> points;
    for (int i = 0; i < kStrokePoints; ++i) {
        points.push_back({1.5 * i, 200 + 4 * std::sin(0.2 * i)});
    }
    return points;
}

void classify(benchmark::State& state, const std::vector<ContentPoint>& points) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Beautify::classify(points, 0.05));
    }
}

void BM_BeautifyClassifyNoisyCircle(benchmark::State& state) {
    classify(state, noisyCircle());
}
BENCHMARK(BM_BeautifyClassifyNoisyCircle);

void BM_BeautifyClassifyWigglyStroke(benchmark::State& state) {
    classify(state, wigglyStroke());
}
BENCHMARK(BM_BeautifyClassifyWigglyStroke);

}  // namespace
}  // namespace scrawlet::core
