// Live capture in draw mode on the two-monitor desktop: another application's window shows in
// the captured frames, this application's control panel (with its magenta sentinel) does not,
// unless the self-test turns exclusion off.
#include <xcb/xcb.h>

#include <QImage>
#include <QProcess>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/e2e/draw_run.h"

namespace {

using namespace scrawlet::e2e;

constexpr std::uint32_t kYellow = 0xffff00;

// Plain windows of another client, yellow, 200 × 150 at (100, 100) of monitor A and, when
// asked, at the same place on monitor B.
class OtherApplication {
  public:
    explicit OtherApplication(bool onBoth = false) : c_(xcb_connect(nullptr, nullptr)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
        for (const std::int16_t x : {std::int16_t(100), std::int16_t(1060)}) {
            if (x > 960 && !onBoth) {
                break;
            }
            const xcb_window_t window = xcb_generate_id(c_);
            const std::uint32_t values[] = {kYellow, 1};
            xcb_create_window(c_, XCB_COPY_FROM_PARENT, window, screen->root, x, 100, 200, 150, 0,
                              XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                              XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
            xcb_map_window(c_, window);
            windows_.push_back(window);
        }
        std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    }
    ~OtherApplication() { xcb_disconnect(c_); }

    // Paints every window in `colour`, as an application redrawing itself would.
    void repaint(std::uint32_t colour) {
        for (const xcb_window_t window : windows_) {
            xcb_change_window_attributes(c_, window, XCB_CW_BACK_PIXEL, &colour);
            xcb_clear_area(c_, 0, window, 0, 0, 0, 0);
        }
        std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    }

  private:
    xcb_connection_t* c_;
    std::vector<xcb_window_t> windows_;
};

class DrawCapture : public DrawRun {
  protected:
    void chord(std::initializer_list<std::uint32_t> keys) {
        for (const auto k : keys) ASSERT_TRUE(input->setKey(k, true));
        for (auto k = std::rbegin(keys); k != std::rend(keys); ++k)
            ASSERT_TRUE(input->setKey(*k, false));
    }

    std::filesystem::path dump() const { return tmp.path() / "frame.png"; }

    // `during` runs once frames have started.
    nlohmann::ordered_json captureRun(std::vector<std::string> extra,
                                      const std::function<void()>& during = {}) {
        // The dump is the first frame of either monitor, whichever comes first.
        OtherApplication other(true);
        extra.insert(extra.end(), {"SCRAWLET_DRAW_CAPTURE=1", "SCRAWLET_DRAW_PANEL_SENTINEL=1",
                                   "SCRAWLET_DRAW_CAPTURE_DUMP=" + dump().string()});
        auto run = startAndAwaitBanner(extra);
        banner = run->standardError();
        // Frames keep coming while the displays are watched; wait for a good number of them.
        EXPECT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(dump()); }, 10000));
        if (during) {
            during();
        }
        QTest::qWait(500);
        finishWith(*run, SIGUSR2);
        return summaryDocument();
    }
    std::string banner;
};

TEST_F(DrawCapture, FramesShowOtherWindowsButNotOurs) {
    const auto summary = captureRun({});
    EXPECT_NE(banner.find("draw: capture starting on 2 display(s), excluding this application\n"),
              std::string::npos)
        << banner;
    EXPECT_GT(summary["captureFrameCount"].get<int>(), 5);
    EXPECT_EQ(summary["captureSelfCaptureFrames"], 0);
    EXPECT_EQ(summary["captureRebuilds"], 0);
    const QImage frame(QString::fromStdString(dump().string()));
    ASSERT_EQ(frame.size(), QSize(960, 1080));
    EXPECT_EQ(frame.pixel(150, 150) & 0xffffff, kYellow) << std::hex << frame.pixel(150, 150);
    EXPECT_NE(frame.pixel(50, 50) & 0xffffff, kYellow);
}

TEST_F(DrawCapture, TheSelfTestWithoutExclusionSeesThePanelSentinel) {
    const auto summary = captureRun({"SCRAWLET_DRAW_CAPTURE_SELFTEST=1"});
    EXPECT_NE(banner.find("[SELFTEST: exclusion OFF]"), std::string::npos) << banner;
    EXPECT_GT(summary["captureSelfCaptureFrames"].get<int>(), 0);
}

