// The scrawlet program in draw mode on a test display with two monitors, "A" and "B": start-up,
// drawing, click-through, display changes, the control panel, signals and the orderly finish
// with its summary and event log. The test process injects real input through XTest and reads
// what the compositor put on the screen.
#include <sys/stat.h>
#include <xcb/xcb.h>

#include <QRasterWindow>
#include <algorithm>

#include "app/ink/control_panel_layout.h"
#include "app/shell/run_summary.h"
#include "core/settings.h"
#include "tests/e2e/draw_run.h"

namespace {

using namespace std::chrono_literals;
using namespace scrawlet::e2e;
using scrawlet::testing::TemporaryFolder;

using DrawMode = DrawRun;

TEST_F(DrawMode, DirectTransportRunEndsAtItsLimitWithTwoPanelsAndEveryKeyInOrder) {
    auto run = start({"SCRAWLET_DRAW_TRANSPORT=direct", "SCRAWLET_DRAW_SECONDS=3"});
    ASSERT_TRUE(run->started());
    ASSERT_EQ(run->wait(40s), 0) << run->standardError();
    EXPECT_NE(run->standardError().find("scrawlet draw (M0 T5)"), std::string::npos);
    EXPECT_NE(run->standardError().find("  time limit:         3.0 s\n"), std::string::npos);
    EXPECT_NE(run->standardError().find("draw: wrote " + summary().string()), std::string::npos);

    const auto document = summaryDocument();
    EXPECT_EQ(document["reason"], "timeout");
    EXPECT_GE(document["durationSeconds"].get<double>(), 3.0) << "the limit never fires early";
    EXPECT_EQ(document["transport"], "direct");
    EXPECT_EQ(document["panels"], 2);
    EXPECT_GT(document["strokeCount"].get<int>(), 0);
    EXPECT_GT(document["eventCount"].get<int>(), 0);
    EXPECT_GT(document["frameCount"].get<int>(), 0);
    EXPECT_FALSE(document["lensEnabled"].get<bool>());
    std::vector<std::string> keys, expected;
    for (const auto& [key, value] : document.items()) keys.push_back(key);
    const auto reference = nlohmann::ordered_json::parse(
        scrawlet::shell::summaryJson(scrawlet::shell::RunSummaryInput{}));
    for (const auto& [key, value] : reference.items()) expected.push_back(key);
    EXPECT_EQ(keys, expected);

    const auto records = logRecords();
    ASSERT_GE(records.size(), 2u);
    EXPECT_EQ(records.front()["event"], "start");
    EXPECT_EQ(records.back()["event"], "finish");
    EXPECT_EQ(records.back()["note"], "timeout");
}

TEST_F(DrawMode, XTestDragOnTheSecondMonitorLeavesInkOfTheConfiguredColour) {
    auto run = startAndAwaitBanner();
    const QPoint from(1300, 500), to(1600, 500), middle(1450, 500);
    ASSERT_NE(onScreen(middle), kInk);
    drag(from, to);
    EXPECT_TRUE(awaitColour(middle, kInk)) << std::hex << onScreen(middle);
    ASSERT_TRUE(input->setButton(Qt::RightButton, true));
    ASSERT_TRUE(input->setButton(Qt::RightButton, false));
    EXPECT_TRUE(awaitColour(middle, kInk, false)) << "a right click clears";
    finishWith(*run, SIGUSR2);
    EXPECT_EQ(summaryDocument()["reason"], "SIGUSR2");
    EXPECT_EQ(summaryDocument()["strokeCount"], 1);
}

TEST_F(DrawMode, AStrokeBegunAsTheBannerAppearsKeepsEveryMotion) {
    auto run = startAndAwaitBanner();
    // A V: were the first motions lost, its first leg would be a straight line elsewhere.
    const QPoint from(1300, 400), bottom(1450, 600), to(1600, 400);
    constexpr int kSteps = 21;
    ASSERT_TRUE(input->movePointer(from));
    ASSERT_TRUE(input->setButton(Qt::LeftButton, true));
    // Spread over the first second of the run, as a hand would draw.
    for (int i = 1; i <= kSteps; ++i) {
        ASSERT_TRUE(input->movePointer(from + (bottom - from) * i / kSteps));
        QTest::qWait(20);
    }
    for (int i = 1; i <= kSteps; ++i) {
        ASSERT_TRUE(input->movePointer(bottom + (to - bottom) * i / kSteps));
        QTest::qWait(20);
    }
    ASSERT_TRUE(input->setButton(Qt::LeftButton, false));
    // Input is handled in order: once the end is drawn, every motion has been seen.
    ASSERT_TRUE(awaitColour(to - QPoint(2, 2), kInk)) << run->standardError();
    EXPECT_EQ(onScreen(from + (bottom - from) / 4), kInk) << "the first leg is drawn";
    finishWith(*run, SIGUSR2);
    EXPECT_EQ(summaryDocument()["strokeCount"], 1);
    EXPECT_EQ(summaryDocument()["draggedEventCount"], 2 * kSteps);
}

TEST_F(DrawMode, SigusrOneTogglesClickThroughSoClicksReachTheWindowBelow) {
    QRasterWindow below;
    below.setGeometry(1000, 100, 200, 200);
    int pressesBelow = 0;
    struct Counter : QObject {
        int* count;
        explicit Counter(int* c) : count(c) {}
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::MouseButtonPress) {
                ++*count;
            }
            return false;
        }
    } counter(&pressesBelow);
    below.installEventFilter(&counter);
    below.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&below));

    auto run = startAndAwaitBanner();
    run->signal(SIGUSR1);
    ASSERT_TRUE(awaitEvents("modeToggle", 1));
    EXPECT_EQ(
        events("modeToggle")[0]["note"].get<std::string>().rfind("ignoresMouseEvents=true t=", 0),
        0u);
    click(QPoint(1100, 200));
    EXPECT_TRUE(QTest::qWaitFor([&] { return pressesBelow == 1; }, 5000));

    run->signal(SIGUSR1);
    ASSERT_TRUE(awaitEvents("modeToggle", 2));
    EXPECT_EQ(
        events("modeToggle")[1]["note"].get<std::string>().rfind("ignoresMouseEvents=false t=", 0),
        0u);
    // Taking input again, the overlay draws where the window below used to get the click.
    drag(QPoint(1050, 150), QPoint(1150, 150));
    EXPECT_TRUE(awaitColour(QPoint(1100, 150), kInk));
    EXPECT_EQ(pressesBelow, 1);
    finishWith(*run, SIGTERM);
    EXPECT_EQ(summaryDocument()["reason"], "signal");
}

