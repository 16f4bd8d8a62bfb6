#include "app/shell/draw_config.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "app/shell/launch_mode.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::shell {
namespace {

using core::ActionID;
using testing::TemporaryFolder;

// Points the settings store at a fresh folder for each test.
class DrawConfigTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const char* old = std::getenv("XDG_CONFIG_HOME")) {
            saved_ = old;
        }
        ::setenv("XDG_CONFIG_HOME", tmp_.path().c_str(), 1);
    }
    void TearDown() override {
        if (saved_) {
            ::setenv("XDG_CONFIG_HOME", saved_->c_str(), 1);
        } else {
            ::unsetenv("XDG_CONFIG_HOME");
        }
    }

    DrawConfig read(std::map<std::string, std::string> values) {
        auto config = DrawConfig::fromEnvironment(Environment(std::move(values)));
        EXPECT_TRUE(config) << (config ? "" : config.error().message);
        return config ? *config : DrawConfig{};
    }
    ConfigExit refuse(std::map<std::string, std::string> values) {
        auto config = DrawConfig::fromEnvironment(Environment(std::move(values)));
        EXPECT_FALSE(config);
        return config ? ConfigExit{} : config.error();
    }

    TemporaryFolder tmp_;
    std::optional<std::string> saved_;
};

TEST_F(DrawConfigTest, EmptyEnvironmentLoadsTheStoresDefaults) {
    EXPECT_EQ(read({}).annotation, core::AnnotationSettings::schemaDefaults());
    EXPECT_TRUE(std::filesystem::exists(tmp_.path() / "scrawlet" / "settings.json"));
}

TEST_F(DrawConfigTest, UnknownToolsAndActionsEndTheRunWithUsageStatus) {
    EXPECT_EQ(refuse({{"SCRAWLET_DRAW_TOOL", "Pen"}}),
              (ConfigExit{"draw: unknown tool \"Pen\" "
                          "(pen|line|arrow|rectangle|ellipse|highlighter|text|eraser|select)",
                          64}));
    EXPECT_EQ(refuse({{"SCRAWLET_DRAW_ACTIONS", "tool.pen, tool.crayon ,edit.undo"}}),
              (ConfigExit{"draw: unknown action \"tool.crayon\" in SCRAWLET_DRAW_ACTIONS", 64}));
}

TEST_F(DrawConfigTest, OnlyValuesThatWouldTakeTheMachineAreRefusedAndNeverBeforeStatus66) {
    for (const auto& [name, value] : std::vector<std::pair<std::string, std::string>>{
             {"SCRAWLET_DRAW_POINT_CAPACITY", "16777217"},
             {"SCRAWLET_DRAW_TEXT_CAPACITY", "99999999999"},
         }) {
        const ConfigExit exit = refuse({{name, value}});
        EXPECT_EQ(exit.status, 64) << name;
        EXPECT_TRUE(exit.message.starts_with("draw: " + name + " is " + value)) << exit.message;
    }
    const std::map<std::string, std::string> endless = {{"SCRAWLET_DRAW_HZ", "1e6"},
                                                        {"SCRAWLET_DRAW_STROKE_SECONDS", "1e6"}};
    auto direct = endless;
    direct["SCRAWLET_DRAW_TRANSPORT"] = "direct";
    EXPECT_EQ(refuse(direct).status, 64);
    EXPECT_EQ(read(endless).syntheticHz, 1e6) << "live input never runs the synthetic driver";

    // Values the scenes cannot take are brought to the nearest they can.
    const DrawConfig low = read({{"SCRAWLET_DRAW_POINT_CAPACITY", "0"},
                                 {"SCRAWLET_DRAW_STROKE_CAPACITY", "-1"},
                                 {"SCRAWLET_DRAW_MIN_SEPARATION", "-1"}});
    EXPECT_EQ(low.limits.pointCapacity, 1);
    EXPECT_EQ(low.limits.strokeCapacity, 1);
    EXPECT_EQ(low.limits.minimumSeparation, 0);

    EXPECT_EQ(refuse({{"SCRAWLET_DRAW_TEXT_CAPACITY", "99999999999"},
                      {"SCRAWLET_DRAW_SETTINGS", "/nonexistent/s.json"}})
                  .status,
              66);
}

