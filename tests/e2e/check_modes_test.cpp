// The overlay and text-input check modes on the two-monitor test display with its compositing
// manager: what they log, what they print and how they end.
#include <xcb/xcb.h>

#include "tests/e2e/draw_run.h"

namespace scrawlet::e2e {
namespace {

using namespace std::chrono_literals;

constexpr const char* kOverlayBannerEnd = "SIGUSR1 toggles click-through, SIGUSR2 quits.";
const QRgb kSentinel = qRgb(255, 0, 255);

class CheckModes : public DrawRun {
  protected:
    std::filesystem::path checkLog() const { return tmp.path() / "check.jsonl"; }

    std::vector<nlohmann::json> checkRecords(const std::string& name) const {
        std::vector<nlohmann::json> found;
        for (auto& record : scrawlet::testing::readJsonLines(checkLog())) {
            if (record.value("event", "") == name || record.value("kind", "") == name) {
                found.push_back(std::move(record));
            }
        }
        return found;
    }

    bool awaitRecords(const std::string& name, std::size_t count) const {
        return QTest::qWaitFor([&] { return checkRecords(name).size() >= count; }, 10000);
    }

    std::unique_ptr<scrawlet::testing::ChildProcess> startOverlay(
        std::vector<std::string> extra = {}) {
        extra.push_back("SCRAWLET_MODE=overlay");
        extra.push_back("SCRAWLET_OVERLAY_LOG=" + checkLog().string());
        auto run = start(std::move(extra));
        EXPECT_TRUE(run->waitForError(kOverlayBannerEnd, 30s)) << run->standardError();
        return run;
    }
};

TEST_F(CheckModes, OverlayShowsOneSentinelPanelPerScreenAndLogsItsGeometry) {
    auto run = startOverlay();
    EXPECT_NE(run->standardError().find("  panels             : 2 (one per screen)\n"),
              std::string::npos)
        << run->standardError();
    EXPECT_NE(run->standardError().find("  activationPolicy   : accessory\n"), std::string::npos);
    EXPECT_NE(run->standardError().find("  global click monitor: on\n"), std::string::npos);
    ASSERT_TRUE(awaitRecords("screenState", 2));
    const auto geometry = checkRecords("geometry");
    ASSERT_EQ(geometry.size(), 2u);
    std::map<std::string, nlohmann::json> byScreen;
    for (const auto& record : geometry) byScreen[record["screen"]] = record;
    ASSERT_EQ(byScreen.size(), 2u);
    EXPECT_NE(byScreen["A"]["displayID"], byScreen["B"]["displayID"]);
    EXPECT_EQ(byScreen["B"]["frameX"], 960.0);
    EXPECT_EQ(byScreen["B"]["sentinelX"], 1000.0);
    EXPECT_EQ(byScreen["A"]["sentinelY"], 40.0);
    EXPECT_EQ(byScreen["A"]["sentinelRGB"], nlohmann::json::array({255, 0, 255}));
    const auto state = checkRecords("screenState").front();
    EXPECT_TRUE(state.contains("menuBarInsetPoints"));
    EXPECT_EQ(state["visibleFrameHeight"], 1080.0);
    // Both sentinels reach the screen, the compositor blending the transparent rest away.
    EXPECT_TRUE(awaitColour({50, 50}, kSentinel));
    EXPECT_TRUE(awaitColour({1010, 50}, kSentinel));
    EXPECT_NE(onScreen({300, 300}), kSentinel) << "the panel is transparent elsewhere";

    click({300, 300});
    ASSERT_TRUE(awaitRecords("mouseDown", 1));
    EXPECT_EQ(checkRecords("mouseDown").front()["note"], "mouseDown in panel");
    EXPECT_EQ(checkRecords("mouseDown").front()["ignoresMouseEvents"], false);
    ASSERT_TRUE(awaitRecords("globalClick", 1));
    EXPECT_EQ(checkRecords("globalClick").front()["note"], "button=1");

    run->signal(SIGUSR1);
    ASSERT_TRUE(awaitRecords("clickThroughToggle", 1));
    EXPECT_EQ(checkRecords("clickThroughToggle").front()["note"], "ignoresMouseEvents=true");

    run->signal(SIGUSR2);
    ASSERT_EQ(run->wait(20s), 0) << run->standardError();
    const auto records = scrawlet::testing::readJsonLines(checkLog());
    ASSERT_GE(records.size(), 2u);
    EXPECT_EQ(records.front()["event"], "start");
    EXPECT_EQ(records.back()["event"], "finish");
    EXPECT_EQ(records.back()["note"], "SIGUSR2");
    ASSERT_EQ(checkRecords("overlayResult").size(), 1u);
    EXPECT_EQ(checkRecords("overlayResult").front()["everBecameFrontmost"], false);
}

// Without the grant the run goes on and says what it relies on instead.
TEST_F(CheckModes, OverlayRecordsWorkspaceSwitchesAndEndsAtItsTimeLimit) {
    auto run =
        startOverlay({"SCRAWLET_OVERLAY_SECONDS=4", "SCRAWLET_DENY_PERMISSIONS=accessibility"});
    EXPECT_NE(
        run->standardError().find("  global click monitor: off (Accessibility not granted)\n"),
        std::string::npos)
        << run->standardError();
    ASSERT_EQ(checkRecords("globalMonitorUnavailable").size(), 1u);
    EXPECT_EQ(checkRecords("globalMonitorUnavailable").front()["note"],
              "Accessibility not granted; relying on didActivateApplication");
    ASSERT_TRUE(awaitRecords("geometry", 2));
    xcb_connection_t* c =
        xcb_connect(XSessionEnvironment::session().displayName().c_str(), nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const char name[] = "_NET_CURRENT_DESKTOP";
    auto* atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof name - 1, name), nullptr);
    const std::uint32_t desktop = 2;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, atom->atom, XCB_ATOM_CARDINAL, 32, 1,
                        &desktop);
    std::free(atom);
    xcb_flush(c);
    EXPECT_TRUE(awaitRecords("activeSpaceDidChange", 2));
    xcb_disconnect(c);
    for (const auto& record : checkRecords("activeSpaceDidChange")) {
        EXPECT_EQ(record["note"], "workspace=2");
        EXPECT_EQ(record["onActiveSpace"], true) << "the panels join every workspace";
    }
    ASSERT_EQ(run->wait(30s), 0) << run->standardError();
    const auto records = scrawlet::testing::readJsonLines(checkLog());
    EXPECT_EQ(records.back()["note"], "timeout");
}