TEST_F(DrawMode, AMonitorThatGoesAndComesBackKeepsItsSurfaceAndInk) {
    const XSession& session = XSessionEnvironment::session();
    auto run = startAndAwaitBanner();
    const QPoint middle(1450, 300);
    drag(QPoint(1300, 300), QPoint(1600, 300));
    ASSERT_TRUE(awaitColour(middle, kInk));

    ASSERT_TRUE(session.removeMonitor("B"));
    ASSERT_TRUE(awaitEvents("displayDisappeared", 1)) << run->standardError();
    EXPECT_NE(events("displayDisappeared")[0]["note"].get<std::string>().find(
                  " surface retained with its ink"),
              std::string::npos);
    EXPECT_TRUE(awaitColour(middle, kInk, false));

    ASSERT_TRUE(session.addMonitor(XSession::twoMonitors()[1]));
    EXPECT_TRUE(awaitColour(middle, kInk));
    finishWith(*run, SIGTERM);
    EXPECT_EQ(summaryDocument()["panels"], 2);
    EXPECT_TRUE(events("displayAppeared").empty());
}

TEST_F(DrawMode, AControlPanelClickChangesTheToolAndADraggedPanelComesBackThere) {
    using scrawlet::ink::controlPanelButtonRect;
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_PANEL_SENTINEL=1"});
    const QPoint sentinel(20, 18);
    ASSERT_TRUE(awaitColour(kPanelOrigin + sentinel, qRgb(255, 0, 153)));
    // The line button (the second) lights up.
    const QRect line = controlPanelButtonRect(1, true).translated(kPanelOrigin);
    click(line.center());
    EXPECT_TRUE(awaitColour(line.topLeft() + QPoint(3, 4), qRgb(61, 133, 255)));

    const QPoint moved = kPanelOrigin + QPoint(150, -400);
    drag(kPanelOrigin + QPoint(4, 58), moved + QPoint(4, 58), 20);
    EXPECT_TRUE(awaitColour(moved + sentinel, qRgb(255, 0, 153)));
    // The origin is stored when the button comes up, which may be after the panel moved.
    const auto preferences = tmp.path() / "scrawlet" / "preferences.ini";
    const std::string stored =
        "{" + std::to_string(moved.x()) + ", " + std::to_string(moved.y()) + "}";
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return std::filesystem::exists(preferences) &&
                   TemporaryFolder::read(preferences).find(stored) != std::string::npos;
        },
        5000));
    finishWith(*run, SIGTERM);

    auto again = startAndAwaitBanner({"SCRAWLET_DRAW_PANEL_SENTINEL=1"});
    EXPECT_TRUE(awaitColour(moved + sentinel, qRgb(255, 0, 153)));
    finishWith(*again, SIGTERM);
}

