// The latency probe's run configuration and screen choice: defaults, every variable, and each
// refusal with its exact line and status.
#include <gtest/gtest.h>

#include "app/diagnostics/probe_app_delegate.h"
#include "app/diagnostics/run_config.h"

namespace scrawlet::diagnostics {
namespace {

using Values = std::map<std::string, std::string>;

std::expected<RunConfig, shell::ConfigExit> read(Values values) {
    values.try_emplace("SCRAWLET_PROBE_DEVICE", "trackpad");
    return RunConfig::fromEnvironment(shell::Environment(values));
}

RunConfig config(Values values) {
    const auto c = read(std::move(values));
    EXPECT_TRUE(c) << (c ? "" : c.error().message);
    return c ? *c : RunConfig{};
}

TEST(ProbeRunConfig, DefaultsWithOnlyTheLabel) {
    const RunConfig c = config({});
    EXPECT_EQ(c.deviceLabel, "trackpad");
    EXPECT_EQ(c.presentMode, RunConfig::PresentMode::vsync);
    EXPECT_EQ(c.surface, RunConfig::Surface::window);
    EXPECT_EQ(c.transport, RunConfig::Transport::live);
    EXPECT_FALSE(c.synthetic());
    EXPECT_EQ(c.maximumDrawableCount, 2);
    EXPECT_EQ(c.outputPath, "/tmp/scrawlet-latency.jsonl");
    EXPECT_EQ(c.targetSamples, 5000);
    EXPECT_EQ(c.maxSeconds, 300);
    EXPECT_FALSE(c.displaySelector);
    EXPECT_FALSE(c.clearOnDown || c.flashOnDraw || c.presentsWithTransaction);
    EXPECT_EQ(c.syntheticHz, 125);
    // An empty label is a label: the variable's presence is what counts.
    EXPECT_EQ(config({{"SCRAWLET_PROBE_DEVICE", ""}}).deviceLabel, "");
}

TEST(ProbeRunConfig, ReadsEveryVariable) {
    const RunConfig c = config({{"SCRAWLET_PROBE_PRESENT_MODE", "per-event"},
                                {"SCRAWLET_PROBE_SURFACE", "overlay"},
                                {"SCRAWLET_PROBE_TRANSPORT", "cgevent"},
                                {"SCRAWLET_PROBE_MAX_DRAWABLES", "3"},
                                {"SCRAWLET_PROBE_OUT", "/x/l.jsonl"},
                                {"SCRAWLET_PROBE_SAMPLES", "300"},
                                {"SCRAWLET_PROBE_MAX_SECONDS", "2.5"},
                                {"SCRAWLET_PROBE_DISPLAY", "B"},
                                {"SCRAWLET_PROBE_CLEAR_ON_DOWN", "1"},
                                {"SCRAWLET_PROBE_FLASH_ON_DRAW", "1"},
                                {"SCRAWLET_PROBE_SYNTHETIC_HZ", "240"},
                                {"SCRAWLET_PROBE_PRESENT_WITH_TRANSACTION", "1"}});
    EXPECT_EQ(c.presentMode, RunConfig::PresentMode::perEvent);
    EXPECT_EQ(c.surface, RunConfig::Surface::overlay);
    EXPECT_EQ(c.transport, RunConfig::Transport::cgEventPost);
    EXPECT_TRUE(c.synthetic());
    EXPECT_EQ(c.maximumDrawableCount, 3);
    EXPECT_EQ(c.outputPath, "/x/l.jsonl");
    EXPECT_EQ(c.targetSamples, 300);
    EXPECT_EQ(c.maxSeconds, 2.5);
    EXPECT_EQ(c.displaySelector, "B");
    EXPECT_TRUE(c.clearOnDown && c.flashOnDraw && c.presentsWithTransaction);
    EXPECT_EQ(c.syntheticHz, 240);
}

TEST(ProbeRunConfig, SyntheticOnlyChangesTheTransportDefault) {
    EXPECT_EQ(config({{"SCRAWLET_PROBE_SYNTHETIC", "1"}}).transport, RunConfig::Transport::direct);
    EXPECT_EQ(config({{"SCRAWLET_PROBE_SYNTHETIC", "1"}, {"SCRAWLET_PROBE_TRANSPORT", "cgevent"}})
                  .transport,
              RunConfig::Transport::cgEventPost);
    EXPECT_EQ(
        config({{"SCRAWLET_PROBE_SYNTHETIC", "1"}, {"SCRAWLET_PROBE_TRANSPORT", "live"}}).transport,
        RunConfig::Transport::live);
    // Booleans are on only for exactly "1".
    EXPECT_EQ(config({{"SCRAWLET_PROBE_SYNTHETIC", "true"}}).transport, RunConfig::Transport::live);
    EXPECT_FALSE(config({{"SCRAWLET_PROBE_CLEAR_ON_DOWN", "yes"}}).clearOnDown);
}

TEST(ProbeRunConfig, MalformedValuesFallBack) {
    const RunConfig c = config({{"SCRAWLET_PROBE_SAMPLES", "0"},
                                {"SCRAWLET_PROBE_MAX_SECONDS", "-4"},
                                {"SCRAWLET_PROBE_SYNTHETIC_HZ", "fast"},
                                {"SCRAWLET_PROBE_OUT", ""},
                                {"SCRAWLET_PROBE_DISPLAY", ""},
                                {"SCRAWLET_PROBE_PRESENT_MODE", ""},
                                {"SCRAWLET_PROBE_MAX_DRAWABLES", ""}});
    EXPECT_EQ(c.targetSamples, 5000);
    EXPECT_EQ(c.maxSeconds, 300);
    EXPECT_EQ(c.syntheticHz, 125);
    EXPECT_EQ(c.outputPath, "/tmp/scrawlet-latency.jsonl");
    EXPECT_FALSE(c.displaySelector);
    EXPECT_EQ(c.presentMode, RunConfig::PresentMode::vsync);
    EXPECT_EQ(c.maximumDrawableCount, 2);
    // More samples than the store holds would never reach the target.
    EXPECT_EQ(config({{"SCRAWLET_PROBE_SAMPLES", "400001"}}).targetSamples, 5000);
    EXPECT_EQ(config({{"SCRAWLET_PROBE_SAMPLES", "400000"}}).targetSamples, 400000);
    // Not an integer: the default, not a refusal.
    EXPECT_EQ(config({{"SCRAWLET_PROBE_MAX_DRAWABLES", "2.5"}}).maximumDrawableCount, 2);
    EXPECT_EQ(config({{"SCRAWLET_PROBE_MAX_DRAWABLES", "three"}}).maximumDrawableCount, 2);
}

TEST(ProbeRunConfig, RefusalsAreUsageErrorsWithTheirLine) {
    const std::pair<Values, std::string> cases[] = {
        {{{"SCRAWLET_PROBE_PRESENT_MODE", "VSYNC"}},
         "probe: unknown SCRAWLET_PROBE_PRESENT_MODE \"VSYNC\" (vsync|per-event)"},
        {{{"SCRAWLET_PROBE_SURFACE", "fullscreen"}},
         "probe: unknown SCRAWLET_PROBE_SURFACE \"fullscreen\" (window|overlay)"},
        {{{"SCRAWLET_PROBE_TRANSPORT", "cgEventPost"}},
         "probe: unknown SCRAWLET_PROBE_TRANSPORT \"cgEventPost\" (live|direct|cgevent)"},
        {{{"SCRAWLET_PROBE_MAX_DRAWABLES", "4"}},
         "probe: SCRAWLET_PROBE_MAX_DRAWABLES must be 2 or 3, got 4"},
        {{{"SCRAWLET_PROBE_MAX_DRAWABLES", "-2"}},
         "probe: SCRAWLET_PROBE_MAX_DRAWABLES must be 2 or 3, got -2"},
    };
    for (const auto& [values, line] : cases) {
        const auto c = read(values);
        ASSERT_FALSE(c) << line;
        EXPECT_EQ(c.error(), (shell::ConfigExit{line, 64}));
    }
    const auto missing = RunConfig::fromEnvironment(shell::Environment());
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(),
              (shell::ConfigExit{"probe: SCRAWLET_PROBE_DEVICE is required (see M0-plan P3)", 64}));
}

// The draw surface has no post times to compare event clocks with.
TEST(ProbeRunConfig, TheDrawSurfaceRefusesEverySyntheticTransport) {
    const std::string line =
        "--surface draw does not support a synthetic transport. The post-time token lives in "
        "SyntheticDriver, which drives ProbeView; a draw run would record postTimestamp 0 for "
        "every sample and skip the domain check silently. Use --transport live.";
    for (const Values& values : {Values{{"SCRAWLET_PROBE_SYNTHETIC", "1"}},
                                 Values{{"SCRAWLET_PROBE_TRANSPORT", "cgevent"}},
                                 Values{{"SCRAWLET_PROBE_TRANSPORT", "direct"}}}) {
        Values withDraw = values;
        withDraw["SCRAWLET_PROBE_SURFACE"] = "draw";
        const auto c = read(withDraw);
        ASSERT_FALSE(c);
        EXPECT_EQ(c.error(), (shell::ConfigExit{line, 64}));
    }
    EXPECT_EQ(config({{"SCRAWLET_PROBE_SURFACE", "draw"}}).surface, RunConfig::Surface::draw);
}

TEST(ProbeScreen, SelectorIsANameOrAnIndexElseThePrimary) {
    const std::vector<std::string> names{"A", "B", "1"};
    EXPECT_EQ(selectScreen(names, 1, std::nullopt), 1u);
    EXPECT_EQ(selectScreen(names, 7, std::nullopt), 2u) << "a primary Qt no longer lists";
    EXPECT_EQ(selectScreen(names, 0, "B"), 1u);
    EXPECT_EQ(selectScreen(names, 0, "0"), 0u);
    EXPECT_EQ(selectScreen(names, 0, "1"), 2u) << "a monitor's name wins over an index";
    const auto missing = selectScreen(names, 0, "C");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(),
              (shell::ConfigExit{
                  "probe: no screen matches SCRAWLET_PROBE_DISPLAY \"C\" (A|B|1 or 0-2)", 64}));
    EXPECT_FALSE(selectScreen(names, 0, "3"));
    EXPECT_FALSE(selectScreen(names, 0, "-1"));
    EXPECT_EQ(selectScreen({}, 0, std::nullopt).error(),
              (shell::ConfigExit{"probe: no screen", 2}));
}

}  // namespace
}  // namespace scrawlet::diagnostics