TEST_F(CheckModes, AnUnwritableOutputEndsTheCheckBeforeAnyPanel) {
    const std::string missing = (tmp.path() / "missing" / "out").string();
    const std::string fine = (tmp.path() / "fine.json").string();
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"SCRAWLET_MODE=overlay", "SCRAWLET_OVERLAY_LOG=" + missing},
         "overlay: log write failed: "},
        {{"SCRAWLET_MODE=textspike", "SCRAWLET_TEXTSPIKE_LOG=" + missing},
         "textspike: log write failed: "},
        {{"SCRAWLET_MODE=capture", "SCRAWLET_CAPTURE_LOG=" + missing,
          "SCRAWLET_CAPTURE_SUMMARY=" + fine},
         "capture: log write failed: "},
        {{"SCRAWLET_MODE=capture", "SCRAWLET_CAPTURE_LOG=" + fine,
          "SCRAWLET_CAPTURE_SUMMARY=" + missing},
         "capture: summary write failed: " + missing + ": No such file or directory\n"},
    };
    for (const auto& [env, line] : cases) {
        auto run = start(env);
        ASSERT_EQ(run->wait(30s), 3) << run->standardError();
        EXPECT_TRUE(run->standardError().starts_with(line)) << run->standardError();
        EXPECT_EQ(run->standardError().find("pid"), std::string::npos) << "no banner";
    }
}

TEST_F(CheckModes, TextSpikeScriptedRoutesCountTheirKeysAndReport) {
    auto run = start({"SCRAWLET_MODE=textspike", "SCRAWLET_TEXTSPIKE_LOG=" + checkLog().string()});
    ASSERT_EQ(run->wait(40s), 0) << run->standardError();
    const std::string& out = run->standardError();
    const auto has = [&](const std::string& text) {
        EXPECT_NE(out.find(text), std::string::npos) << "missing: " << text << "\n" << out;
    };
    has("scrawlet R1 spike — keyboard input to a non-activating overlay\n");
    has("  accessibility: granted\n");
    has("  route A  (keyboard grab on the panel, focus unchanged): keys=5/5 ");
    has(" stoleFocus=false\n  route A2");
    has("  route A2 (input focus to the panel): keysToPanel=5/5 ");
    has(" stoleFocus=true\n  route B");
    has("  route B  (raw-key monitor, observes only): monitorHits=5/5 stoleFocus=false\n");
    has("  route C  (consuming keyboard grab, monitor as control): tapHits=5/5 "
        "monitorHits=5/5 stoleFocus=false\n");
    EXPECT_TRUE(
        out.ends_with("  Full log: the FrontmostLog path printed above.\n"
                      "R1 spike complete\n"))
        << out;
    has("FrontmostLog at " + checkLog().string());

    const auto records = scrawlet::testing::readJsonLines(checkLog());
    ASSERT_GE(records.size(), 2u);
    EXPECT_EQ(records[1]["note"], "R1 text input; accessibility=true");
    std::vector<std::string> events;
    for (const auto& record : records) events.push_back(record["event"]);
    const std::vector<std::string> expected = {"start",
                                               "textInput",
                                               "routeA.madeKey",
                                               "routeA.counted",
                                               "routeA2.activated",
                                               "routeA2.counted",
                                               "routeB.installed",
                                               "routeB.counted",
                                               "routeC.counted",
                                               "finish"};
    std::erase(events, "didActivateApplication");
    EXPECT_EQ(events, expected);
    EXPECT_EQ(checkRecords("routeC.counted").front()["note"], "tapHits=5 monitorHits=5");
}