TEST_F(DrawMode, RegistrationMarksArePublishedPerSurfaceAndShowWhereTheySay) {
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_FIDUCIALS=1"});
    ASSERT_TRUE(awaitEvents("registration", 2));
    const auto records = events("registration");
    for (const auto& record : records) {
        EXPECT_FALSE(record["republished"].get<bool>());
        EXPECT_EQ(record["fiducialRGB"], nlohmann::json::array({0, 255, 255}));
        ASSERT_EQ(record["marks"].size(), 5u);
        const auto& mark = record["marks"][4];
        const QPoint centre(mark["globalX"].get<int>(), mark["globalY"].get<int>());
        EXPECT_TRUE(awaitColour(centre, qRgb(0, 255, 255))) << mark.dump();
    }
    EXPECT_NE(records[0]["screenName"], records[1]["screenName"]);
    finishWith(*run, SIGTERM);
}

TEST_F(DrawMode, InteractiveRoundTripTrialsAllSeeAClickAndEndTheRun) {
    auto run = start({"SCRAWLET_DRAW_AN16=3", "SCRAWLET_DRAW_CLICKTHROUGH=1"});
    ASSERT_EQ(run->wait(40s), 0) << run->standardError();
    EXPECT_NE(run->standardError().find("AN-16 interactive-mode round trip, 3 trials"),
              std::string::npos)
        << run->standardError();
    EXPECT_NE(run->standardError().find("  lost  : 0\n"), std::string::npos);
    EXPECT_EQ(summaryDocument()["reason"], "an16");
    EXPECT_EQ(events("an16").size(), 1u);
}

TEST_F(DrawMode, AWorkspaceSwitchIsRecordedForEverySurface) {
    auto run = startAndAwaitBanner();
    // What a window manager does when the user switches workspace.
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const char name[] = "_NET_CURRENT_DESKTOP";
    auto* atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof name - 1, name), nullptr);
    const std::uint32_t desktop = 1;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, atom->atom, XCB_ATOM_CARDINAL, 32, 1,
                        &desktop);
    std::free(atom);
    xcb_flush(c);
    EXPECT_TRUE(awaitEvents("activeSpaceDidChange", 2));
    xcb_disconnect(c);
    std::vector<std::string> notes;
    for (const auto& record : events("activeSpaceDidChange")) notes.push_back(record["note"]);
    std::sort(notes.begin(), notes.end());
    EXPECT_EQ(notes, (std::vector<std::string>{"screen=A", "screen=B"}));
    finishWith(*run, SIGTERM);
}

TEST_F(DrawMode, RecordsNameTheActiveWindowAndFollowItsChanges) {
    auto run = startAndAwaitBanner();
    // What a window manager and an application do: name a window, then make it active.
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const auto atom = [c](std::string_view name) {
        auto* reply = xcb_intern_atom_reply(
            c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.data()),
            nullptr);
        const xcb_atom_t value = reply->atom;
        std::free(reply);
        return value;
    };
    const xcb_window_t window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, root, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto name = [&](std::string_view text) {
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_NAME"),
                            atom("UTF8_STRING"), 8, static_cast<std::uint32_t>(text.size()),
                            text.data());
        xcb_flush(c);
    };
    const char wmClass[] = "probe\0ProbeClass";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        sizeof wmClass, wmClass);
    name("Notes");
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW,
                        32, 1, &window);
    xcb_flush(c);

    // The X event and the signal travel separately: toggle until a record shows the change.
    const auto awaitFrontmostName = [&](const std::string& wanted) {
        return QTest::qWaitFor(
            [&] {
                run->signal(SIGUSR1);
                QTest::qWait(100);
                const auto toggles = events("modeToggle");
                return !toggles.empty() && toggles.back()["frontmostName"] == wanted;
            },
            10000);
    };
    ASSERT_TRUE(awaitFrontmostName("Notes")) << nlohmann::json(events("modeToggle")).dump();
    EXPECT_EQ(events("modeToggle").back()["frontmostBundleID"], "ProbeClass");
    EXPECT_EQ(events("modeToggle").back()["isOurs"], false);
    name("Notes — edited");
    EXPECT_TRUE(awaitFrontmostName("Notes — edited"))
        << nlohmann::json(events("modeToggle")).dump();
    // The window goes before the window manager says so.
    xcb_destroy_window(c, window);
    const xcb_window_t none = XCB_NONE;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW,
                        32, 1, &none);
    xcb_flush(c);
    EXPECT_TRUE(awaitFrontmostName("")) << nlohmann::json(events("modeToggle")).dump();
    xcb_disconnect(c);
    finishWith(*run, SIGTERM);
}