TEST_F(DrawConfigTest, NumbersAreDecimalAndATimeLimitATimerCannotHoldIsTheDefault) {
    for (const std::string_view text : {"0x10", "inf", "-inf", "nan", "infinity", "1e999", " 1",
                                        "1 ", "", ".", "e5", "1e", "+-1", "1,5"}) {
        EXPECT_FALSE(Environment::parseNumber(text)) << text;
    }
    for (const auto& [text, value] : std::vector<std::pair<std::string_view, double>>{
             {"2", 2}, {"-2.5", -2.5}, {"+.5", 0.5}, {"1.", 1}, {"1e3", 1000}, {"2.5E-1", 0.25}}) {
        EXPECT_EQ(Environment::parseNumber(text), value) << text;
    }
    EXPECT_EQ(read({}).maxDurationSeconds, std::nullopt) << "no limit unless one is asked for";
    for (const std::string value : {"inf", "nan", "1e12", "3000000"}) {
        EXPECT_EQ(read({{"SCRAWLET_DRAW_SECONDS", value}}).maxDurationSeconds, std::nullopt)
            << value;
    }
    EXPECT_EQ(read({{"SCRAWLET_DRAW_SECONDS", "2000000"}}).maxDurationSeconds, 2000000);
}

TEST_F(DrawConfigTest, SettingsFileVariableReplacesTheStoreAndIsNeverWritten) {
    auto json = nlohmann::json::parse(core::Settings::defaultDocument);
    json["annotation"]["selectedPaletteIndex"] = 2;
    json["system"]["shortcutOverrides"] = {{"tool.pen", "ctrl+alt+p"}};
    const std::string text = json.dump();
    const auto file = tmp_.write("mine.json", text);
    const DrawConfig c = read({{"SCRAWLET_DRAW_SETTINGS", file.string()}});
    EXPECT_EQ(c.annotation.selectedPaletteIndex, 2);
    EXPECT_EQ(c.shortcutOverrides.at("tool.pen"), "ctrl+alt+p");
    EXPECT_EQ(TemporaryFolder::read(file), text);
    EXPECT_FALSE(std::filesystem::exists(tmp_.path() / "scrawlet")) << "the store is untouched";

    const auto bad = tmp_.write("bad.json", R"({"schemaVersion": 2})");
    EXPECT_EQ(refuse({{"SCRAWLET_DRAW_SETTINGS", bad.string()}}),
              (ConfigExit{"draw: cannot read settings at " + bad.string() +
                              ": settings schemaVersion 2 is not supported (this build reads 1)",
                          66}));
    EXPECT_EQ(
        refuse({{"SCRAWLET_DRAW_SETTINGS", "/nonexistent/s.json"}}),
        (ConfigExit{"draw: cannot read settings at /nonexistent/s.json: No such file or directory",
                    66}));
    EXPECT_TRUE(read({{"SCRAWLET_DRAW_SETTINGS", ""}}).shortcutOverrides.empty());
}