TEST_F(CheckModes, TextSpikeWithoutAccessibilitySkipsTheConsumingRoute) {
    auto run = start({"SCRAWLET_MODE=textspike", "SCRAWLET_TEXTSPIKE_LOG=" + checkLog().string(),
                      "SCRAWLET_DENY_PERMISSIONS=accessibility"});
    ASSERT_EQ(run->wait(40s), 0) << run->standardError();
    const std::string& out = run->standardError();
    EXPECT_NE(out.find("  accessibility: not granted\n"), std::string::npos) << out;
    EXPECT_NE(out.find("  route C  (consuming keyboard grab, monitor as control): skipped "
                       "(Accessibility not granted)\n"),
              std::string::npos)
        << out;
    ASSERT_EQ(checkRecords("routeC.skipped").size(), 1u);
    EXPECT_EQ(checkRecords("routeC.skipped").front()["note"], "Accessibility not granted");
    EXPECT_EQ(checkRecords("textInput").front()["note"], "R1 text input; accessibility=false");
}

TEST_F(CheckModes, TextSpikeStoppedEarlySaysSoAndFinishesItsLog) {
    auto run = start({"SCRAWLET_MODE=textspike", "SCRAWLET_TEXTSPIKE_LOG=" + checkLog().string()});
    ASSERT_TRUE(run->waitForError("FrontmostLog at", 30s)) << run->standardError();
    run->signal(SIGTERM);
    ASSERT_EQ(run->wait(20s), 0) << run->standardError();
    EXPECT_NE(run->standardError().find("textspike: stopped by SIGTERM before the report"),
              std::string::npos)
        << run->standardError();
    EXPECT_EQ(run->standardError().find("R1 spike complete"), std::string::npos);
    EXPECT_EQ(scrawlet::testing::readJsonLines(checkLog()).back()["note"], "SIGTERM");
}

// Keys typed while the panel holds the keyboard reach it, and the focus stays put.
TEST_F(CheckModes, TextSpikeLiveCheckCountsTypedKeysAndGivesItsVerdict) {
    auto run = start({"SCRAWLET_MODE=textspike", "SCRAWLET_TEXTSPIKE_LOG=" + checkLog().string(),
                      "SCRAWLET_TEXTSPIKE_LIVE=1", "SCRAWLET_TEXTSPIKE_SECONDS=2"});
    ASSERT_TRUE(run->waitForError("Type into another application for 2.0 s.\n", 30s))
        << run->standardError();
    // Three different keys: the same key pressed again at once would read as auto-repeat.
    for (const std::uint32_t keysym : {0x62u, 0x63u, 0x65u}) {
        ASSERT_TRUE(input->setKey(keysym, true));
        ASSERT_TRUE(input->setKey(keysym, false));
    }
    ASSERT_EQ(run->wait(30s), 0) << run->standardError();
    const std::string& out = run->standardError();
    EXPECT_NE(out.find("[ 1s] panel="), std::string::npos) << out;
    EXPECT_NE(out.find("[ 2s] panel=3    typed=3    frontmost="), std::string::npos) << out;
    EXPECT_NE(out.find("  keys the panel saw: 3\n"), std::string::npos) << out;
    EXPECT_TRUE(
        out.ends_with("=> route A holds live: keys arrive, focus never moves.\n"
                      "R1 live check complete\n"))
        << out;
    EXPECT_EQ(out.find("WARNING"), std::string::npos);
}