TEST_F(DrawMode, ScriptedActionsRunBeforeTheTimeLimitAndEndTheRun) {
    auto run = start({"SCRAWLET_DRAW_ACTIONS=tool.arrow,edit.clearAll", "SCRAWLET_DRAW_SECONDS=1"});
    ASSERT_EQ(run->wait(30s), 0) << run->standardError();
    EXPECT_NE(run->standardError().find("draw: scripted tool.arrow -> changedTool(arrow)"),
              std::string::npos);
    EXPECT_NE(
        run->standardError().find("draw: scripted edit.clearAll -> nothingToDo(already empty)"),
        std::string::npos);
    EXPECT_EQ(summaryDocument()["reason"], "scriptedActions");
}

TEST_F(DrawMode, ASignalThatArrivesDuringStartUpFinishesTheRunOnceItIsUp) {
    auto run = start();
    // Printed while the configuration is read, long before the handlers exist.
    ASSERT_TRUE(run->waitForError("draw: wrote default settings to", 30s)) << run->standardError();
    run->signal(SIGUSR2);
    ASSERT_EQ(run->wait(30s), 0) << run->standardError();
    EXPECT_EQ(summaryDocument()["reason"], "SIGUSR2");
}

TEST_F(DrawMode, RunOnlyColourAndWidthAndRunOnlySettingsFilesAreNeverSaved) {
    // The fixture sets SCRAWLET_DRAW_COLOUR and SCRAWLET_DRAW_WIDTH; the action saves settings.
    const std::vector<std::string> saving = {"SCRAWLET_DRAW_ACTIONS=annotation.cycleAutoErase",
                                             "SCRAWLET_DRAW_SECONDS=1"};
    auto run = start(saving);
    ASSERT_EQ(run->wait(30s), 0) << run->standardError();
    const auto userFile = tmp.path() / "scrawlet" / "settings.json";
    const auto saved = nlohmann::json::parse(TemporaryFolder::read(userFile));
    EXPECT_EQ(saved["annotation"]["autoErase"]["mode"], "oneSecond") << "the change is saved";
    EXPECT_EQ(saved["annotation"]["palette"][0], "#ff3b30");
    EXPECT_EQ(saved["annotation"]["strokeWidth"]["presetsPoints"][1], 4);

    std::filesystem::remove(userFile);
    const std::string document(scrawlet::core::Settings::defaultDocument);
    const auto runFile = tmp.write("run-settings.json", document);
    auto withOwnFile = start({"SCRAWLET_DRAW_SETTINGS=" + runFile.string(), saving[0], saving[1]});
    ASSERT_EQ(withOwnFile->wait(30s), 0) << withOwnFile->standardError();
    EXPECT_FALSE(std::filesystem::exists(userFile));
    EXPECT_EQ(TemporaryFolder::read(runFile), document);
}

