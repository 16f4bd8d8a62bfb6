#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "core/action_catalog.h"
#include "core/chord.h"

namespace scrawlet::core {
namespace {

// Settings and recorded overrides are parsed and re-spelled on every registration pass.
void BM_ChordParseAndSpecText(benchmark::State& state) {
    const std::string_view text = " Shift + Ctrl + Alt + leftBracket";
    for (auto _ : state) {
        const auto chord = Chord::parse(text);
        benchmark::DoNotOptimize(chord);
        std::string canonical = chord->specText();
        benchmark::DoNotOptimize(canonical);
    }
}
BENCHMARK(BM_ChordParseAndSpecText);

ActionCatalog shippedCatalog() {
    const auto path =
        std::filesystem::path(__FILE__).parent_path().parent_path() / "resources" / "actions.json";
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    auto catalog = ActionCatalog::decode(text.str());
    if (!catalog) {
        std::cerr << "chord_bench: " << path << ": " << catalog.error().message << '\n';
        std::exit(1);
    }
    return *std::move(catalog);
}

// Runs at start-up and whenever the settings window changes an override.
void BM_ConflictsOfShippedCatalog(benchmark::State& state) {
    const ActionCatalog catalog = shippedCatalog();
    // One override collides with a global default, so a group is built, not only looked for.
    const ShortcutOverrides overrides{{"tool.pen", "ctrl+alt+p"}, {"edit.clearAll", ""}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(catalog.conflicts(Platform::windows, overrides));
    }
}
BENCHMARK(BM_ConflictsOfShippedCatalog);

}  // namespace
}  // namespace scrawlet::core
