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

TEST_F(DrawConfigTest, FlagsCasesAndColoursFallBackSilently) {
    const DrawConfig c = read({
        {"SCRAWLET_DRAW_PANEL", ""},
        {"SCRAWLET_DRAW_CLICKTHROUGH", "false"},
        {"SCRAWLET_DRAW_LENS", "true"},
        {"SCRAWLET_DRAW_TRANSPORT", "Direct"},
        {"SCRAWLET_DRAW_COLOUR", "#12345"},
        {"SCRAWLET_DRAW_SPOTLIGHT_SHAPE", "square"},
        {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SHAPE", "rhombus"},
        {"SCRAWLET_DRAW_SPOTLIGHT_DIM_ALL", "yes"},
        {"SCRAWLET_DRAW_CAPTURE_DUMP", ""},
    });
    EXPECT_TRUE(c.controlPanel);
    EXPECT_TRUE(c.startsIgnoringMouseEvents);
    EXPECT_FALSE(c.lens);
    EXPECT_EQ(c.transport, DrawConfig::Transport::live);
    EXPECT_EQ(c.colour, (core::Colour{255, 59, 48, 255}));
    EXPECT_FALSE(c.spotlightShape);
    EXPECT_EQ(c.cursorHighlightShape, core::CursorHighlightShape::rhombus);
    EXPECT_EQ(c.spotlightDimAllDisplays, false);
    EXPECT_EQ(c.captureDumpPath, "");
    EXPECT_FALSE(read({{"SCRAWLET_DRAW_PANEL", "0"}}).controlPanel);
}

TEST_F(DrawConfigTest, ColourAndWidthOverrideTheSelectedEntries) {
    const DrawConfig c = read({{"SCRAWLET_DRAW_COLOUR", "#00FF00"}, {"SCRAWLET_DRAW_WIDTH", "9"}});
    EXPECT_EQ(c.colour, (core::Colour{0, 255, 0, 255}));
    EXPECT_EQ(c.annotation.palette[0], (core::Colour{0, 255, 0, 255}));
    EXPECT_EQ(c.annotation.strokeWidth.presetsPoints[1], 9);

    const DrawConfig zero = read({{"SCRAWLET_DRAW_WIDTH", "0"}});
    EXPECT_EQ(zero.widthPoints, 0);
    EXPECT_EQ(zero.annotation.strokeWidth.presetsPoints[1], 4);
}

TEST_F(DrawConfigTest, ListsAreSplitTrimmedAndFiltered) {
    EXPECT_EQ(DrawConfig::points("100,200;640.5,360"),
              (std::vector<GlobalPoint>{{100, 200}, {640.5, 360}}));
    EXPECT_EQ(DrawConfig::points(";1,2,3;4;x,5,6;;7,,8"),
              (std::vector<GlobalPoint>{{5, 6}, {7, 8}}));
    const DrawConfig c = read({
        {"SCRAWLET_DRAW_ACTIONS", " overlay.toggleAnnotation , ,tool.pen"},
        {"SCRAWLET_OVERLAY_BEHAVIOR", " stationary,,none, managed "},
        {"SCRAWLET_DRAW_TOOL", "arrow"},
    });
    EXPECT_EQ(c.scriptedActions,
              (std::vector<ActionID>{ActionID::overlayToggleAnnotation, ActionID::toolPen}));
    EXPECT_EQ(c.behaviorTokens, (std::vector<std::string>{"stationary", "managed"}));
    EXPECT_EQ(c.initialTool, ActionID::toolArrow);
    EXPECT_TRUE(read({{"SCRAWLET_OVERLAY_BEHAVIOR", "none"}}).behaviorTokens.empty());
    EXPECT_EQ(read({{"SCRAWLET_DRAW_SHAPE", "ellipse"}}).initialTool, ActionID::toolEllipse);
    EXPECT_FALSE(read({{"SCRAWLET_DRAW_TOOL", ""}, {"SCRAWLET_DRAW_SHAPE", "line"}}).initialTool);
}

TEST_F(DrawConfigTest, UnknownToolsAndActionsEndTheRunWithUsageStatus) {
    EXPECT_EQ(refuse({{"SCRAWLET_DRAW_TOOL", "Pen"}}),
              (ConfigExit{"draw: unknown tool \"Pen\" "
                          "(pen|line|arrow|rectangle|ellipse|highlighter|text|eraser|select)",
                          64}));
    EXPECT_EQ(refuse({{"SCRAWLET_DRAW_ACTIONS", "tool.pen, tool.crayon ,edit.undo"}}),
              (ConfigExit{"draw: unknown action \"tool.crayon\" in SCRAWLET_DRAW_ACTIONS", 64}));
}

TEST_F(DrawConfigTest, ValuesTheScenesCannotTakeAreRefusedWithAReason) {
    for (const auto& [name, value] : std::vector<std::pair<std::string, std::string>>{
             {"SCRAWLET_DRAW_POINT_CAPACITY", "0"},
             {"SCRAWLET_DRAW_STROKE_CAPACITY", "-1"},
             {"SCRAWLET_DRAW_TEXT_CAPACITY", "99999999999"},
             {"SCRAWLET_DRAW_MIN_SEPARATION", "-1"},
             {"SCRAWLET_DRAW_MIN_SEPARATION", "nan"},
             {"SCRAWLET_DRAW_HZ", "inf"},
             {"SCRAWLET_DRAW_STROKE_SECONDS", "1e300"},
         }) {
        const ConfigExit exit = refuse({{name, value}});
        EXPECT_EQ(exit.status, 64) << name;
        EXPECT_TRUE(exit.message.starts_with("draw: ")) << exit.message;
        EXPECT_NE(exit.message.find(name), std::string::npos) << exit.message;
    }
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

TEST(EnvironmentRules, IntegerAndNumberGrammars) {
    using E = Environment;
    EXPECT_EQ(E::parseInteger("-12"), -12);
    EXPECT_EQ(E::parseInteger("+12"), 12);
    EXPECT_EQ(E::parseInteger("9223372036854775807"), INT64_MAX);
    for (const char* bad :
         {"", "+", "-", "+-1", " 1", "1 ", "1.0", "9223372036854775808", "0x10"}) {
        EXPECT_FALSE(E::parseInteger(bad)) << bad;
    }
    EXPECT_EQ(E::parseNumber("2.5"), 2.5);
    EXPECT_EQ(E::parseNumber("-1e3"), -1000);
    EXPECT_EQ(E::parseNumber(".5"), 0.5);
    for (const char* bad : {"", " 1", "1 ", "1,5", "abc", "1e"}) {
        EXPECT_FALSE(E::parseNumber(bad)) << bad;
    }
}

}  // namespace
}  // namespace scrawlet::shell