// The end of screen blanking is taken as the displays waking: each is captured afresh.
TEST_F(DrawCapture, EachDisplayIsBuiltAgainWhenTheScreenStopsBlanking) {
    const auto summary = captureRun({}, [&] {
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        xcb_force_screen_saver(c, XCB_SCREEN_SAVER_ACTIVE);
        xcb_force_screen_saver(c, XCB_SCREEN_SAVER_RESET);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        xcb_disconnect(c);
        EXPECT_TRUE(awaitEvents("captureRebuild", 2));
    });
    EXPECT_EQ(summary["captureRebuilds"], 2);
    const auto rebuilds = events("captureRebuild");
    ASSERT_EQ(rebuilds.size(), 2u);
    EXPECT_NE(rebuilds[0]["note"].get<std::string>().find(" why=screensDidWake"), std::string::npos)
        << rebuilds[0].dump();
    EXPECT_GT(summary["captureFrameCount"].get<int>(), 5);
}

// The end of a suspend, as logind announces it on the system bus, is taken as the displays
// waking; its start is not. A private bus stands in for the system's.
TEST_F(DrawCapture, EachDisplayIsBuiltAgainAfterASuspend) {
    QProcess bus;
    bus.start("dbus-daemon", {"--session", "--nofork", "--nopidfile", "--print-address=1"});
    ASSERT_TRUE(bus.waitForReadyRead(5000)) << "dbus-daemon did not start";
    const std::string address = bus.readLine().trimmed().toStdString();
    const auto announce = [&](const char* sleeping) {
        EXPECT_EQ(QProcess::execute("dbus-send", {QString::fromStdString("--bus=" + address),
                                                  "--type=signal", "/org/freedesktop/login1",
                                                  "org.freedesktop.login1.Manager.PrepareForSleep",
                                                  QString("boolean:") + sleeping}),
                  0);
    };
    const auto summary = captureRun({"DBUS_SYSTEM_BUS_ADDRESS=" + address}, [&] {
        announce("true");
        announce("false");
        EXPECT_TRUE(awaitEvents("captureRebuild", 2));
    });
    bus.kill();
    bus.waitForFinished();
    EXPECT_EQ(summary["captureRebuilds"], 2);
    for (const auto& rebuild : events("captureRebuild")) {
        EXPECT_NE(rebuild["note"].get<std::string>().find(" why=screensDidWake"), std::string::npos)
            << rebuild.dump();
    }
}

// The lens shows another application's window magnified round the pointer, without this
// application's ink, and goes away from its shortcut.
TEST_F(DrawCapture, TheLensMagnifiesOtherWindowsButNotOurInk) {
    OtherApplication other;  // yellow, x 100…300, y 100…250
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_PANEL=0"});
    drag({120, 175}, {280, 175});
    ASSERT_TRUE(awaitColour({200, 175}, kInk));
    const QRgb desktop = onScreen({200, 330});
    ASSERT_NE(desktop & 0xffffff, kYellow);
    ASSERT_TRUE(input->movePointer({200, 175}));
    chord({0xffe3u, 0xffe9u, 0x7au});  // Ctrl+Alt+Z
    ASSERT_TRUE(awaitEvents("lensToggle", 1)) << run->standardError();
    EXPECT_EQ(events("lensToggle")[0]["note"], "active=true zoom=2.0 size=400.0");
    // Level 2 round (200, 175) in a 400-point lens held at the top-left corner: 2 points of
    // lens per point of screen, so y 240 of the window lands at y 330 and our stroke's line
    // (y 175) would land at y 200, where the window's yellow shows instead.
    EXPECT_TRUE(awaitColour({200, 330}, qRgb(255, 255, 0))) << std::hex << onScreen({200, 330});
    EXPECT_EQ(onScreen({200, 200}) & 0xffffff, kYellow) << std::hex << onScreen({200, 200});
    EXPECT_NE(onScreen({200, 20}) & 0xffffff, kYellow);
    // With the pointer still, what the window draws next still reaches the lens.
    other.repaint(0x0000ff);
    EXPECT_TRUE(awaitColour({200, 330}, qRgb(0, 0, 255))) << std::hex << onScreen({200, 330});
    // Moved to (400, 500), the lens leaves nothing behind: neither where only the old lens
    // was, nor in the new lens's corners, which the old one's blue covered.
    ASSERT_TRUE(input->movePointer({400, 500}));
    EXPECT_TRUE(awaitColour({60, 280}, desktop)) << std::hex << onScreen({60, 280});
    EXPECT_TRUE(awaitColour({205, 305}, desktop)) << std::hex << onScreen({205, 305});

    chord({0xffe3u, 0xffe9u, 0x7au});
    ASSERT_TRUE(awaitEvents("lensToggle", 2));
    EXPECT_TRUE(awaitColour({200, 330}, desktop)) << std::hex << onScreen({200, 330});
    finishWith(*run, SIGUSR2);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["lensActive"], false);
    EXPECT_GT(summary["lensPresentedFrames"].get<int>(), 0);
}

