// The latency probe on the two-monitor test display: synthetic runs through each transport and
// surface write a file whose samples join events to presented frames; live runs end on their
// signals, time limit and Escape, and on the draw surface record what a person's drag did.
#include "tests/e2e/draw_run.h"
#include "tests/e2e/window_survey.h"
#include "tests/support/latency_file.h"

namespace scrawlet::e2e {
namespace {

using namespace std::chrono_literals;
using nlohmann::ordered_json;

using scrawlet::testing::kLatencyMetaKeys;
using scrawlet::testing::kLatencySampleKeys;
constexpr const char* kBannerEnd = " to stop early.\n";

std::vector<std::string> keys(const ordered_json& object) {
    std::vector<std::string> out;
    for (const auto& [key, value] : object.items()) out.push_back(key);
    return out;
}

class ProbeMode : public DrawRun {
  protected:
    std::filesystem::path output() const { return tmp.path() / "latency.jsonl"; }

    std::unique_ptr<scrawlet::testing::ChildProcess> startProbe(std::vector<std::string> extra) {
        extra.push_back("SCRAWLET_PROBE_DEVICE=test mouse");
        extra.push_back("SCRAWLET_PROBE_OUT=" + output().string());
        extra.push_back("SCRAWLET_PROBE_SAMPLES=300");
        return start(std::move(extra), true);
    }

    // Runs to the end and reads the file: the metadata line, then the samples.
    std::vector<ordered_json> finishedRun(scrawlet::testing::ChildProcess& run,
                                          const std::string& reason) {
        EXPECT_EQ(run.wait(60s), 0) << run.standardError();
        EXPECT_NE(
            run.standardError().find(" deferred " + output().string() + " (" + reason + ")\n"),
            std::string::npos)
            << run.standardError();
        std::vector<ordered_json> lines;
        std::ifstream in(output());
        for (std::string line; std::getline(in, line);) {
            lines.push_back(ordered_json::parse(line));
        }
        EXPECT_FALSE(lines.empty());
        if (!lines.empty()) {
            EXPECT_EQ(keys(lines.front()), kLatencyMetaKeys);
        }
        return lines;
    }