// With exclusion the overlay's marks are never in a frame; without it the sentinel and the
// fiducial are, where the geometry record says.
TEST_F(CheckModes, CaptureSeesTheOverlayOnlyWithoutExclusion) {
    for (const bool exclude : {true, false}) {
        SCOPED_TRACE(exclude ? "excluded" : "included");
        const auto summaryPath = tmp.path() / "capture.json";
        const auto dump = tmp.path() / "frame.png";
        std::filesystem::remove(dump);
        auto run =
            start({"SCRAWLET_MODE=capture", "SCRAWLET_CAPTURE_LOG=" + checkLog().string(),
                   "SCRAWLET_CAPTURE_SUMMARY=" + summaryPath.string(), "SCRAWLET_CAPTURE_SECONDS=2",
                   "SCRAWLET_CAPTURE_DISPLAY=1", "SCRAWLET_CAPTURE_ANIMATE=1",
                   "SCRAWLET_CAPTURE_FIDUCIAL=200,300,80,40",
                   "SCRAWLET_CAPTURE_DUMP_FRAME=" + dump.string(),
                   std::string("SCRAWLET_CAPTURE_EXCLUDE_OVERLAY=") + (exclude ? "1" : "0")});
        ASSERT_TRUE(run->waitForError("SIGUSR1 marks, SIGUSR2 stops early.\n", 30s))
            << run->standardError();
        run->signal(SIGUSR1);
        ASSERT_EQ(run->wait(40s), 0) << run->standardError();
        EXPECT_TRUE(run->standardError().starts_with(
            "scrawlet capture (M0 T8 gate, driving DisplayCapture)\n"))
            << run->standardError();
        EXPECT_NE(run->standardError().find("  component       : DisplayCapture (the one ZM-01 "
                                            "reads)\n"),
                  std::string::npos);
        const auto summary =
            nlohmann::ordered_json::parse(scrawlet::testing::TemporaryFolder::read(summaryPath));
        std::vector<std::string> keys;
        for (const auto& [key, value] : summary.items()) keys.push_back(key);
        ASSERT_GE(keys.size(), 4u);
        EXPECT_EQ(std::vector<std::string>(keys.begin(), keys.begin() + 4),
                  (std::vector<std::string>{"kind", "reason", "component", "buildConfiguration"}));
        EXPECT_EQ(summary["kind"], "captureSummary");
        EXPECT_EQ(summary["reason"], "timeout");
        EXPECT_EQ(summary["excludeOverlay"], exclude);
        EXPECT_EQ(summary["streamStarted"], true);
        EXPECT_GT(summary["completeFrameCount"].get<int>(), 0);
        EXPECT_EQ(summary["dumpedFrame"], true);
        EXPECT_EQ(summary["markCount"], 1);
        EXPECT_EQ(summary["operatorMarks"], nlohmann::json::array({"mark-1"}));
        ASSERT_EQ(checkRecords("mark").size(), 1u);
        EXPECT_EQ(checkRecords("mark").front()["label"], "mark-1");
        EXPECT_TRUE(QImage(QString::fromStdString(dump.string())).width() > 0);
        const auto frames = checkRecords("frame");
        ASSERT_FALSE(frames.empty());
        int withSentinel = 0;
        int withFiducial = 0;
        for (const auto& frame : frames) {
            withSentinel += frame["sentinelPresent"].get<bool>() ? 1 : 0;
            withFiducial += frame["fiducialPresent"].get<bool>() ? 1 : 0;
        }
        EXPECT_EQ(summary["selfCapturedFrameCount"], withSentinel);
        const auto geometry = checkRecords("captureGeometry");
        ASSERT_FALSE(geometry.empty());
        EXPECT_EQ(geometry.front()["displayID"], summary["displayID"]);
        EXPECT_EQ(geometry.front()["fiducialPixelX"], 240);
        if (exclude) {
            EXPECT_EQ(withSentinel, 0);
            EXPECT_EQ(withFiducial, 0);
        } else {
            EXPECT_GT(withSentinel, 0);
            EXPECT_GT(withFiducial, 0);
            for (const auto& frame : frames) {
                if (frame["fiducialPresent"].get<bool>()) {
                    EXPECT_NEAR(frame["fiducialX"].get<double>(), 240, 1);
                    EXPECT_NEAR(frame["fiducialY"].get<double>(), 320, 1);
                }
            }
        }
    }
}

TEST_F(CheckModes, CaptureRefusesADisplayIndexBeyondTheScreens) {
    auto run = start({"SCRAWLET_MODE=capture", "SCRAWLET_CAPTURE_DISPLAY=2",
                      "SCRAWLET_CAPTURE_LOG=" + checkLog().string(),
                      "SCRAWLET_CAPTURE_SUMMARY=" + (tmp.path() / "c.json").string()});
    ASSERT_EQ(run->wait(30s), 64) << run->standardError();
    EXPECT_EQ(run->standardError(), "capture: display index 2 is out of range (2 displays)\n");
    EXPECT_FALSE(std::filesystem::exists(tmp.path() / "c.json"));
}

}  // namespace
}  // namespace scrawlet::e2e
