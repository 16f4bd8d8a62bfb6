// A draw-mode run on a desktop without a compositing manager: the overlays stay unmapped, so
// the desktop shows instead of a black sheet, a notice says why, and the overlays come (and go,
// and come back with their ink) as a compositing manager starts and stops.
#include <xcb/xcb.h>

#include <algorithm>

#include "app/shell/compositing_notice.h"
#include "tests/e2e/draw_run.h"
#include "tests/e2e/window_survey.h"

namespace {

using namespace scrawlet::e2e;

// The root window's own colour, which shows wherever no mapped window covers it.
constexpr std::uint32_t kDesktopPixel = 0x285aa0;
constexpr QRgb kDesktop = qRgb(0x28, 0x5a, 0xa0);

class DrawWithoutCompositing : public DrawRun {
  protected:
    void SetUp() override {
        DrawRun::SetUp();
        ASSERT_TRUE(XSessionEnvironment::session().stopCompositor());
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        xcb_change_window_attributes(c, root, XCB_CW_BACK_PIXEL, &kDesktopPixel);
        xcb_clear_area(c, 0, root, 0, 0, 0, 0);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        xcb_disconnect(c);
    }

    // The next tests of this process expect a desktop that composites.
    void TearDown() override {
        const auto started = XSessionEnvironment::session().startCompositor();
        EXPECT_TRUE(started) << started.error();
    }

    static bool noticeShown(pid_t pid) {
        const auto shown = shownWindowsOf(pid);
        return std::any_of(shown.begin(), shown.end(), [](const ShownWindow& window) {
            return window.title == scrawlet::shell::CompositingNotice::kTitle;
        });
    }

    static bool awaitNotice(pid_t pid, bool shown) {
        return QTest::qWaitFor([&] { return noticeShown(pid) == shown; }, 10000);
    }
};

TEST_F(DrawWithoutCompositing, OverlaysWaitUnmappedBehindANoticeAndComeWithTheManager) {
    auto run = startAndAwaitBanner();
    EXPECT_NE(run->standardError().find(
                  "draw: no compositing manager is running; the overlays stay hidden until one "
                  "starts\n"),
              std::string::npos);
    // Both monitors, away from the notice in the middle of the first.
    EXPECT_TRUE(awaitColour(QPoint(1800, 900), kDesktop)) << std::hex << onScreen({1800, 900});
    ASSERT_TRUE(awaitNotice(run->pid(), true)) << run->standardError();
    // The notice is the only window up: no overlay, no control panel.
    const auto shown = shownWindowsOf(run->pid());
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_LE(shown[0].width, 600);
    EXPECT_EQ(onScreen(QPoint(100, 100)), kDesktop);
    EXPECT_EQ(onScreen(QPoint(1800, 900)), kDesktop);

    ASSERT_TRUE(XSessionEnvironment::session().startCompositor());
    ASSERT_TRUE(awaitEvents("compositingChanged", 1)) << run->standardError();
    EXPECT_EQ(events("compositingChanged")[0]["note"], "running=true");
    EXPECT_TRUE(awaitNotice(run->pid(), false));
    const QPoint middle(1450, 400);
    drag(QPoint(1300, 400), QPoint(1600, 400));
    EXPECT_TRUE(awaitColour(middle, kInk)) << std::hex << onScreen(middle);
    EXPECT_NE(onScreen(QPoint(1800, 900)), qRgb(0, 0, 0)) << "the overlays are see-through";

    // The manager goes away: hidden again, and back with the ink when another starts.
    ASSERT_TRUE(XSessionEnvironment::session().stopCompositor());
    ASSERT_TRUE(awaitEvents("compositingChanged", 2)) << run->standardError();
    EXPECT_EQ(events("compositingChanged")[1]["note"], "running=false");
    EXPECT_TRUE(awaitNotice(run->pid(), true));
    EXPECT_TRUE(awaitColour(middle, kDesktop)) << std::hex << onScreen(middle);
    EXPECT_EQ(onScreen(QPoint(1800, 900)), kDesktop);

    ASSERT_TRUE(XSessionEnvironment::session().startCompositor());
    ASSERT_TRUE(awaitEvents("compositingChanged", 3)) << run->standardError();
    EXPECT_TRUE(awaitColour(middle, kInk)) << std::hex << onScreen(middle);
    finishWith(*run, SIGTERM);
    EXPECT_EQ(summaryDocument()["strokeCount"], 1);
}

// The pointer aids would be opaque too: on from launch, they wait hidden with the overlays and
// come with the manager.
TEST_F(DrawWithoutCompositing, PointerAidsWaitForTheManager) {
    ASSERT_TRUE(input->movePointer({300, 300}));
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_SPOTLIGHT=1", "SCRAWLET_DRAW_CURSOR_HIGHLIGHT=1",
                                    "SCRAWLET_DRAW_SPOTLIGHT_DIM_ALL=1"});
    ASSERT_TRUE(awaitNotice(run->pid(), true)) << run->standardError();
    EXPECT_TRUE(awaitColour(QPoint(1800, 900), kDesktop)) << std::hex << onScreen({1800, 900});
    EXPECT_TRUE(awaitColour(QPoint(800, 150), kDesktop)) << std::hex << onScreen({800, 150});
    ASSERT_TRUE(XSessionEnvironment::session().startCompositor());
    ASSERT_TRUE(awaitEvents("compositingChanged", 1)) << run->standardError();
    // Dimmed (0.6 by default) far from the pointer on both displays, against the desktop the
    // manager paints, which shows in the hole.
    const auto dimmedHere = [&](QPoint far) {
        const QRgb clear = onScreen({360, 300});
        const QRgb dim = onScreen(far);
        const auto close = [](int value, int expected) { return std::abs(value - expected) <= 3; };
        return close(qRed(dim), int(qRed(clear) * 0.4 + 0.5)) &&
               close(qGreen(dim), int(qGreen(clear) * 0.4 + 0.5)) &&
               close(qBlue(dim), int(qBlue(clear) * 0.4 + 0.5));
    };
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return dimmedHere({800, 150});
        },
        5000))
        << std::hex << onScreen({800, 150}) << " " << onScreen({360, 300});
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return dimmedHere({1800, 900});
        },
        5000))
        << std::hex << onScreen({1800, 900});
    finishWith(*run, SIGTERM);
}

}  // namespace