    // Every written sample belongs to a frame committed after its event and presented after
    // that; samples come in event order.
    static void expectJoined(const std::vector<ordered_json>& lines) {
        const ordered_json& meta = lines.front();
        EXPECT_EQ(meta["framePresentCount"], meta["frameCommitCount"]);
        EXPECT_EQ(meta["joinedFrameCount"], meta["frameCommitCount"]);
        EXPECT_EQ(meta["presentOrderViolations"], 0);
        EXPECT_EQ(meta["zeroPresentedFrameCount"], 0);
        EXPECT_EQ(lines.size() - 1, meta["eventCount"].get<std::size_t>() -
                                        meta["unmatchedEventCount"].get<std::size_t>());
        double previousEntry = 0;
        for (std::size_t i = 1; i < lines.size(); ++i) {
            const ordered_json& s = lines[i];
            ASSERT_EQ(keys(s), kLatencySampleKeys) << s;
            EXPECT_EQ(s["seq"], i - 1);
            EXPECT_LT(s["handlerEntry"].get<double>(), s["presentedTime"].get<double>()) << s;
            EXPECT_LE(s["encodeSubmitted"].get<double>(), s["presentedTime"].get<double>()) << s;
            EXPECT_LE(s["handlerEntry"].get<double>(), s["handlerExit"].get<double>()) << s;
            EXPECT_GE(s["handlerEntry"].get<double>(), previousEntry);
            EXPECT_LT(s["frameIndex"].get<std::int64_t>(), meta["joinedFrameCount"]);
            previousEntry = s["handlerEntry"].get<double>();
        }
    }
};

TEST_F(ProbeMode, DirectSyntheticRunOnTheWindowJoinsEventsToPresentedFrames) {
    auto run = startProbe({"SCRAWLET_PROBE_SYNTHETIC=1"});
    const auto lines = finishedRun(*run, "target");
    const std::string& out = run->standardError();
    EXPECT_NE(out.find("scrawlet latency probe (M0 T3)\n  build      : "), std::string::npos)
        << out;
    EXPECT_NE(out.find("  label      : test mouse   (operator-typed; not evidence)\n"),
              std::string::npos);
    EXPECT_NE(out.find("Hz nominal, scale 1\n"), std::string::npos);
    EXPECT_NE(out.find("  surface    : window\n  present    : vsync\n"
                       "  transport  : direct  — SYNTHETIC, not gate-eligible\n"
                       "  target     : 300 samples, max 300s\n"),
              std::string::npos);
    EXPECT_NE(out.find("\nSynthetic driver running; no interaction needed.\nCtrl-C to stop "
                       "early.\n"),
              std::string::npos);
    EXPECT_NE(out.find("probe: wrote 300 events / "), std::string::npos);
    ASSERT_GE(lines.size(), 2u);
    const ordered_json& meta = lines.front();
    EXPECT_EQ(meta["kind"], "meta");
    EXPECT_EQ(meta["inputDevice"], "test mouse");
    EXPECT_EQ(meta["surface"], "window");
    EXPECT_EQ(meta["opaqueWindow"], true);
    EXPECT_EQ(meta["inputTransport"], "direct");
    EXPECT_EQ(meta["synthetic"], true);
    EXPECT_EQ(meta["eventCount"], 300);
    EXPECT_EQ(meta["inputDeviceCount"], meta["inputDevices"].size());
    EXPECT_LT(std::abs(meta["domainCheckSeconds"].get<double>()), 0.002);
    // Vsync: several events share a frame, and the clock ticked at least once a frame.
    EXPECT_LT(meta["frameCommitCount"].get<int>(), 300);
    EXPECT_GE(meta["tickCount"].get<int>(), meta["frameCommitCount"].get<int>());
    expectJoined(lines);
    EXPECT_EQ(lines[1]["phase"], "down");
    for (std::size_t i = 2; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["phase"], "dragged");
        EXPECT_GT(lines[i]["postTimestamp"].get<double>(), 0);
        EXPECT_LE(lines[i]["postTimestamp"].get<double>(), lines[i]["handlerEntry"].get<double>());
        // The view's frame clock: a frame is presented on a tick after the event.
        EXPECT_GT(lines[i]["encodeSubmitted"].get<double>(), lines[i]["handlerExit"].get<double>());
    }
}

// Through the X server: every event still finds the post that caused it, and with per-event
// presents each event has a frame of its own, committed inside its handler.
TEST_F(ProbeMode, XTestRunOnTheOverlayPresentsEveryEventInItsHandler) {
    auto run = startProbe({"SCRAWLET_PROBE_TRANSPORT=cgevent", "SCRAWLET_PROBE_SURFACE=overlay",
                           "SCRAWLET_PROBE_PRESENT_MODE=per-event", "SCRAWLET_PROBE_DISPLAY=B",
                           "SCRAWLET_PROBE_CLEAR_ON_DOWN=1", "SCRAWLET_PROBE_FLASH_ON_DRAW=1"});
    const auto lines = finishedRun(*run, "target");
    EXPECT_NE(run->standardError().find(
                  "  present    : per-event  — pre-ADR-0004 structure, for comparison only\n"
                  "  transport  : cgEventPost  — SYNTHETIC, not gate-eligible\n"),
              std::string::npos)
        << run->standardError();
    ASSERT_GE(lines.size(), 2u);
    const ordered_json& meta = lines.front();
    EXPECT_EQ(meta["surface"], "overlay");
    EXPECT_EQ(meta["opaqueWindow"], false);
    EXPECT_EQ(meta["presentMode"], "per-event");
    EXPECT_EQ(meta["inputTransport"], "cgEventPost");
    EXPECT_EQ(meta["screenPointWidth"], 960.0);
    EXPECT_EQ(meta["clearOnDown"], true);
    // The server stamps events in whole milliseconds of the same clock.
    EXPECT_LT(std::abs(meta["domainCheckSeconds"].get<double>()), 0.05);
    EXPECT_EQ(meta["frameCommitCount"], meta["eventCount"]);
    expectJoined(lines);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const ordered_json& s = lines[i];
        EXPECT_EQ(s["frameIndex"], i - 1);
        EXPECT_GT(s["postTimestamp"].get<double>(), 0) << s;
        EXPECT_GE(s["encodeSubmitted"].get<double>(), s["handlerEntry"].get<double>());
        EXPECT_LE(s["encodeSubmitted"].get<double>(), s["handlerExit"].get<double>());
        EXPECT_GE(s["x"].get<double>(), 0);
        EXPECT_LE(s["x"].get<double>(), 960);
    }
}

