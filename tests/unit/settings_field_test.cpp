#include "core/settings_field.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "core/number_format.h"

namespace scrawlet::core {
namespace {

using nlohmann::json;

json::json_pointer pointer(std::string_view dotted) {
    std::string text = "/" + std::string(dotted);
    std::ranges::replace(text, '.', '/');
    return json::json_pointer(text);
}

// Every leaf of the built-in document, plus the beautify object it leaves out.
std::set<std::string> documentLeaves() {
    json document = json::parse(Settings::defaultDocument);
    document["annotation"]["beautify"] = {{"enabled", false}, {"toleranceFraction", 0.08}};
    std::set<std::string> leaves;
    const json flat = document.flatten();
    for (const auto& [path, value] : flat.items()) {
        std::string dotted = path.substr(1);
        std::ranges::replace(dotted, '/', '.');
        // Lists and maps are one field each: "annotation.palette.0" belongs to the palette.
        while (!dotted.empty() && std::isdigit(static_cast<unsigned char>(dotted.back()))) {
            dotted.erase(dotted.rfind('.'));
        }
        leaves.insert(dotted);
    }
    leaves.erase("schemaVersion");
    return leaves;
}

// A value of the field's kind that is valid and not its default.
FieldValue otherValue(const SettingsField& field, const Settings& settings) {
    FieldValue value = field.value(settings);
    std::visit(
        [&](auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, bool>) {
                v = !v;
            } else if constexpr (std::is_same_v<T, double>) {
                if (!field.range) {
                    v += 1;
                } else {
                    v = v == field.range->upperBound ? field.range->lowerBound
                                                     : field.range->upperBound;
                }
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                if (field.kind() == FieldKind::index) {
                    const auto count = findSettingsField(field.indexes)->entryCount(settings);
                    v = static_cast<std::int64_t>(count) - 1;
                } else {
                    v = static_cast<std::int64_t>(field.range->lowerBound);
                }
            } else if constexpr (std::is_same_v<T, FieldChoice>) {
                v.index = (v.index + 1) % field.choices().size();
            } else if constexpr (std::is_same_v<T, Colour>) {
                v = {1, 2, 3, 4};
            } else if constexpr (std::is_same_v<T, std::string>) {
                v = "/tmp/shots";
            } else if constexpr (std::is_same_v<T, std::vector<Colour>>) {
                v.back() = {9, 8, 7, 255};
            } else if constexpr (std::is_same_v<T, std::vector<double>>) {
                v.push_back(field.range->lowerBound);
            } else {
                v["tool.pen"] = "ctrl+alt+p";
            }
        },
        value);
    return value;
}

TEST(SettingsFieldTable, DescribesEveryKeyOfTheDocumentOnceInSectionsItKnows) {
    std::set<std::string> paths;
    for (const SettingsField& field : settingsFields()) {
        EXPECT_TRUE(paths.insert(std::string(field.path)).second) << "twice: " << field.path;
        EXPECT_TRUE(findSettingsSection(field.sectionPath())) << field.path;
    }
    EXPECT_EQ(paths, documentLeaves());

    // Reading order: a section is entered once, so its fields stand together.
    std::set<std::string_view> left;
    std::string_view current;
    for (const SettingsField& field : settingsFields()) {
        if (field.sectionPath() != current) {
            EXPECT_FALSE(left.contains(field.sectionPath())) << field.path;
            left.insert(current);
            current = field.sectionPath();
        }
    }
}

TEST(SettingsFieldTable, DefaultsAreTheBuiltInDocument) {
    EXPECT_EQ(Settings{}, Settings::builtInDefaults());
    const json document = json::parse(Settings::defaultDocument);
    EXPECT_EQ(document[pointer("cursorHighlight.sizePoints")], 48);
    EXPECT_EQ(findSettingsField("cursorHighlight.sizePoints")->defaultValue(), FieldValue(48.0));
    EXPECT_EQ(findSettingsField("keystrokeDisplay.fade.mode")->defaultValue(),
              FieldValue(FieldChoice{2}))
        << "threeSeconds, unlike the annotation's auto-erase";
}

TEST(SettingsFieldTable, EveryFieldRoundTripsAndLandsUnderItsKey) {
    for (const SettingsField& field : settingsFields()) {
        Settings changed;
        const FieldValue value = otherValue(field, changed);
        ASSERT_NE(value, field.defaultValue()) << field.path;
        ASSERT_TRUE(field.assign(changed, value)) << field.path;
        ASSERT_NE(changed, Settings{}) << field.path;

        const json encoded = changed.encode();
        ASSERT_TRUE(encoded.contains(pointer(field.path))) << field.path;
        const auto decoded = Settings::decode(encoded);
        ASSERT_TRUE(decoded) << field.path << ": " << decoded.error().description();
        EXPECT_EQ(*decoded, changed) << field.path;
        EXPECT_EQ(field.value(*decoded), value) << field.path;
    }
}

TEST(SettingsFieldTable, RequiredKeysAreMissedAndBoundsAreInclusiveWhereverTheFieldIs) {
    for (const SettingsField& field : settingsFields()) {
        json document = Settings{}.encode();
        if (field.presence == FieldPresence::required) {
            document[pointer(field.sectionPath())].erase(std::string(field.key()));
            const auto decoded = Settings::decode(document);
            ASSERT_FALSE(decoded) << field.path;
            EXPECT_FALSE(decoded.error().isSettingsError());
            EXPECT_TRUE(decoded.error().description().ends_with("key '" + std::string(field.key()) +
                                                                "' not found"))
                << decoded.error().description();
        }
        if (field.kind() != FieldKind::number || !field.range) {
            continue;
        }
        const ClosedRange<double> range = *field.range;
        for (const double bound : {range.lowerBound, range.upperBound}) {
            json atBound = Settings{}.encode();
            atBound[pointer(field.path)] = bound;
            EXPECT_TRUE(Settings::decode(atBound)) << field.path << " " << bound;
        }
        json beyond = Settings{}.encode();
        beyond[pointer(field.path)] = range.upperBound + 1;
        std::string name(field.path);
        if (name.starts_with("keystrokeDisplay.fade.")) {
            name.replace(0, 21, "annotation.autoErase");
        }
        const auto decoded = Settings::decode(beyond);
        ASSERT_FALSE(decoded) << field.path;
        EXPECT_EQ(decoded.error().description(),
                  name + " is " + shortestDecimal(range.upperBound + 1) + ", outside " +
                      shortestDecimal(range.lowerBound) + "..." +
                      shortestDecimal(range.upperBound));
    }
}

TEST(SettingsFieldAssign, BringsValuesIntoRangeAndRefusesWhatCannotBe) {
    const auto field = [](std::string_view path) { return *findSettingsField(path); };
    Settings s;
    EXPECT_TRUE(field("cursorHighlight.sizePoints").assign(s, 1000.0));
    EXPECT_EQ(s.cursorHighlight.sizePoints, 400);
    EXPECT_TRUE(field("spotlight.dimOpacity").assign(s, -0.5));
    EXPECT_EQ(s.spotlight.dimOpacity, 0);
    EXPECT_TRUE(field("capture.historyCount").assign(s, std::int64_t{5'000'000'000}));
    EXPECT_EQ(s.capture.historyCount, 50);
    EXPECT_TRUE(field("annotation.strokeWidth.presetsPoints")
                    .assign(s, std::vector<double>{0, 4, 900, 16}));
    EXPECT_EQ(s.annotation.strokeWidth.presetsPoints, (std::vector<double>{0.001, 4, 200, 16}));
    EXPECT_TRUE(field("annotation.strokeWidth.selectedIndex").assign(s, std::int64_t{3}));
    EXPECT_TRUE(Settings::decode(s.encode())) << "what was brought in is a valid document";

    // A shorter list takes the selection inside it along.
    EXPECT_TRUE(
        field("annotation.strokeWidth.presetsPoints").assign(s, std::vector<double>{1, 2, 3}));
    EXPECT_EQ(s.annotation.strokeWidth.selectedIndex, 2);

    const Settings before = s;
    EXPECT_FALSE(field("zoom.level").assign(s, std::nan("")));
    EXPECT_FALSE(field("zoom.level").assign(s, std::int64_t{3})) << "another kind";
    EXPECT_FALSE(field("zoom.lensShape").assign(s, FieldChoice{2}));
    EXPECT_FALSE(field("annotation.palette").assign(s, std::vector<Colour>(4)));
    EXPECT_FALSE(field("annotation.strokeWidth.presetsPoints").assign(s, std::vector<double>{1}));
    EXPECT_EQ(s, before);
}

}  // namespace
}  // namespace scrawlet::core
