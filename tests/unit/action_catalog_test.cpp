#include "core/action_catalog.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "core/action_id.h"

namespace scrawlet::core {
namespace {

using nlohmann::json;

TEST(ActionIDTable, RawValuesAreExactAndDerivedPropertiesFollowPosition) {
    const auto ids = allCases<ActionID>();
    ASSERT_EQ(ids.size(), 36u);
    EXPECT_EQ(rawValue(ids[0]), "overlay.toggleAnnotation");
    EXPECT_EQ(rawValue(ActionID::zoomToggleFullScreen), "zoom.toggleFullScreen");
    EXPECT_EQ(rawValue(ActionID::annotationCycleAutoErase), "annotation.cycleAutoErase");
    EXPECT_EQ(rawValue(ids[35]), "palette.select5");
    EXPECT_EQ(fromRawValue<ActionID>("tool.pen"), ActionID::toolPen);
    EXPECT_FALSE(fromRawValue<ActionID>("Tool.pen"));
    EXPECT_FALSE(fromRawValue<ActionID>("tool.pen "));

    std::vector<Tool> tools;
    std::vector<int> palette;
    for (const ActionID id : ids) {
        if (const auto tool = selectedTool(id)) {
            tools.push_back(*tool);
        }
        if (const auto index = paletteIndex(id)) {
            palette.push_back(*index);
        }
    }
    const auto allTools = allCases<Tool>();
    EXPECT_EQ(tools, std::vector<Tool>(allTools.begin(), allTools.end()));
    EXPECT_EQ(selectedTool(ActionID::toolSelect), Tool::select);
    EXPECT_EQ(palette, (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(paletteIndex(ActionID::paletteSelect1), 0);
}

json actionObject(std::string id, std::string scope, std::string windows = "",
                  std::string macos = "") {
    return {{"id", id},
            {"label", "Label of " + id},
            {"category", "Tools"},
            {"feature", "AN-03"},
            {"priority", "P0"},
            {"scope", scope},
            {"defaultBinding", {{"macos", macos}, {"windows", windows}}}};
}

json document(std::vector<json> actions) {
    return {{"schemaVersion", 1}, {"actions", actions}};
}

TEST(ActionCatalogDecode, KeepsFileOrderIgnoresExtraKeysAndRoundTrips) {
    json first = actionObject("tool.pen", "annotating", "p", "p");
    first["comment"] = "ignored";
    json doc = document({first, actionObject("future.action", "zooming"),
                         actionObject("app.quit", "global", "ctrl+q", "cmd+q")});
    doc["schemaVersion"] = 7;
    doc["generator"] = {{"name", "hand"}};

    const auto catalog = ActionCatalog::decode(doc.dump());
    ASSERT_TRUE(catalog) << catalog.error().message;
    EXPECT_EQ(catalog->schemaVersion, 7);
    ASSERT_EQ(catalog->actions.size(), 3u);
    const Action& pen = catalog->actions[0];
    EXPECT_EQ(pen.label, "Label of tool.pen");
    EXPECT_EQ(pen.scope, ActionScope::annotating);
    EXPECT_EQ(pen.defaultBinding, (PlatformBindings{"p", "p"}));
    EXPECT_EQ(catalog->actions[1].id, "future.action");
    EXPECT_EQ(catalog->actions[2].defaultBinding[Platform::windows], "ctrl+q");

    const auto encoded = catalog->encode();
    EXPECT_EQ(ActionCatalog::decode(json(encoded)), catalog);
    std::string keys;
    for (const auto& [key, value] : encoded["actions"][0].items()) {
        keys += key + " ";
    }
    EXPECT_EQ(keys, "id label category feature priority scope defaultBinding ");
    EXPECT_EQ(encoded.dump().rfind(R"({"schemaVersion":7,"actions":)", 0), 0u);
}

TEST(ActionCatalogDecode, EveryKeyIsRequired) {
    for (const char* key :
         {"id", "label", "category", "feature", "priority", "scope", "defaultBinding"}) {
        json action = actionObject("tool.pen", "annotating");
        action.erase(key);
        const auto result = ActionCatalog::decode(document({actionObject("a", "global"), action}));
        ASSERT_FALSE(result) << key;
        EXPECT_EQ(result.error().message.rfind("actions[1]: ", 0), 0u) << result.error().message;
        EXPECT_NE(result.error().message.find(std::string("'") + key + "'"), std::string::npos)
            << result.error().message;
    }
    for (const char* key : {"macos", "windows"}) {
        json action = actionObject("tool.pen", "annotating");
        action["defaultBinding"].erase(key);
        EXPECT_FALSE(ActionCatalog::decode(document({action}))) << key;
    }
    for (const char* key : {"schemaVersion", "actions"}) {
        json doc = document({});
        doc.erase(key);
        EXPECT_FALSE(ActionCatalog::decode(doc)) << key;
    }
}

TEST(ActionCatalogDecode, WrongTypesUnknownScopesAndBadTextAreUndecodable) {
    const auto withAction = [](const char* key, json value) {
        json action = actionObject("tool.pen", "annotating");
        action[key] = std::move(value);
        return document({action});
    };
    json bindingNumber = actionObject("tool.pen", "annotating");
    bindingNumber["defaultBinding"]["windows"] = 5;
    json fractionalVersion = document({});
    fractionalVersion["schemaVersion"] = 1.5;
    json booleanVersion = document({});
    booleanVersion["schemaVersion"] = true;

    const json broken[] = {
        withAction("scope", "Global"),
        withAction("scope", ""),
        withAction("id", 15),
        withAction("label", nullptr),
        withAction("defaultBinding", "ctrl+p"),
        document({bindingNumber}),
        fractionalVersion,
        booleanVersion,
        document({json{{"id", "tool.pen"}}}),
        {{"schemaVersion", 1}, {"actions", json::object()}},
        json::array(),
        "actions",
    };
    for (const json& doc : broken) {
        EXPECT_FALSE(ActionCatalog::decode(doc)) << doc.dump();
    }

    const auto global = ActionCatalog::decode(withAction("scope", "Global"));
    EXPECT_EQ(global.error().message, R"(actions[0]: "scope": unknown scope "Global")");

    for (const char* text : {"", "{", "{\"schemaVersion\": 1, \"actions\": []", "null"}) {
        const auto result = ActionCatalog::decode(std::string_view(text));
        ASSERT_FALSE(result) << text;
        EXPECT_FALSE(result.error().message.empty());
    }
    EXPECT_TRUE(ActionCatalog::decode(std::string_view(R"({"schemaVersion":1,"actions":[]})")));
}

ActionCatalog catalogOf(std::vector<json> actions) {
    return *ActionCatalog::decode(document(std::move(actions)));
}

TEST(ActionCatalogBindings, OverridesReplaceOrRemoveDefaults) {
    const ActionCatalog catalog = catalogOf({
        actionObject("tool.pen", "annotating", "p", "cmd+p"),
        actionObject("tool.line", "annotating", ""),
        actionObject("tool.pen", "global", "ctrl+alt+p"),
    });
    const Action& pen = *catalog.action("tool.pen");
    const Action& line = *catalog.action("tool.line");
    EXPECT_EQ(&pen, &catalog.actions[0]);
    EXPECT_EQ(catalog.action("tool.arrow"), nullptr);
    EXPECT_EQ(catalog.action("TOOL.PEN"), nullptr);

    EXPECT_EQ(ActionCatalog::effectiveBinding(pen, Platform::windows, {}), "p");
    EXPECT_EQ(ActionCatalog::effectiveBinding(pen, Platform::macos, {}), "cmd+p");
    EXPECT_EQ(ActionCatalog::effectiveBinding(line, Platform::windows, {}), std::nullopt);

    const ShortcutOverrides overrides{{"tool.pen", "ctrl+shift+p"}, {"tool.arrow", "a"}};
    EXPECT_EQ(ActionCatalog::effectiveBinding(pen, Platform::windows, overrides), "ctrl+shift+p");
    EXPECT_EQ(ActionCatalog::effectiveBinding(pen, Platform::macos, overrides), "ctrl+shift+p");
    EXPECT_EQ(ActionCatalog::effectiveBinding(line, Platform::windows, overrides), std::nullopt);
    EXPECT_EQ(ActionCatalog::effectiveBinding(pen, Platform::windows, {{"tool.pen", ""}}),
              std::nullopt);
    EXPECT_EQ(ActionCatalog::effectiveBinding(line, Platform::windows, {{"tool.line", "l"}}), "l");
}

TEST(ActionCatalogTyping, ControlPlusKeyFindsTheAnnotatingActionOnTheBareKey) {
    const ActionCatalog catalog = catalogOf({
        actionObject("app.quit", "global", "p"),
        actionObject("zoom.increaseLevel", "zooming", "p"),
        actionObject("tool.line", "annotating", "ctrl+p"),
        actionObject("tool.pen", "annotating", "P"),
        actionObject("tool.arrow", "annotating", "p"),
        actionObject("tool.text", "annotating", "t"),
    });
    const auto typed = [&](const char* chord, const ShortcutOverrides& overrides = {}) {
        const Action* action =
            catalog.typingScopeAction(*Chord::parse(chord), Platform::windows, overrides);
        return action ? action->id : std::string("none");
    };
    EXPECT_EQ(typed("ctrl+p"), "tool.pen");
    EXPECT_EQ(typed("ctrl+t"), "tool.text");
    for (const char* chord : {"p", "shift+p", "ctrl+shift+p", "cmd+p", "ctrl+alt+p", "ctrl+q"}) {
        EXPECT_EQ(typed(chord), "none") << chord;
    }
    EXPECT_EQ(typed("ctrl+p", {{"tool.pen", ""}}), "tool.arrow");
    EXPECT_EQ(typed("ctrl+x", {{"tool.text", " X "}}), "tool.text");
    EXPECT_EQ(typed("ctrl+p", {{"tool.pen", "cmd+"}, {"tool.arrow", "shift+p"}}), "none");
}

std::vector<std::vector<std::string>> conflictIds(const ActionCatalog& catalog,
                                                  Platform platform = Platform::windows,
                                                  const ShortcutOverrides& overrides = {}) {
    std::vector<std::vector<std::string>> groups;
    for (const auto& group : catalog.conflicts(platform, overrides)) {
        auto& ids = groups.emplace_back();
        for (const Action& action : group) {
            ids.push_back(action.id);
        }
    }
    return groups;
}

using Groups = std::vector<std::vector<std::string>>;

TEST(ActionCatalogConflicts, GroupsOnlyActionsLiveTogether) {
    const ActionCatalog catalog = catalogOf({
        actionObject("z.global", "global", "ctrl+alt+k"),
        actionObject("m.annotating", "annotating", "ctrl+alt+k"),
        actionObject("b.zooming", "zooming", "ctrl+alt+k"),
        actionObject("y.annotating", "annotating", "x"),
        actionObject("x.annotating", "annotating", "x"),
        actionObject("a.zooming", "zooming", "x"),
        actionObject("c.typing", "typing", "x"),
        actionObject("n.spelling", "annotating", "ctrl+alt+K"),
        actionObject("unbound.one", "global", ""),
        actionObject("unbound.two", "global", ""),
    });
    EXPECT_EQ(conflictIds(catalog), (Groups{
                                        {"b.zooming", "z.global"},
                                        {"m.annotating", "z.global"},
                                        {"x.annotating", "y.annotating"},
                                    }));
    EXPECT_EQ(conflictIds(catalog, Platform::macos), Groups{});
    EXPECT_EQ(conflictIds(catalog, Platform::windows,
                          {{"z.global", ""}, {"a.zooming", "ctrl+alt+k"}, {"c.typing", "x"}}),
              (Groups{{"a.zooming", "b.zooming"}, {"x.annotating", "y.annotating"}}));
}

TEST(ActionCatalogConflicts, GlobalGroupsAreReportedOnceAndSortedById) {
    const ActionCatalog catalog = catalogOf({
        actionObject("spotlight.toggle", "global", "ctrl+alt+s"),
        actionObject("capture.screenshot", "global", "ctrl+alt+s"),
        actionObject("app.quit", "global", "ctrl+alt+s"),
        actionObject("tool.pen", "annotating", "p"),
        actionObject("edit.undo", "annotating", "p"),
    });
    EXPECT_EQ(conflictIds(catalog), (Groups{{"app.quit", "capture.screenshot", "spotlight.toggle"},
                                            {"edit.undo", "tool.pen"}}));

    // The three globals with an annotating action are a new set; found under the annotating
    // scope first, that group stays ahead of the globals' own group, found under zooming.
    EXPECT_EQ(conflictIds(catalog, Platform::windows, {{"tool.pen", "ctrl+alt+s"}}),
              (Groups{{"app.quit", "capture.screenshot", "spotlight.toggle", "tool.pen"},
                      {"app.quit", "capture.screenshot", "spotlight.toggle"}}));
}

std::filesystem::path shippedCatalogPath() {
    return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "resources" /
           "actions.json";
}

TEST(ActionCatalogShipped, CoversEveryActionWithUsableConflictFreeBindings) {
    std::ifstream file(shippedCatalogPath());
    ASSERT_TRUE(file) << shippedCatalogPath();
    std::stringstream text;
    text << file.rdbuf();
    const auto catalog = ActionCatalog::decode(text.str());
    ASSERT_TRUE(catalog) << catalog.error().message;
    EXPECT_EQ(catalog->schemaVersion, 1);

    std::multiset<std::string> ids;
    for (const Action& action : catalog->actions) {
        ids.insert(action.id);
    }
    ASSERT_EQ(catalog->actions.size(), caseCount<ActionID>());
    for (const ActionID id : allCases<ActionID>()) {
        EXPECT_EQ(ids.count(std::string(rawValue(id))), 1u) << rawValue(id);
    }

    for (const Platform platform : allCases<Platform>()) {
        SCOPED_TRACE(rawValue(platform));
        // Spelling-blind: two texts of one chord would also collide when registered.
        std::set<std::pair<ActionScope, std::string>> live;
        for (const Action& action : catalog->actions) {
            SCOPED_TRACE(action.id);
            EXPECT_FALSE(action.label.empty());
            const std::string& text = action.defaultBinding[platform];
            const auto chord = Chord::parse(text);
            ASSERT_TRUE(chord) << text;
            if (action.scope == ActionScope::global) {
                EXPECT_TRUE(chord->isSafeGlobally()) << text;
            }
            EXPECT_TRUE(live.insert({action.scope, chord->specText()}).second) << text;
        }
        for (const auto& [scope, canonical] : live) {
            if (scope != ActionScope::global) {
                EXPECT_FALSE(live.contains({ActionScope::global, canonical})) << canonical;
            }
        }
        EXPECT_TRUE(catalog->conflicts(platform, {}).empty());
    }

    // Super belongs to the desktop on Linux, and these are common GNOME and KDE defaults.
    std::set<std::string> reserved;
    for (const char* text :
         {"ctrl+alt+t", "ctrl+alt+l", "ctrl+alt+d", "ctrl+alt+a", "ctrl+alt+k", "ctrl+alt+v",
          "ctrl+alt+r", "ctrl+alt+x", "ctrl+alt+delete", "ctrl+alt+escape", "ctrl+alt+tab",
          "ctrl+alt+shift+r", "ctrl+escape", "alt+tab", "alt+space"}) {
        reserved.insert(Chord::parse(text)->specText());
    }
    for (const Action& action : catalog->actions) {
        const auto chord = Chord::parse(action.defaultBinding.windows);
        ASSERT_TRUE(chord);
        EXPECT_FALSE(chord->modifiers.contains(Chord::Modifiers::command)) << action.id;
        EXPECT_FALSE(reserved.contains(chord->specText())) << action.id;
    }
}

}  // namespace
}  // namespace scrawlet::core