// Through the X server onto an ordinary window, triple buffered, each frame finished before
// its swap: every event still finds its post and its presented frame.
TEST_F(ProbeMode, XTestRunOnATripleBufferedWindowPresentingFinishedFrames) {
    auto run =
        startProbe({"SCRAWLET_PROBE_TRANSPORT=cgevent", "SCRAWLET_PROBE_SAMPLES=120",
                    "SCRAWLET_PROBE_MAX_DRAWABLES=3", "SCRAWLET_PROBE_PRESENT_WITH_TRANSACTION=1"});
    const auto lines = finishedRun(*run, "target");
    ASSERT_GE(lines.size(), 2u);
    const ordered_json& meta = lines.front();
    EXPECT_EQ(meta["surface"], "window");
    EXPECT_EQ(meta["maximumDrawableCount"], 3);
    EXPECT_EQ(meta["presentsWithTransaction"], true);
    EXPECT_EQ(meta["eventCount"], 120);
    expectJoined(lines);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_GT(lines[i]["postTimestamp"].get<double>(), 0) << lines[i];
    }
}

TEST_F(ProbeMode, LiveRunsEndOnSignalsAndTheTimeLimitAndStillWrite) {
    auto interrupted = startProbe({});
    ASSERT_TRUE(interrupted->waitForError(kBannerEnd, 30s)) << interrupted->standardError();
    EXPECT_NE(interrupted->standardError().find(
                  "  transport  : live\n  target     : 300 samples, max 300s\n"),
              std::string::npos)
        << interrupted->standardError();
    EXPECT_NE(interrupted->standardError().find("\n\nDrag the pointer continuously, holding the "
                                                "button down.\nEsc or Ctrl-C to stop early.\n"),
              std::string::npos);
    interrupted->signal(SIGINT);
    auto lines = finishedRun(*interrupted, "SIGINT");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front()["synthetic"], false);
    EXPECT_TRUE(lines.front()["domainCheckSeconds"].is_null());

    auto limited = startProbe({"SCRAWLET_PROBE_MAX_SECONDS=0.5"});
    lines = finishedRun(*limited, "timeout");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front()["eventCount"], 0);
}

TEST_F(ProbeMode, EscapeOrTheCloseButtonEndsALiveRun) {
    auto run = startProbe({"SCRAWLET_PROBE_DISPLAY=0"});
    ASSERT_TRUE(run->waitForError(kBannerEnd, 30s)) << run->standardError();
    // The opaque window is up when its black covers the middle of monitor A.
    ASSERT_TRUE(awaitColour({480, 540}, qRgb(0, 0, 0)));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            EXPECT_TRUE(input->setKey(0xff1b, true));
            EXPECT_TRUE(input->setKey(0xff1b, false));
            return run->waitForError("(escape)\n", 200ms);
        },
        10000))
        << run->standardError();
    finishedRun(*run, "escape");

    // The title bar's close button ends a run the same way, file and all.
    auto closed = startProbe({});
    ASSERT_TRUE(closed->waitForError(kBannerEnd, 30s)) << closed->standardError();
    std::vector<ShownWindow> shown;
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return !(shown = shownWindowsOf(closed->pid())).empty(); }, 10000));
    ASSERT_TRUE(askToClose(shown.front().id));
    finishedRun(*closed, "closed");
}

// Unmapped by someone else, the window shows nothing: the operator is told, and the time
// counts as occluded until it is back.
TEST_F(ProbeMode, AnUnmappedWindowIsOccludedUntilItIsBack) {
    auto run = startProbe({});
    ASSERT_TRUE(run->waitForError(kBannerEnd, 30s)) << run->standardError();
    std::vector<ShownWindow> shown;
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return !(shown = shownWindowsOf(run->pid())).empty(); }, 10000));
    xcb_connection_t* c =
        xcb_connect(XSessionEnvironment::session().displayName().c_str(), nullptr);
    xcb_unmap_window(c, shown.front().id);
    xcb_flush(c);
    EXPECT_TRUE(run->waitForError(
        "probe: window occluded — frames from here will not reach scanout\n", 10s))
        << run->standardError();
    // Occluded for at least this long, whatever the machine.
    QTest::qWait(300);
    xcb_map_window(c, shown.front().id);
    xcb_flush(c);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !shownWindowsOf(run->pid()).empty(); }, 10000));
    xcb_disconnect(c);
    run->signal(SIGTERM);
    const auto lines = finishedRun(*run, "SIGTERM");
    ASSERT_FALSE(lines.empty());
    const double occluded = lines.front()["occludedSeconds"].get<double>();
    EXPECT_GE(occluded, 0.3);
    EXPECT_LT(occluded, 10.0);
}

