#include "core/settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace scrawlet::core {
namespace {

using nlohmann::json;
using Pointer = json::json_pointer;

json defaultJson() {
    return json::parse(Settings::defaultDocument);
}

json withValue(const std::string& pointer, json value) {
    json document = defaultJson();
    document[Pointer(pointer)] = std::move(value);
    return document;
}

json without(const std::string& pointer) {
    json document = defaultJson();
    const Pointer target(pointer);
    document[target.parent_pointer()].erase(target.back());
    return document;
}

double above(double value) {
    return std::nextafter(value, std::numeric_limits<double>::infinity());
}
double below(double value) {
    return std::nextafter(value, -std::numeric_limits<double>::infinity());
}

TEST(SettingsDefaultDocument, IsTheExactCanonicalText) {
    EXPECT_EQ(Settings::defaultDocument.size(), 1434u);
    // Two-space pretty printing in the written key order reproduces it byte for byte.
    EXPECT_EQ(nlohmann::ordered_json::parse(Settings::defaultDocument).dump(2),
              Settings::defaultDocument);
}

TEST(SettingsDefaultDocument, DecodesToTheSchemaDefaultsOfEverySection) {
    const Settings defaults = Settings::builtInDefaults();
    EXPECT_EQ(defaults.schemaVersion, 1);
    EXPECT_EQ(defaults.annotation, AnnotationSettings::schemaDefaults());
    EXPECT_EQ(defaults.cursorHighlight, CursorHighlightSettings::schemaDefaults());
    EXPECT_EQ(defaults.spotlight, SpotlightSettings::schemaDefaults());
    EXPECT_EQ(defaults.zoom, ZoomSettings::schemaDefaults());
    EXPECT_EQ(defaults.whiteboard, WhiteboardSettings::schemaDefaults());
    EXPECT_EQ(defaults.capture, CaptureSettings::schemaDefaults());
    EXPECT_EQ(defaults.keystrokeDisplay, KeystrokeDisplaySettings::schemaDefaults());
    EXPECT_EQ(defaults.system, SystemSettings{});
    EXPECT_EQ(defaults.annotation.beautify, (BeautifySettings{false, 0.08}));
    EXPECT_EQ(defaults.cursorHighlight.colour, (Colour{255, 204, 0, 255}));
    EXPECT_EQ(defaults.keystrokeDisplay.fade.mode, AutoEraseMode::threeSeconds);
}

TEST(SettingsEncode, WritesEveryFieldAndRoundTrips) {
    const Settings defaults = Settings::builtInDefaults();
    const json written = defaults.encode();
    EXPECT_EQ(written["annotation"]["beautify"], json::parse(R"({"enabled": false,
        "toleranceFraction": 0.08})"));
    EXPECT_EQ(written["annotation"]["toolOpacity"].size(), 7u);
    EXPECT_EQ(written["cursorHighlight"]["colour"], "#ffcc00");
    EXPECT_EQ(written["keystrokeDisplay"]["fade"]["mode"], "threeSeconds");
    EXPECT_EQ(Settings::decode(written), defaults);

    Settings custom = defaults;
    custom.annotation.palette[2] = {1, 2, 3, 128};
    custom.annotation.strokeWidth = {{1, 2, 3, 5.5}, 3, false};
    custom.annotation.autoErase = {AutoEraseMode::custom, 0.25};
    custom.annotation.toolOpacity.text = 0;
    custom.annotation.beautify = {true, 0.2};
    custom.cursorHighlight.shape = CursorHighlightShape::rhombus;
    custom.spotlight.shape = RegionShape::roundedRect;
    custom.capture = {"/tmp/shots", 50};
    custom.keystrokeDisplay.position = KeystrokeDisplayPosition::topLeft;
    custom.system.shortcutOverrides = {{"toggleDraw", "ctrl+shift+d"}};
    EXPECT_EQ(Settings::decode(custom.encode().dump()), custom);
}

struct ErrorCase {
    const char* pointer;
    json value;
    SettingsError expected;
    const char* text;
};

TEST(SettingsErrors, CarryTheirFieldAndReadAsShown) {
    using E = SettingsError;
    const std::vector<ErrorCase> cases{
        {"/schemaVersion",
         2,
         {E::UnsupportedSchemaVersion{2, 1}},
         "settings schemaVersion 2 is not supported (this build reads 1)"},
        {"/cursorHighlight/opacity",
         1.5,
         {E::OutOfRange{"cursorHighlight.opacity", 1.5, 0, 1}},
         "cursorHighlight.opacity is 1.5, outside 0.0...1.0"},
        {"/annotation/palette",
         {"#000000", "#000000", "#000000", "#000000"},
         {E::WrongCount{"annotation.palette", 5, 4}},
         "annotation.palette has 4 entries, expected 5"},
        {"/annotation/palette",
         {"#000000", "#000000", "#000000", "#000000", "#000000", "#000000"},
         {E::WrongCount{"annotation.palette", 5, 6}},
         "annotation.palette has 6 entries, expected 5"},
        {"/annotation/strokeWidth/selectedIndex",
         3,
         {E::IndexOutOfBounds{"annotation.strokeWidth.selectedIndex", 3, 3}},
         "annotation.strokeWidth.selectedIndex is 3, outside 0..<3"},
        {"/capture/historyCount",
         60,
         {E::OutOfRange{"capture.historyCount", 60, 1, 50}},
         "capture.historyCount is 60.0, outside 1.0...50.0"},
        {"/whiteboard/boardColour",
         "#fff",
         {E::MalformedColour{"#fff"}},
         "malformed colour \"#fff\": expected #RRGGBB or #RRGGBBAA"},
        {"/keystrokeDisplay/fade/customSeconds",
         500,
         {E::OutOfRange{"annotation.autoErase.customSeconds", 500, 0.25, 120}},
         "annotation.autoErase.customSeconds is 500.0, outside 0.25...120.0"},
        {"/annotation/toolOpacity/text",
         2,
         {E::OutOfRange{"annotation.toolOpacity.text", 2, 0, 1}},
         "annotation.toolOpacity.text is 2.0, outside 0.0...1.0"},
        {"/annotation/strokeWidth/presetsPoints",
         {2, 4},
         {E::WrongCount{"annotation.strokeWidth.presetsPoints", 3, 2}},
         "annotation.strokeWidth.presetsPoints has 2 entries, expected 3"},
        {"/annotation/selectedPaletteIndex",
         -1,
         {E::IndexOutOfBounds{"annotation.selectedPaletteIndex", -1, 5}},
         "annotation.selectedPaletteIndex is -1, outside 0..<5"},
        {"/annotation/autoErase/customSeconds",
         0.1,
         {E::OutOfRange{"annotation.autoErase.customSeconds", 0.1, 0.25, 120}},
         "annotation.autoErase.customSeconds is 0.1, outside 0.25...120.0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pointer);
        const auto decoded = Settings::decode(withValue(c.pointer, c.value));
        ASSERT_FALSE(decoded);
        ASSERT_TRUE(decoded.error().isSettingsError());
        EXPECT_EQ(*decoded.error().settingsError(), c.expected);
        EXPECT_EQ(decoded.error().description(), c.text);
    }
}

TEST(SettingsBounds, BothEndsOfEveryRangeAreValid) {
    const std::vector<std::pair<const char*, json>> cases{
        {"/annotation/strokeWidth/presetsPoints", {0.001, 4, 200, 8}},
        {"/annotation/autoErase/customSeconds", 0.25},
        {"/annotation/autoErase/customSeconds", 120},
        {"/annotation/toolOpacity/pen", 0},
        {"/annotation/toolOpacity/highlighter", 1},
        {"/cursorHighlight/sizePoints", 0.001},
        {"/cursorHighlight/sizePoints", 400},
        {"/cursorHighlight/opacity", 0},
        {"/cursorHighlight/borderWidthPoints", 0},
        {"/cursorHighlight/borderWidthPoints", 40},
        {"/spotlight/sizePoints", 4000},
        {"/spotlight/dimOpacity", 1},
        {"/zoom/level", 1.5},
        {"/zoom/level", 8},
        {"/zoom/lensSizePoints", 0.001},
        {"/zoom/panEasing", 1},
        {"/capture/historyCount", 1},
        {"/capture/historyCount", 50},
        {"/capture/historyCount", 12.0},  // integral, whatever the notation
        {"/keystrokeDisplay/sizePoints", 120},
        {"/keystrokeDisplay/fade/customSeconds", 0.25},
    };
    for (const auto& [pointer, value] : cases) {
        SCOPED_TRACE(pointer);
        const auto decoded = Settings::decode(withValue(pointer, value));
        ASSERT_TRUE(decoded) << decoded.error().description();
        EXPECT_EQ(decoded->encode()[Pointer(pointer)], value);
    }
}

TEST(SettingsBounds, JustOutsideEveryRangeIsOutOfRange) {
    struct Case {
        const char* pointer;
        double value;
        const char* field;
    };
    const std::vector<Case> cases{
        {"/annotation/autoErase/customSeconds", below(0.25), "annotation.autoErase.customSeconds"},
        {"/annotation/toolOpacity/pen", below(0), "annotation.toolOpacity.pen"},
        {"/annotation/toolOpacity/ellipse", above(1), "annotation.toolOpacity.ellipse"},
        {"/cursorHighlight/sizePoints", below(0.001), "cursorHighlight.sizePoints"},
        {"/cursorHighlight/sizePoints", above(400), "cursorHighlight.sizePoints"},
        {"/cursorHighlight/borderWidthPoints", above(40), "cursorHighlight.borderWidthPoints"},
        {"/spotlight/sizePoints", above(4000), "spotlight.sizePoints"},
        {"/spotlight/dimOpacity", below(0), "spotlight.dimOpacity"},
        {"/zoom/level", below(1.5), "zoom.level"},
        {"/zoom/level", above(8), "zoom.level"},
        {"/zoom/lensSizePoints", 0, "zoom.lensSizePoints"},
        {"/zoom/panEasing", above(1), "zoom.panEasing"},
        {"/capture/historyCount", 0, "capture.historyCount"},
        {"/capture/historyCount", 51, "capture.historyCount"},
        {"/keystrokeDisplay/sizePoints", above(120), "keystrokeDisplay.sizePoints"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pointer);
        const auto decoded = Settings::decode(withValue(c.pointer, c.value));
        ASSERT_FALSE(decoded);
        const auto* error = decoded.error().settingsError();
        ASSERT_NE(error, nullptr);
        const auto* range = std::get_if<SettingsError::OutOfRange>(&error->error);
        ASSERT_NE(range, nullptr);
        EXPECT_EQ(range->field, c.field);
        EXPECT_EQ(range->value, c.value);
    }
    const auto presets = Settings::decode(
        withValue("/annotation/strokeWidth/presetsPoints", {2, 4, above(200), below(0.001)}));
    ASSERT_FALSE(presets);
    EXPECT_EQ(presets.error().description(), "annotation.strokeWidth.presetsPoints is " +
                                                 json(above(200)).dump() +
                                                 ", outside 0.001...200.0");
}

TEST(SettingsDecodeOrder, FirstFailureInFieldOrderWins) {
    struct Case {
        const char* name;
        json document;
        const char* text;
    };
    json versionOnly{{"schemaVersion", 2}};
    json zeroVersion = withValue("/schemaVersion", 0);
    zeroVersion.erase("annotation");
    json colourBeforeCount =
        withValue("/annotation/palette", {"#000000", "red", "#000000", "#000000", "#000000", "#0"});
    json countBeforeIndex = withValue("/annotation/strokeWidth/presetsPoints", {2, 900});
    json firstPreset = withValue("/annotation/strokeWidth/presetsPoints", {2, 300, 0, 8});
    json sectionOrder = withValue("/zoom/level", 9);
    sectionOrder["annotation"]["toolOpacity"]["text"] = 5;
    json keyOrder = withValue("/annotation/toolOpacity/text", 5);
    keyOrder["annotation"]["toolOpacity"]["pen"] = -1;
    json missingBeforeRange = without("/cursorHighlight/colour");
    missingBeforeRange["cursorHighlight"]["opacity"] = 7;

    const std::vector<Case> cases{
        {"version alone", versionOnly,
         "settings schemaVersion 2 is not supported (this build reads 1)"},
        {"version 0", zeroVersion,
         "settings schemaVersion 0 is not supported (this build reads 1)"},
        {"colour before count", colourBeforeCount,
         "malformed colour \"red\": expected #RRGGBB or #RRGGBBAA"},
        {"count before entries", countBeforeIndex,
         "annotation.strokeWidth.presetsPoints has 2 entries, expected 3"},
        {"first preset", firstPreset,
         "annotation.strokeWidth.presetsPoints is 300.0, outside 0.001...200.0"},
        {"section order", sectionOrder, "annotation.toolOpacity.text is 5.0, outside 0.0...1.0"},
        {"key order", keyOrder, "annotation.toolOpacity.pen is -1.0, outside 0.0...1.0"},
        {"missing before range", missingBeforeRange, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto decoded = Settings::decode(c.document);
        ASSERT_FALSE(decoded);
        if (c.text != nullptr) {
            EXPECT_EQ(decoded.error().description(), c.text);
        } else {
            EXPECT_FALSE(decoded.error().isSettingsError()) << decoded.error().description();
        }
    }
}

TEST(SettingsOptionalKeys, AbsentOptionalKeysTakeTheirDefaults) {
    json document = defaultJson();
    for (const char* pointer :
         {"/annotation/selectedPaletteIndex", "/annotation/strokeWidth/pressureModulation",
          "/annotation/autoErase/customSeconds", "/annotation/toolOpacity",
          "/cursorHighlight/opacity", "/cursorHighlight/borderWidthPoints",
          "/cursorHighlight/clickRipple", "/spotlight/dimAllDisplays", "/zoom/panEasing",
          "/capture/destinationFolder", "/capture/historyCount", "/keystrokeDisplay/enabled",
          "/keystrokeDisplay/position", "/keystrokeDisplay/sizePoints",
          "/keystrokeDisplay/fade/customSeconds", "/system/launchAtLogin",
          "/system/checkForUpdates", "/system/onboardingCompleted", "/system/shortcutOverrides"}) {
        const Pointer target(pointer);
        document[target.parent_pointer()].erase(target.back());
    }
    EXPECT_EQ(Settings::decode(document), Settings::builtInDefaults());

    const auto partial = ToolOpacity::decode(json{{"highlighter", 0.7}});
    ASSERT_TRUE(partial);
    EXPECT_EQ(*partial, (ToolOpacity{1, 1, 1, 1, 1, 0.7, 1}));
    EXPECT_EQ(ToolOpacity::decode(json::object()), ToolOpacity{});
}

TEST(SettingsOptionalKeys, EveryRequiredKeyMissingIsADecoderError) {
    for (const char* pointer : {"/schemaVersion",
                                "/annotation",
                                "/annotation/palette",
                                "/annotation/strokeWidth",
                                "/annotation/strokeWidth/presetsPoints",
                                "/annotation/strokeWidth/selectedIndex",
                                "/annotation/autoErase",
                                "/annotation/autoErase/mode",
                                "/cursorHighlight",
                                "/cursorHighlight/enabled",
                                "/cursorHighlight/shape",
                                "/cursorHighlight/colour",
                                "/cursorHighlight/sizePoints",
                                "/spotlight/shape",
                                "/spotlight/sizePoints",
                                "/spotlight/dimOpacity",
                                "/zoom/level",
                                "/zoom/lensShape",
                                "/zoom/lensSizePoints",
                                "/whiteboard/boardColour",
                                "/capture",
                                "/keystrokeDisplay/fade",
                                "/keystrokeDisplay/fade/mode",
                                "/system"}) {
        SCOPED_TRACE(pointer);
        const auto decoded = Settings::decode(without(pointer));
        ASSERT_FALSE(decoded);
        EXPECT_FALSE(decoded.error().isSettingsError());
        const std::string key = Pointer(pointer).back();
        EXPECT_NE(decoded.error().description().find("'" + key + "'"), std::string::npos)
            << decoded.error().description();
    }
}

TEST(SettingsUnknownKeys, AreIgnoredAtEveryLevel) {
    json document = defaultJson();
    document["futureSection"] = {{"x", 1}};
    for (const char* pointer :
         {"/annotation/extra", "/annotation/strokeWidth/extra", "/annotation/toolOpacity/eraser",
          "/cursorHighlight/extra", "/keystrokeDisplay/fade/extra", "/system/extra"}) {
        document[Pointer(pointer)] = "ignored";
    }
    EXPECT_EQ(Settings::decode(document), Settings::builtInDefaults());
}

TEST(SettingsDecoderErrors, AreNotSettingsErrors) {
    const std::vector<std::pair<json, const char*>> cases{
        {withValue("/cursorHighlight/shape", "triangle"), "triangle"},
        {withValue("/zoom/lensShape", "Circle"), "Circle"},
        {withValue("/annotation/autoErase/mode", "twoSeconds"), "twoSeconds"},
        {withValue("/spotlight/sizePoints", "320"), "spotlight.sizePoints"},
        {withValue("/spotlight/dimOpacity", true), "spotlight.dimOpacity"},
        {withValue("/capture/historyCount", 10.5), "capture.historyCount"},
        {withValue("/capture/historyCount", 1e12), "capture.historyCount"},
        {withValue("/annotation/palette", "#ffffff"), "annotation.palette"},
        {withValue("/annotation/palette/1", 7), "annotation.palette[1]"},
        {withValue("/system/shortcutOverrides", {{"undo", 1}}), "shortcutOverrides.undo"},
        {withValue("/zoom", json::array()), "zoom"},
        {json::array(), "object"},
    };
    for (const auto& [document, mention] : cases) {
        SCOPED_TRACE(mention);
        const auto decoded = Settings::decode(document);
        ASSERT_FALSE(decoded);
        EXPECT_FALSE(decoded.error().isSettingsError());
        EXPECT_EQ(decoded.error().settingsError(), nullptr);
        EXPECT_NE(decoded.error().description().find(mention), std::string::npos)
            << decoded.error().description();
    }
    for (const char* text : {"", "{", "{\"schemaVersion\": 1,}", "not json"}) {
        const auto decoded = Settings::decode(text);
        ASSERT_FALSE(decoded);
        EXPECT_FALSE(decoded.error().isSettingsError()) << text;
    }
}

TEST(SettingsValues, AutoEraseTimeToLive) {
    EXPECT_EQ((AutoEraseSettings{AutoEraseMode::off, 7}.timeToLiveSeconds()), std::nullopt);
    EXPECT_EQ((AutoEraseSettings{AutoEraseMode::oneSecond, 7}.timeToLiveSeconds()), 1.0);
    EXPECT_EQ((AutoEraseSettings{AutoEraseMode::threeSeconds, 7}.timeToLiveSeconds()), 3.0);
    EXPECT_EQ((AutoEraseSettings{AutoEraseMode::fiveSeconds, 7}.timeToLiveSeconds()), 5.0);
    EXPECT_EQ((AutoEraseSettings{AutoEraseMode::custom, 7}.timeToLiveSeconds()), 7.0);
}

TEST(SettingsValues, ToolOpacityFollowsTheToolsName) {
    const ToolOpacity opacity{0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7};
    const std::vector<double> expected{0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 1.0, 1.0};
    for (const Tool tool : allCases<Tool>()) {
        EXPECT_EQ(opacity.value(tool), expected[static_cast<std::size_t>(tool)]) << rawValue(tool);
    }
    EXPECT_EQ(ToolOpacity{}.value(Tool::highlighter), 0.4);
    EXPECT_EQ(ToolOpacity{}.value(Tool::arrow), 1.0);
}

}  // namespace
}  // namespace scrawlet::core