TEST_F(DrawConfigTest, VariablesStandingInForSettingsAreHeldToTheFieldsRanges) {
    const DrawConfig c = read({{"SCRAWLET_DRAW_LENS_LEVEL", "20"},
                               {"SCRAWLET_DRAW_LENS_SIZE", "0"},
                               {"SCRAWLET_DRAW_FULLSCREEN_ZOOM_EASING", "0.5"},
                               {"SCRAWLET_DRAW_CAPTURE_FOLDER", ""},
                               {"SCRAWLET_DRAW_CAPTURE_HISTORY_COUNT", "1000"},
                               {"SCRAWLET_DRAW_SPOTLIGHT_SHAPE", "roundedRect"},
                               {"SCRAWLET_DRAW_SPOTLIGHT_DIM_OPACITY", "1.5"},
                               {"SCRAWLET_DRAW_SPOTLIGHT_DIM_ALL", "true"},
                               {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_COLOUR", "#112233"},
                               {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SIZE", "-3"},
                               {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SHAPE", "rhombus"},
                               {"SCRAWLET_DRAW_WIDTH", "500"}});
    EXPECT_EQ(c.lensLevel, 8);
    EXPECT_EQ(c.lensSizePoints, 0.001);
    EXPECT_EQ(c.fullScreenZoomPanEasing, 0.5);
    EXPECT_EQ(c.captureFolder, "");
    EXPECT_EQ(c.captureHistoryCount, 50);
    EXPECT_EQ(c.spotlightShape, core::RegionShape::roundedRect);
    EXPECT_EQ(c.spotlightDimOpacity, 1);
    EXPECT_EQ(c.spotlightDimAllDisplays, false) << "present, and not \"1\"";
    EXPECT_EQ(c.cursorHighlightColour, (core::Colour{0x11, 0x22, 0x33, 255}));
    EXPECT_EQ(c.cursorHighlightSizePoints, 0.001);
    EXPECT_EQ(c.cursorHighlightShape, core::CursorHighlightShape::rhombus);
    EXPECT_EQ(c.widthPoints, 500) << "the synthetic strokes' width is no preset";
    EXPECT_EQ(c.annotation.strokeWidth.presetsPoints[1], 200);

    // On top of a document, the variables replace exactly their fields.
    core::Settings expected;
    expected.zoom = {8, core::RegionShape::circle, 0.001, 0.5};
    expected.capture = {"", 50};
    expected.spotlight.shape = core::RegionShape::roundedRect;
    expected.spotlight.dimOpacity = 1;
    expected.cursorHighlight.colour = {0x11, 0x22, 0x33, 255};
    expected.cursorHighlight.sizePoints = 0.001;
    expected.cursorHighlight.shape = core::CursorHighlightShape::rhombus;
    EXPECT_EQ(c.settingsWithOverrides(core::Settings{}), expected);

    const DrawConfig unreadable = read({{"SCRAWLET_DRAW_LENS_LEVEL", "2x"},
                                        {"SCRAWLET_DRAW_CAPTURE_HISTORY_COUNT", "5e3"},
                                        {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_COLOUR", "#fff"},
                                        {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SHAPE", "Ring"}});
    EXPECT_FALSE(unreadable.lensLevel);
    EXPECT_FALSE(unreadable.captureHistoryCount);
    EXPECT_FALSE(unreadable.cursorHighlightColour);
    EXPECT_FALSE(unreadable.cursorHighlightShape);
    EXPECT_EQ(unreadable.settingsWithOverrides(core::Settings{}), core::Settings{});
}

TEST(LaunchModeSelection, ExplicitModeWinsAndUnknownWordsAreUsageErrors) {
    const auto mode = [](std::map<std::string, std::string> values) {
        return launchModeFromEnvironment(Environment(std::move(values)));
    };
    EXPECT_EQ(mode({}), LaunchMode::draw);
    EXPECT_EQ(mode({{"SCRAWLET_PROBE_DEVICE", ""}}), LaunchMode::probe);
    EXPECT_EQ(mode({{"SCRAWLET_MODE", "draw"}, {"SCRAWLET_PROBE_DEVICE", "x"}}), LaunchMode::draw);
    EXPECT_EQ(mode({{"SCRAWLET_MODE", "textspike"}}), LaunchMode::textspike);
    for (const char* word : {"", "Draw"}) {
        EXPECT_EQ(
            mode({{"SCRAWLET_MODE", word}}),
            std::unexpected(ConfigExit{"scrawlet: unknown SCRAWLET_MODE \"" + std::string(word) +
                                           "\" (overlay|probe|draw|capture|textspike)",
                                       64}));
    }
}

}  // namespace
}  // namespace scrawlet::shell