// A person's drag on the draw mode's own surface: recorded around the ink view's handling,
// joined to the frames the view presented, with no post times.
TEST_F(ProbeMode, TheDrawSurfaceRecordsALiveDrag) {
    auto run = startProbe(
        {"SCRAWLET_PROBE_SURFACE=draw", "SCRAWLET_PROBE_SAMPLES=12", "SCRAWLET_PROBE_DISPLAY=A"});
    ASSERT_TRUE(run->waitForError(kBannerEnd, 30s)) << run->standardError();
    EXPECT_NE(run->standardError().find(
                  "  surface    : draw  — THE SHIPPING PATH: OverlayPanel + InkView + "
                  "StrokeRenderer\n"),
              std::string::npos);
    // Until the panel is mapped, the drag would land on the root window.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            drag({200, 300}, {400, 500}, 16);
            return run->waitForError("(target)\n", 300ms);
        },
        15000))
        << run->standardError();
    const auto lines = finishedRun(*run, "target");
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.front()["surface"], "draw");
    EXPECT_EQ(lines.front()["eventCount"], 12);
    EXPECT_TRUE(lines.front()["domainCheckSeconds"].is_null());
    expectJoined(lines);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["postTimestamp"], 0.0);
    }
}

TEST_F(ProbeMode, RefusalsBeforeAnyWindow) {
    const std::string missing = (tmp.path() / "missing" / "out.jsonl").string();
    auto unwritable = start({"SCRAWLET_PROBE_DEVICE=m", "SCRAWLET_PROBE_OUT=" + missing}, true);
    EXPECT_EQ(unwritable->wait(30s), 3);
    EXPECT_EQ(unwritable->standardError(),
              "probe: flush failed: " + missing + ": No such file or directory\n");
    auto nowhere = start({"SCRAWLET_PROBE_DEVICE=m", "SCRAWLET_PROBE_DISPLAY=C"}, true);
    EXPECT_EQ(nowhere->wait(30s), 64);
    EXPECT_EQ(nowhere->standardError(),
              "probe: no screen matches SCRAWLET_PROBE_DISPLAY \"C\" (A|B or 0-1)\n");
}

// A folder that goes away during the run: the file cannot be written, and the run is kept.
TEST_F(ProbeMode, AFailedWriteAtTheEndKeepsTheRunElsewhere) {
    const auto folder = tmp.path() / "gone";
    std::filesystem::create_directory(folder);
    auto run =
        start({"SCRAWLET_PROBE_DEVICE=m", "SCRAWLET_PROBE_OUT=" + (folder / "l.jsonl").string(),
               "TMPDIR=" + tmp.path().string()},
              true);
    ASSERT_TRUE(run->waitForError(kBannerEnd, 30s)) << run->standardError();
    std::filesystem::remove(folder);
    run->signal(SIGINT);
    EXPECT_EQ(run->wait(30s), 3);
    const std::string kept =
        (tmp.path() / ("scrawlet-latency-" + std::to_string(run->pid()) + ".jsonl")).string();
    EXPECT_NE(run->standardError().find("probe: flush failed: "), std::string::npos)
        << run->standardError();
    EXPECT_NE(run->standardError().find("probe: the run was kept in " + kept + "\n"),
              std::string::npos)
        << run->standardError();
    EXPECT_EQ(run->standardError().find("probe: wrote "), std::string::npos);
    const auto records = scrawlet::testing::readJsonLines(kept);
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.front()["kind"], "meta");
    EXPECT_EQ(records.front()["inputDevice"], "m");
}

}  // namespace
}  // namespace scrawlet::e2e