// The full-screen zoom fills the display under the pointer with the enlarged quarter round
// it, leaves our ink out of what it enlarges, and leaves the other display alone.
TEST_F(DrawCapture, TheFullScreenZoomEnlargesTheDisplayUnderThePointer) {
    OtherApplication other(true);  // yellow, x 100…300, y 100…250 on both monitors
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_PANEL=0"});
    drag({320, 400}, {420, 400});
    ASSERT_TRUE(awaitColour({370, 400}, kInk));
    ASSERT_TRUE(input->movePointer({200, 175}));
    chord({0xffe3u, 0xffe9u, 0xffe1u, 0x7au});  // Ctrl+Alt+Shift+Z
    ASSERT_TRUE(awaitEvents("fullScreenZoomToggle", 1)) << run->standardError();
    // Level 2 near the top-left corner shows the display's top-left quarter: (x, y) on the
    // screen is (x / 2, y / 2) of the display, so the window spans 200…600 by 200…500, and
    // our stroke at y 400 would have come out at y 800.
    EXPECT_TRUE(awaitColour({550, 450}, qRgb(255, 255, 0))) << std::hex << onScreen({550, 450});
    EXPECT_NE(onScreen({150, 150}) & 0xffffff, kYellow) << std::hex << onScreen({150, 150});
    EXPECT_NE(onScreen({740, 800}), kInk);
    EXPECT_EQ(onScreen({960 + 150, 150}) & 0xffffff, kYellow);
    // A step up is kept for the next run.
    chord({0xffe3u, 0x3du});  // Ctrl+=
    ASSERT_TRUE(awaitEvents("zoomLevelChange", 1));
    EXPECT_EQ(events("zoomLevelChange")[0]["note"], "level=2.5");
    const auto savedLevel = [&] {
        std::ifstream file(tmp.path() / "scrawlet" / "settings.json");
        const auto document = nlohmann::json::parse(file, nullptr, false);
        return document.is_object() ? document["zoom"]["level"].get<double>() : 0.0;
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return savedLevel() == 2.5; }, 5000)) << savedLevel();

    chord({0xffe3u, 0xffe9u, 0xffe1u, 0x7au});
    ASSERT_TRUE(awaitEvents("fullScreenZoomToggle", 2));
    EXPECT_TRUE(awaitColour({550, 450}, qRgb(255, 255, 0), false));
    finishWith(*run, SIGUSR2);
    EXPECT_GT(summaryDocument()["fullScreenZoomPresentedFrames"].get<int>(), 0);
}

// The lens moves to the monitor the pointer moves to, and is back there once that monitor has
// gone and come back, capture having been built again for the new arrangement.
TEST_F(DrawCapture, TheLensFollowsThePointerAcrossMonitorsAndSurvivesOneGoingAway) {
    OtherApplication other(true);  // yellow, x 100…300 of both monitors, y 100…250
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_PANEL=0"});
    const QRgb desktop = onScreen({200, 330});
    ASSERT_TRUE(input->movePointer({200, 175}));
    chord({0xffe3u, 0xffe9u, 0x7au});  // Ctrl+Alt+Z
    ASSERT_TRUE(awaitColour({200, 330}, qRgb(255, 255, 0))) << run->standardError();
    ASSERT_TRUE(input->movePointer({960 + 200, 175}));
    EXPECT_TRUE(awaitColour({960 + 200, 330}, qRgb(255, 255, 0)));
    EXPECT_TRUE(awaitColour({200, 330}, desktop));

    const XSession& session = XSessionEnvironment::session();
    ASSERT_TRUE(input->movePointer({200, 175}));
    ASSERT_TRUE(awaitColour({200, 330}, qRgb(255, 255, 0)));
    ASSERT_TRUE(session.removeMonitor("B"));
    ASSERT_TRUE(awaitEvents("captureRebuild", 1)) << run->standardError();
    ASSERT_TRUE(session.addMonitor(XSession::twoMonitors()[1]));
    ASSERT_TRUE(input->movePointer({960 + 200, 175}));
    EXPECT_TRUE(awaitColour({960 + 200, 330}, qRgb(255, 255, 0)))
        << std::hex << onScreen({960 + 200, 330});
    finishWith(*run, SIGUSR2);
    EXPECT_EQ(summaryDocument()["lensActive"], true);
}

}  // namespace