TEST_F(DrawMode, TheSummaryTakesTheAidsValuesFromTheSettingsUntilTheAidsExist) {
    auto settings = nlohmann::json::parse(scrawlet::core::Settings::defaultDocument);
    settings["zoom"]["level"] = 3;
    settings["cursorHighlight"]["colour"] = "#445566";
    settings["keystrokeDisplay"]["fade"]["mode"] = "fiveSeconds";
    settings["capture"]["historyCount"] = 7;
    settings["whiteboard"]["boardColour"] = "#112233";
    settings["system"]["onboardingCompleted"] = true;
    const auto file = tmp.write("run-settings.json", settings.dump());
    auto run = start({"SCRAWLET_DRAW_SETTINGS=" + file.string(), "SCRAWLET_DRAW_SECONDS=0.5",
                      "SCRAWLET_DRAW_SPOTLIGHT_SIZE=250"});
    ASSERT_EQ(run->wait(30s), 0) << run->standardError();
    const auto document = summaryDocument();
    EXPECT_EQ(document["lensLevel"], 3.0);
    EXPECT_EQ(document["fullScreenZoomLevel"], 3.0);
    EXPECT_EQ(document["spotlightSizePoints"], 250.0) << "the run's override comes first";
    EXPECT_EQ(document["cursorHighlightColour"], "#445566");
    EXPECT_EQ(document["keystrokeDisplayFadeMode"], "fiveSeconds");
    EXPECT_EQ(document["captureHistoryCount"], 7);
    EXPECT_EQ(document["whiteboardBoardColour"], "#112233");
    EXPECT_EQ(document["onboardingCompleted"], true);
}

// What another user can leave at the default paths in /tmp before a run.
TEST_F(DrawMode, HostileFilesAtTheTracePathsAreLeftAloneAndSaidSo) {
    ASSERT_EQ(::mkfifo(log().c_str(), 0666), 0);
    auto run = start({"SCRAWLET_DRAW_SECONDS=0.5"});
    ASSERT_EQ(run->wait(30s), 0) << "a FIFO at the log path must not hang the start";
    EXPECT_NE(run->standardError().find("draw: running without the event log: will not replace " +
                                        log().string() + ": it is not a regular file\n"),
              std::string::npos)
        << run->standardError();
    EXPECT_EQ(summaryDocument()["reason"], "timeout");
    EXPECT_EQ(std::filesystem::status(log()).type(), std::filesystem::file_type::fifo);
    std::filesystem::remove(log());

    const auto victim = tmp.write("victim.json", "keep");
    std::filesystem::remove(summary());
    std::filesystem::create_symlink(victim, summary());
    auto linked = start({"SCRAWLET_DRAW_SECONDS=0.5"});
    ASSERT_EQ(linked->wait(30s), 3) << linked->standardError();
    EXPECT_NE(linked->standardError().find("draw: summary write failed: will not replace " +
                                           summary().string() + ": it is a symbolic link\n"),
              std::string::npos)
        << linked->standardError();
    EXPECT_TRUE(std::filesystem::is_symlink(summary()));
    EXPECT_EQ(TemporaryFolder::read(victim), "keep");
}

TEST_F(DrawMode, AnUnwritableSummaryEndsWithStatus3) {
    auto run =
        start({"SCRAWLET_DRAW_SUMMARY=/nonexistent/folder/draw.json", "SCRAWLET_DRAW_SECONDS=0.2"});
    ASSERT_EQ(run->wait(30s), 3) << run->standardError();
    EXPECT_NE(run->standardError().find("draw: summary write failed: "), std::string::npos);
    EXPECT_EQ(logRecords().back()["note"], "timeout");
}

// Beautify turned on in the settings works from the first stroke, not only after a palette,
// width or fading key has been pressed.
TEST_F(DrawMode, BeautifyFromTheSettingsStraightensTheFirstStroke) {
    auto settings = nlohmann::json::parse(scrawlet::core::Settings::defaultDocument);
    settings["annotation"]["beautify"] = {{"enabled", true}};
    const auto file = tmp.write("run-settings.json", settings.dump());
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_SETTINGS=" + file.string()});
    // A shallow bow, 12 px out at its middle: meant as a straight line.
    ASSERT_TRUE(input->movePointer({1300, 400}));
    ASSERT_TRUE(input->setButton(Qt::LeftButton, true));
    for (int x = 1320; x <= 1600; x += 20) {
        const int bow = 12 - std::abs(x - 1450) * 12 / 150;
        ASSERT_TRUE(input->movePointer({x, 400 + bow}));
        QTest::qWait(5);
    }
    ASSERT_TRUE(input->setButton(Qt::LeftButton, false));
    EXPECT_TRUE(awaitColour({1450, 400}, kInk)) << "the chord of the bow is drawn";
    EXPECT_TRUE(awaitColour({1450, 412}, kInk, false)) << "the bow itself is gone";
    finishWith(*run, SIGTERM);
}

}  // namespace
