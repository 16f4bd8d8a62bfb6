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

    const auto binding = [](const Action& action, Platform platform,
                            const ShortcutOverrides& overrides = {}) {
        return ActionCatalog::effectiveBinding(action, platform, overrides);
    };
    EXPECT_EQ(binding(pen, Platform::windows), "p");
    EXPECT_EQ(binding(pen, Platform::macos), "cmd+p");
    EXPECT_EQ(binding(line, Platform::windows), std::nullopt);
    const ShortcutOverrides overrides{{"tool.pen", "ctrl+shift+p"}, {"tool.arrow", "a"}};
    EXPECT_EQ(binding(pen, Platform::macos, overrides), "ctrl+shift+p");
    EXPECT_EQ(binding(line, Platform::windows, overrides), std::nullopt);
    EXPECT_EQ(binding(pen, Platform::windows, {{"tool.pen", ""}}), std::nullopt);
    EXPECT_EQ(binding(line, Platform::windows, {{"tool.line", "l"}}), "l");
}

std::filesystem::path shippedCatalogPath() {
    return std::filesystem::path(SCRAWLET_SOURCE_DIR) / "resources" / "actions.json";
}

TEST(ActionCatalogShipped, CoversEveryActionOnceWithUsableConflictFreeBindings) {
    std::ifstream file(shippedCatalogPath());
    ASSERT_TRUE(file) << shippedCatalogPath();
    std::stringstream contents;
    contents << file.rdbuf();
    const auto catalog = ActionCatalog::decode(contents.str());
    ASSERT_TRUE(catalog) << catalog.error().message;
    EXPECT_EQ(catalog->schemaVersion, 1);
    ASSERT_EQ(catalog->actions.size(), caseCount<ActionID>());
    for (const ActionID id : allCases<ActionID>()) {
        EXPECT_TRUE(catalog->action(rawValue(id))) << rawValue(id);
    }

    // Super belongs to the desktop on Linux, and these are common GNOME and KDE defaults.
    std::set<std::string> reserved;
    for (const char* spelled :
         {"ctrl+alt+t", "ctrl+alt+l", "ctrl+alt+d", "ctrl+alt+a", "ctrl+alt+k", "ctrl+alt+v",
          "ctrl+alt+r", "ctrl+alt+x", "ctrl+alt+delete", "ctrl+alt+escape", "ctrl+alt+tab",
          "ctrl+alt+shift+r", "ctrl+escape", "alt+tab", "alt+space"}) {
        reserved.insert(Chord::parse(spelled)->specText());
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
            EXPECT_TRUE(action.scope != ActionScope::global || chord->isSafeGlobally()) << text;
            EXPECT_TRUE(live.insert({action.scope, chord->specText()}).second) << text;
            if (platform == Platform::windows) {
                EXPECT_FALSE(chord->modifiers.contains(Chord::Modifiers::command));
                EXPECT_FALSE(reserved.contains(chord->specText()));
            }
        }
        for (const auto& [scope, canonical] : live) {
            EXPECT_TRUE(scope == ActionScope::global ||
                        !live.contains({ActionScope::global, canonical}))
                << canonical;
        }
        EXPECT_TRUE(catalog->conflicts(platform, {}).empty());
    }
}

}  // namespace
}  // namespace scrawlet::core
