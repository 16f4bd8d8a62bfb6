#include "core/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace scrawlet::core {
namespace {

using nlohmann::json;
using Pointer = json::json_pointer;
using E = SettingsError;

json defaultJson() {
    return json::parse(Settings::defaultDocument);
}

json withValue(const std::string& pointer, json value) {
    json document = defaultJson();
    document[Pointer(pointer)] = std::move(value);
    return document;
}

json without(std::initializer_list<const char*> pointers) {
    json document = defaultJson();
    for (const char* pointer : pointers) {
        const Pointer target(pointer);
        document[target.parent_pointer()].erase(target.back());
    }
    return document;
}

// What decoding reports: a SettingsError's text, or the JSON layer's after "decoder: ".
std::string failureText(const json& document) {
    const auto decoded = Settings::decode(document);
    if (decoded) {
        return "(decoded)";
    }
    return (decoded.error().isSettingsError() ? "" : "decoder: ") + decoded.error().description();
}

TEST(SettingsDefaults, DocumentIsExactDecodesToTheSchemaDefaultsAndEncodesEveryField) {
    EXPECT_EQ(Settings::defaultDocument.size(), 1434u);
    // Two-space pretty printing in the written key order reproduces it byte for byte.
    EXPECT_EQ(nlohmann::ordered_json::parse(Settings::defaultDocument).dump(2),
              Settings::defaultDocument);

    const Settings defaults = Settings::builtInDefaults();
    EXPECT_EQ(defaults,
              (Settings{1, AnnotationSettings::schemaDefaults(),
                        CursorHighlightSettings::schemaDefaults(),
                        SpotlightSettings::schemaDefaults(), ZoomSettings::schemaDefaults(),
                        WhiteboardSettings::schemaDefaults(), CaptureSettings::schemaDefaults(),
                        KeystrokeDisplaySettings::schemaDefaults(), SystemSettings{}}));
    // Written back, the defaults are the document itself plus the beautify object it leaves out.
    json expected = defaultJson();
    expected["annotation"]["beautify"] = {{"enabled", false}, {"toleranceFraction", 0.08}};
    EXPECT_EQ(defaults.encode(), expected);
}

// Every SettingsError case as decoding reports it: the text carries the whole payload.
TEST(SettingsErrors, NameTheirFieldAndReadAsShown) {
    const json four = {"#000000", "#000000", "#000000", "#000000"};
    const json six = {"#000000", "#000000", "#000000", "#000000", "#000000", "#000000"};
    const std::tuple<const char*, json, const char*> cases[] = {
        {"/schemaVersion", 2, "settings schemaVersion 2 is not supported (this build reads 1)"},
        {"/whiteboard/boardColour", "#fff",
         "malformed colour \"#fff\": expected #RRGGBB or #RRGGBBAA"},
        {"/cursorHighlight/opacity", 1.5, "cursorHighlight.opacity is 1.5, outside 0.0...1.0"},
        // The keystroke fade reports under the annotation's field name.
        {"/keystrokeDisplay/fade/customSeconds", 500,
         "annotation.autoErase.customSeconds is 500.0, outside 0.25...120.0"},
        {"/annotation/palette", four, "annotation.palette has 4 entries, expected 5"},
        {"/annotation/palette", six, "annotation.palette has 6 entries, expected 5"},
        {"/annotation/strokeWidth/presetsPoints",
         {2, 4},
         "annotation.strokeWidth.presetsPoints has 2 entries, expected 3"},
        {"/annotation/strokeWidth/selectedIndex", 3,
         "annotation.strokeWidth.selectedIndex is 3, outside 0..<3"},
        {"/annotation/selectedPaletteIndex", -1,
         "annotation.selectedPaletteIndex is -1, outside 0..<5"},
        // Numbers as people write them, and integers beyond 32 bits reported with their value.
        {"/annotation/strokeWidth/presetsPoints",
         {2, 0.0001, 8},
         "annotation.strokeWidth.presetsPoints is 0.0001, outside 0.001...200.0"},
        {"/spotlight/sizePoints", 100000,
         "spotlight.sizePoints is 100000.0, outside 0.001...4000.0"},
        {"/zoom/lensSizePoints", 1e-7, "zoom.lensSizePoints is 1e-07, outside 0.001...4000.0"},
        {"/schemaVersion", 3000000000,
         "settings schemaVersion 3000000000 is not supported (this build reads 1)"},
        {"/annotation/selectedPaletteIndex", 3000000000,
         "annotation.selectedPaletteIndex is 3000000000, outside 0..<5"},
        {"/capture/historyCount", 3000000000.0,
         "capture.historyCount is 3000000000.0, outside 1.0...50.0"},
    };
    for (const auto& [pointer, value, text] : cases) {
        EXPECT_EQ(failureText(withValue(pointer, value)), text);
    }
}

TEST(SettingsKeys, AbsentOptionalKeysTakeTheirDefaultsAndUnknownKeysAreIgnored) {
    json document = without(
        {"/annotation/selectedPaletteIndex", "/annotation/strokeWidth/pressureModulation",
         "/annotation/autoErase/customSeconds", "/annotation/toolOpacity",
         "/cursorHighlight/opacity", "/cursorHighlight/borderWidthPoints",
         "/cursorHighlight/clickRipple", "/spotlight/dimAllDisplays", "/zoom/panEasing",
         "/capture/destinationFolder", "/capture/historyCount", "/keystrokeDisplay/enabled",
         "/keystrokeDisplay/position", "/keystrokeDisplay/sizePoints",
         "/keystrokeDisplay/fade/customSeconds", "/system/launchAtLogin", "/system/checkForUpdates",
         "/system/onboardingCompleted", "/system/shortcutOverrides"});
    document["futureSection"] = {{"x", 1}};
    for (const char* pointer :
         {"/annotation/extra", "/annotation/strokeWidth/extra", "/annotation/toolOpacity/eraser",
          "/cursorHighlight/extra", "/keystrokeDisplay/fade/extra", "/system/extra"}) {
        document[Pointer(pointer)] = "ignored";
    }
    EXPECT_EQ(Settings::decode(document), Settings::builtInDefaults());
    EXPECT_EQ(ToolOpacity::decode(json{{"highlighter", 0.7}}),
              (ToolOpacity{1, 1, 1, 1, 1, 0.7, 1}));
}

}  // namespace
}  // namespace scrawlet::core
