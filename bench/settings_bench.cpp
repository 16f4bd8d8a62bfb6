#include <benchmark/benchmark.h>

#include <string_view>

#include "core/settings.h"

namespace {

using scrawlet::core::Settings;

// The settings file is decoded at every launch and after every change made in the settings
// window, from text as it lies on disk.
void SettingsDecodeDefaultDocument(benchmark::State& state) {
    for (auto _ : state) {
        auto decoded = Settings::decode(Settings::defaultDocument);
        benchmark::DoNotOptimize(decoded);
    }
}
BENCHMARK(SettingsDecodeDefaultDocument)->Unit(benchmark::kMicrosecond);

}  // namespace
