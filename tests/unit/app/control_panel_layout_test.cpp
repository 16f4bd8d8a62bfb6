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

TEST(ControlPanelLayout, HitTestingFindsTheButtonAndNothingOnTheMarginsOrSentinel) {
    EXPECT_EQ(controlPanelButtonAt({8, 8}, false), 0u);
    EXPECT_EQ(controlPanelButtonAt({51.9, 53.9}, false), 0u);
    EXPECT_EQ(controlPanelButtonAt({52, 30}, false), 1u) << "buttons abut";
    EXPECT_EQ(controlPanelButtonAt({359.9, 30}, false), 7u);
    EXPECT_EQ(controlPanelButtonAt({360, 30}, false), std::nullopt);
    EXPECT_EQ(controlPanelButtonAt({7.9, 30}, false), std::nullopt);
    EXPECT_EQ(controlPanelButtonAt({30, 7.9}, false), std::nullopt);
    EXPECT_EQ(controlPanelButtonAt({30, 54}, false), std::nullopt);
    EXPECT_EQ(controlPanelButtonAt({30, 20}, true), std::nullopt) << "on the sentinel";
    EXPECT_EQ(controlPanelButtonAt({56, 20}, true), 0u);
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

TEST(ControlPanelOriginText, RoundTripsAndRejectsWhatIsNotAPoint) {
    for (const QPoint p : {QPoint(776, 898), QPoint(-20, 5), QPoint(0, 0)}) {
        EXPECT_EQ(parseControlPanelOriginText(controlPanelOriginText(p)), p);
    }
    EXPECT_EQ(controlPanelOriginText({776, -898}), QStringLiteral("{776, -898}"));
    EXPECT_EQ(parseControlPanelOriginText(u" {  3 ,4 } "), QPoint(3, 4));
    EXPECT_EQ(parseControlPanelOriginText(u"{100.6, 200.4}"), QPoint(101, 200));
    for (const char16_t* bad : {u"", u"{}", u"{1}", u"{1, 2, 3}", u"(1, 2)", u"{a, 2}", u"{1, }",
                                u"{1e9, 0}", u"{nan, 1}", u"{1, 2"}) {
        EXPECT_EQ(parseControlPanelOriginText(bad), std::nullopt)
            << QStringView(bad).toString().toStdString();
    }
    EXPECT_EQ(controlPanelOriginKey(std::numeric_limits<std::uint32_t>::max()),
              QStringLiteral("controlPanel.origin.4294967295"));
}

TEST(PreferencesOriginStore, OriginsSurviveAFreshStoreAndStayPerDisplay) {
    const testing::TemporaryFolder folder;
    const auto file = folder.path() / "not-yet" / "preferences.ini";
    PreferencesOriginStore writer(file);
    EXPECT_EQ(writer.origin(7), std::nullopt) << "no file yet";
    writer.setOrigin(7, {10, -20});
    writer.setOrigin(4294967295u, {300, 400});
    writer.setOrigin(7, {11, -21});

    const PreferencesOriginStore reader(file);
    EXPECT_EQ(reader.origin(7), QPoint(11, -21));
    EXPECT_EQ(reader.origin(4294967295u), QPoint(300, 400));
    EXPECT_EQ(reader.origin(8), std::nullopt);
    const std::string text = testing::TemporaryFolder::read(file);
    EXPECT_NE(text.find("controlPanel.origin.7="), std::string::npos) << text;
    EXPECT_NE(text.find("{11, -21}"), std::string::npos) << text;
}

TEST(PreferencesOriginStore, HandWrittenAndDamagedEntries) {
    const testing::TemporaryFolder folder;
    const auto file = folder.write("preferences.ini",
                                   "[General]\n"
                                   "controlPanel.origin.1={5, 6}\n"
                                   "controlPanel.origin.2=\"{7, 8}\"\n"
                                   "controlPanel.origin.3=somewhere\n");
    const PreferencesOriginStore store(file);
    EXPECT_EQ(store.origin(1), QPoint(5, 6)) << "unquoted, read back as a list";
    EXPECT_EQ(store.origin(2), QPoint(7, 8));
    EXPECT_EQ(store.origin(3), std::nullopt);
}

}  // namespace
}  // namespace scrawlet::ink
