#include "app/ink/control_panel_layout.h"

#include <gtest/gtest.h>

#include <limits>

#include "app/ink/control_panel_origin_store.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::ink {
namespace {

using core::Tool;

TEST(ControlPanelLayout, ButtonsFollowEachOtherAfterTheMarginOrTheSentinel) {
    struct Case {
        bool sentinel;
        int firstX;
        int width;
    };
    for (const Case c : {Case{false, 8, 368}, Case{true, 56, 416}}) {
        SCOPED_TRACE(c.sentinel);
        EXPECT_EQ(controlPanelSize(c.sentinel), QSize(c.width, 62));
        EXPECT_EQ(controlPanelButtonRect(0, c.sentinel), QRect(c.firstX, 8, 44, 46));
        EXPECT_EQ(controlPanelButtonRect(7, c.sentinel), QRect(c.firstX + 7 * 44, 8, 44, 46));
        EXPECT_EQ(controlPanelButtonRect(7, c.sentinel).right() + 1 + 8, c.width);
    }
    EXPECT_EQ(kControlPanelTools.size(), 8u);
    EXPECT_EQ(controlPanelButtonIndex(Tool::eraser), std::nullopt);
    EXPECT_EQ(controlPanelButtonIndex(Tool::text), 6u);
    EXPECT_EQ(controlPanelButtonIndex(Tool::select), 7u);
}

TEST(ControlPanelPlacement, DefaultIsCentredWithTheBottom120AboveTheDisplaysBottom) {
    const QSize panel = controlPanelSize(false);
    EXPECT_EQ(defaultControlPanelOrigin({0, 0, 1920, 1080}, panel), QPoint(776, 898));
    EXPECT_EQ(controlPanelOrigin(std::nullopt, {0, 0, 1920, 1080}, panel), QPoint(776, 898));
    // A second display to the right and lower: its own frame, not the first one's.
    EXPECT_EQ(defaultControlPanelOrigin({1920, 200, 1280, 720}, panel), QPoint(2376, 738));
    // Narrower than the panel: still centred, hanging over both sides.
    EXPECT_EQ(defaultControlPanelOrigin({0, 0, 300, 200}, panel), QPoint(-34, 18));
}

TEST(ControlPanelPlacement, StoredOriginIsKeptOnlyWhileThePanelFitsTheDisplay) {
    const QSize panel = controlPanelSize(false);
    const QRect screen{0, 0, 1920, 1080};
    const QPoint home{776, 898};
    struct Case {
        QPoint stored;
        QPoint placed;
    };
    const Case cases[] = {
        {{100, 100}, {100, 100}},
        {{-16, -16}, {-16, -16}},  // over the edge by the slack
        {{1920 - 368 + 16, 1080 - 62 + 16}, {1920 - 368 + 16, 1080 - 62 + 16}},
        {{-17, 100}, home},
        {{100, -17}, home},
        {{1920 - 368 + 17, 100}, home},
        {{100, 1080 - 62 + 17}, home},
        {{2500, 300}, home},  // on another display
    };
    for (const Case& c : cases) {
        EXPECT_EQ(controlPanelOrigin(c.stored, screen, panel), c.placed)
            << c.stored.x() << "," << c.stored.y();
    }

    // Stored on a full-HD display that has since become 1280 × 720.
    const QPoint stored{1500, 900};
    EXPECT_EQ(controlPanelOrigin(stored, screen, panel), stored);
    EXPECT_EQ(controlPanelOrigin(stored, {0, 0, 1280, 720}, panel), QPoint(456, 538));
}

}  // namespace
}  // namespace scrawlet::ink

namespace scrawlet::ink {
namespace {

// Identifiers are numbered afresh by each X server: the monitor's name is what finds a
// dragged panel's place after a new login, and a file from before names only identifiers.
TEST(ControlPanelOriginStore, TheMonitorNameFindsTheOriginAcrossXSessions) {
    const scrawlet::testing::TemporaryFolder folder;
    PreferencesOriginStore store(folder.path() / "preferences.ini");
    store.setOrigin({101, "DP-1"}, QPoint(40, 700));
    EXPECT_EQ(store.origin({377, "DP-1"}), QPoint(40, 700)) << "a new session's identifier";
    EXPECT_EQ(store.origin({101, "HDMI-1"}), QPoint(40, 700)) << "the identifier still works";
    EXPECT_EQ(store.origin({377, "HDMI-1"}), std::nullopt);

    const auto legacy =
        folder.write("legacy.ini", "[General]\ncontrolPanel.origin.55=\"{10, 20}\"\n");
    const PreferencesOriginStore old(legacy);
    EXPECT_EQ(old.origin({55, "DP-2"}), QPoint(10, 20));
}

}  // namespace
}  // namespace scrawlet::ink
