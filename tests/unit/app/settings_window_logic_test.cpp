// The settings window's logic that needs no display: colour rounding, value labels and the
// pending set of shortcuts.
#include <gtest/gtest.h>

#include "app/settings/pending_shortcuts.h"
#include "app/settings/settings_labels.h"

namespace {

using scrawlet::core::Action;
using scrawlet::core::ActionCatalog;
using scrawlet::core::Chord;
using scrawlet::core::Colour;
using scrawlet::settings::PendingShortcuts;
namespace s = scrawlet::settings;

TEST(SettingsColour, ComponentsRoundHalfAwayFromZeroAndClamp) {
    // 0.5/255 sits exactly between 0 and 1; 127.5/255 between 127 and 128.
    EXPECT_EQ(s::colourFromComponents(0.5 / 255, 127.5 / 255, 1, 0), (Colour{1, 128, 255, 0}));
    EXPECT_EQ(s::colourFromComponents(0.49 / 255, 127.49 / 255, 254.51 / 255, 1),
              (Colour{0, 127, 255, 255}));
    EXPECT_EQ(s::colourFromComponents(-0.3, 1.7, std::nan(""), 0.4), (Colour{0, 255, 0, 102}));
}

TEST(SettingsColour, EveryChannelValueSurvivesThePicker) {
    for (int v = 0; v <= 255; ++v) {
        const auto c = static_cast<std::uint8_t>(v);
        const Colour colour{c, static_cast<std::uint8_t>(255 - v), c, c};
        ASSERT_EQ(s::colourFromPicked(s::pickerColour(colour)), colour) << v;
    }
}

TEST(SettingsLabels, IntegersTruncateTowardZeroAndDecimalsRound) {
    EXPECT_EQ(s::integerLabel("Size", 48.99, "pt"), "Size: 48pt");
    EXPECT_EQ(s::integerLabel("History count", 7), "History count: 7");
    EXPECT_EQ(s::integerLabel("Custom fade", 0.25, "s"), "Custom fade: 0s");
    EXPECT_EQ(s::decimalLabel("Pen opacity", 0.405, 2), "Pen opacity: 0.41");
    EXPECT_EQ(s::decimalLabel("Pen opacity", 1, 2), "Pen opacity: 1.00");
    EXPECT_EQ(s::decimalLabel("Level", 2.25, 1, "\u00d7"), "Level: 2.2\u00d7");
    EXPECT_EQ(s::presetLabel(0, 2.7), "Stroke width preset 1: 2pt");
    EXPECT_EQ(s::presetLabel(2, 200), "Stroke width preset 3: 200pt");
}

class PendingShortcutsTest : public ::testing::Test {
  protected:
    static Action action(std::string id, std::string label, std::string windows) {
        Action a;
        a.id = std::move(id);
        a.label = std::move(label);
        a.defaultBinding.macos = "cmd+x";
        a.defaultBinding.windows = std::move(windows);
        return a;
    }
    static ActionCatalog catalog() {
        ActionCatalog c;
        c.actions = {action("tool.pen", "Pen", "p"), action("tool.line", "Line", "l"),
                     action("edit.undo", "Undo", "ctrl+z"), action("app.quit", "Quit", "")};
        return c;
    }
    static std::vector<std::string> texts(const PendingShortcuts& p) {
        std::vector<std::string> found;
        for (const auto& row : p.rows()) {
            found.push_back(row.chordText);
        }
        return found;
    }
};

TEST_F(PendingShortcutsTest, RowsShowTheLinuxBindingInForce) {
    PendingShortcuts p(catalog(), {{"tool.line", "ctrl+shift+l"}, {"tool.pen", ""}});
    EXPECT_EQ(texts(p), (std::vector<std::string>{"Unbound", "Ctrl+Shift+L", "Ctrl+Z", "Unbound"}));
    EXPECT_TRUE(PendingShortcuts(std::nullopt, {}).rows().empty());
}

TEST_F(PendingShortcutsTest, ARecordedChordThatIsTakenConflictsOnBothRowsButUnboundNever) {
    PendingShortcuts p(catalog(), {});
    p.capture("tool.pen", *Chord::parse("ctrl+z"));
    p.unbind("tool.line");
    const auto rows = p.rows();
    EXPECT_EQ(PendingShortcuts::conflictLine(rows[0]), "Conflicts with Undo");
    EXPECT_EQ(PendingShortcuts::conflictLine(rows[2]), "Conflicts with Pen");
    EXPECT_EQ(PendingShortcuts::conflictLine(rows[1]), "") << "unbound";
    EXPECT_EQ(PendingShortcuts::conflictLine(rows[3]), "") << "unbound";
    p.capture("tool.line", *Chord::parse("control+z"));
    EXPECT_EQ(PendingShortcuts::conflictLine(p.rows()[2]), "Conflicts with Pen, Line");
}

TEST_F(PendingShortcutsTest, NothingIsSavedUntilAskedAndRevertRestoresTheSavedSet) {
    PendingShortcuts p(catalog(), {{"tool.pen", "ctrl+alt+p"}});
    EXPECT_FALSE(p.canSave());
    EXPECT_FALSE(p.canRevert());
    p.capture("edit.undo", *Chord::parse("shift+escape"));
    EXPECT_TRUE(p.canSave());
    p.revert();
    EXPECT_EQ(p.pending(), (std::map<std::string, std::string>{{"tool.pen", "ctrl+alt+p"}}));
    EXPECT_FALSE(p.canRevert());

    p.capture("edit.undo", *Chord::parse("shift+escape"));
    p.unbind("tool.pen");
    scrawlet::core::Settings document;
    document.system.shortcutOverrides = {{"app.quit", "ctrl+q"}};
    p.save(document);
    const std::map<std::string, std::string> expected{{"edit.undo", "shift+escape"},
                                                      {"tool.pen", ""}};
    EXPECT_EQ(document.system.shortcutOverrides, expected) << "the pending set replaces all";
    EXPECT_FALSE(p.canSave());
    EXPECT_EQ(texts(p)[2], "Shift+Esc");
}

}  // namespace
