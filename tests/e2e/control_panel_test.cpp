#include "app/ink/control_panel.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <memory>
#include <vector>

#include "app/ink/control_panel_layout.h"
#include "app/platform/display_identifier.h"
#include "app/platform/platform_services.h"
#include "tests/e2e/x_session.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::ink {
namespace {

using core::Tool;

class ControlPanelTest : public e2e::GuiTestSuite {
  protected:
    void SetUp() override {
        input = platform::createSyntheticInput();
        ASSERT_TRUE(input && input->canInject());
        screen = QGuiApplication::primaryScreen();
        displayID = platform::displayIdentifier(screen);
        ASSERT_NE(displayID, 0u);
    }

    // Wired as draw mode wires it: a click reports the tool, the controller answers with
    // setActiveTool.
    std::unique_ptr<ControlPanel> makePanel(ControlPanelOriginStore& origins, bool sentinel) {
        auto panel = std::make_unique<ControlPanel>(
            displayID,
            ControlPanelView(
                [this](Tool tool) {
                    picked.push_back(tool);
                    shown->setActiveTool(tool);
                },
                [](Tool tool) {
                    return tool == Tool::pen ? QStringLiteral("Ctrl+Alt+P") : QString();
                },
                sentinel),
            origins);
        shown = panel.get();
        panel->setActiveTool(Tool::pen);
        panel->place(screen->geometry());
        panel->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(panel.get()));
        return panel;
    }

    // What the compositor put on the screen at a point of the panel.
    QRgb onScreen(const ControlPanel& panel, QPoint local) const {
        const QPoint global = panel.position() + local;
        return screen->grabWindow(0, global.x(), global.y(), 1, 1).toImage().pixel(0, 0);
    }

    bool waitForColour(const ControlPanel& panel, QPoint local, QRgb colour) const {
        return QTest::qWaitFor([&] { return onScreen(panel, local) == colour; }, 3000);
    }

    // Inside the rounded corner of a button, clear of its symbol and label.
    static QPoint buttonCorner(std::size_t index, bool sentinel) {
        return controlPanelButtonRect(index, sentinel).topLeft() + QPoint(3, 4);
    }

    void press(QPoint global) {
        ASSERT_TRUE(input->movePointer(global));
        ASSERT_TRUE(input->setButton(Qt::LeftButton, true));
    }

    void release(QPoint global) {
        ASSERT_TRUE(input->movePointer(global));
        ASSERT_TRUE(input->setButton(Qt::LeftButton, false));
    }

    static constexpr QRgb kActiveBlue = qRgb(61, 133, 255);

    std::unique_ptr<platform::SyntheticInput> input;
    QScreen* screen = nullptr;
    std::uint32_t displayID = 0;
    std::vector<Tool> picked;
    ControlPanel* shown = nullptr;
};

TEST_F(ControlPanelTest, ClickingAButtonPicksItsToolAndTheHighlightFollows) {
    const testing::TemporaryFolder folder;
    PreferencesOriginStore origins(folder.path() / "preferences.ini");
    auto panel = makePanel(origins, false);
    EXPECT_EQ(panel->position(), QPoint(776, 898)) << "nothing stored: centred, 120 up";
    EXPECT_EQ(panel->size(), QSize(368, 62));
    EXPECT_EQ(panel->view().buttons()[0].keyLabel(), QStringLiteral("Ctrl+Alt+P"));
    EXPECT_TRUE(waitForColour(*panel, buttonCorner(0, false), kActiveBlue));

    const QPoint lineButton = panel->position() + controlPanelButtonRect(1, false).center();
    press(lineButton);
    release(lineButton + QPoint(1, 1));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !picked.empty(); }, 3000));
    EXPECT_EQ(picked, std::vector<Tool>{Tool::line});
    EXPECT_EQ(panel->view().activeTool(), Tool::line);
    EXPECT_TRUE(waitForColour(*panel, buttonCorner(1, false), kActiveBlue));
    EXPECT_NE(onScreen(*panel, buttonCorner(0, false)), kActiveBlue);
    EXPECT_EQ(panel->position(), QPoint(776, 898)) << "a click does not move the panel";
    EXPECT_EQ(origins.origin(displayID), std::nullopt);

    panel->setActiveTool(Tool::eraser);
    EXPECT_EQ(panel->view().activeTool(), std::nullopt) << "the eraser has no button";
}

TEST_F(ControlPanelTest, ADragMovesThePanelAndANewPanelComesBackWhereItWasLeft) {
    const testing::TemporaryFolder folder;
    PreferencesOriginStore origins(folder.path() / "preferences.ini");
    auto panel = makePanel(origins, false);
    const QPoint start = panel->position();
    const QPoint grabbed = start + controlPanelButtonRect(3, false).center();
    const QPoint delta{-400, -500};
    press(grabbed);
    for (int step = 1; step <= 10; ++step) {
        ASSERT_TRUE(input->movePointer(grabbed + delta * step / 10));
    }
    release(grabbed + delta);
    ASSERT_TRUE(QTest::qWaitFor([&] { return origins.origin(displayID).has_value(); }, 3000));
    EXPECT_EQ(origins.origin(displayID), start + delta);
    // The server's answers to the moves on the way may still be arriving.
    EXPECT_TRUE(QTest::qWaitFor([&] { return panel->position() == start + delta; }, 3000));
    EXPECT_TRUE(picked.empty()) << "a drag that starts on a button is not a click";
    EXPECT_TRUE(waitForColour(*panel, buttonCorner(0, false), kActiveBlue))
        << "drawn where it now is";
    panel.reset();

    PreferencesOriginStore reopened(folder.path() / "preferences.ini");
    auto again = makePanel(reopened, false);
    EXPECT_EQ(again->position(), start + delta);
}

TEST_F(ControlPanelTest, TheSentinelLeadsTheStripInItsSolidColour) {
    const testing::TemporaryFolder folder;
    PreferencesOriginStore origins(folder.path() / "preferences.ini");
    auto panel = makePanel(origins, true);
    EXPECT_EQ(panel->size(), QSize(416, 62));
    EXPECT_EQ(panel->position(), QPoint(752, 898));
    EXPECT_TRUE(waitForColour(*panel, kControlPanelSentinelRect.center(), qRgb(255, 0, 153)));
    EXPECT_TRUE(waitForColour(*panel, buttonCorner(0, true), kActiveBlue));
}

}  // namespace
}  // namespace scrawlet::ink
