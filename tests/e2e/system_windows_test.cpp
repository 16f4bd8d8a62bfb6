// The welcome window, the about window, the autostart entry and update checks of a real run.
#include "core/settings.h"
#include "tests/e2e/draw_run.h"
#include "tests/e2e/window_survey.h"
#include "tests/support/feed_server.h"

namespace {

using namespace std::chrono_literals;
using namespace scrawlet::e2e;
using scrawlet::testing::TemporaryFolder;

class SystemWindows : public DrawRun {
  protected:
    bool awaitWindow(pid_t pid, const std::string& title, bool shown = true) {
        return QTest::qWaitFor(
            [&] {
                for (const ShownWindow& window : shownWindowsOf(pid)) {
                    if (window.title == title) {
                        return shown;
                    }
                }
                return !shown;
            },
            10000);
    }

    std::vector<std::string> notes(const std::string& event) const {
        std::vector<std::string> found;
        for (const auto& record : events(event)) {
            found.push_back(record.value("note", ""));
        }
        return found;
    }

    // The user's settings with the welcome window already seen.
    void writeSettings(const std::function<void(nlohmann::json&)>& change) {
        auto document = nlohmann::json::parse(scrawlet::core::Settings::defaultDocument);
        document["system"]["onboardingCompleted"] = true;
        change(document);
        tmp.write("scrawlet/settings.json", document.dump(2));
    }

    std::filesystem::path autostartEntry() const {
        return tmp.path() / "autostart" / "scrawlet.desktop";
    }
};

TEST_F(SystemWindows, TheWelcomeWindowComesOnTheFirstLaunchOnly) {
    auto first = startAndAwaitBanner({"SCRAWLET_DRAW_ONBOARDING_AUTO_DISMISS_SECONDS=1.5"});
    ASSERT_TRUE(awaitWindow(first->pid(), "Welcome to Scrawlet")) << first->standardError();
    for (const ShownWindow& window : shownWindowsOf(first->pid())) {
        if (window.title == "Welcome to Scrawlet") {
            EXPECT_EQ(window.width, 480);
            EXPECT_EQ(window.height, 460);
        }
    }
    ASSERT_TRUE(awaitEvents("onboarding", 2)) << first->standardError();
    EXPECT_EQ(notes("onboarding"), (std::vector<std::string>{"shown", "auto"}));
    EXPECT_TRUE(awaitWindow(first->pid(), "Welcome to Scrawlet", false));
    finishWith(*first, SIGTERM);
    const auto saved =
        nlohmann::json::parse(TemporaryFolder::read(tmp.path() / "scrawlet" / "settings.json"));
    EXPECT_EQ(saved["system"]["onboardingCompleted"], true);
    EXPECT_EQ(summaryDocument()["onboardingActive"], false);

    auto second = startAndAwaitBanner({"SCRAWLET_DRAW_ONBOARDING_AUTO_DISMISS_SECONDS=1"});
    QTest::qWait(1500);
    finishWith(*second, SIGTERM);
    EXPECT_TRUE(notes("onboarding").empty()) << "never again";
}

TEST_F(SystemWindows, ClosingTheWelcomeWindowCountsAsSkipping) {
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_ONBOARDING_AUTO_DISMISS_SECONDS=600"});
    ASSERT_TRUE(awaitWindow(run->pid(), "Welcome to Scrawlet")) << run->standardError();
    for (const ShownWindow& window : shownWindowsOf(run->pid())) {
        if (window.title == "Welcome to Scrawlet") {
            ASSERT_TRUE(askToClose(window.id));
        }
    }
    ASSERT_TRUE(awaitEvents("onboarding", 2)) << run->standardError();
    EXPECT_EQ(notes("onboarding"), (std::vector<std::string>{"shown", "skipped"}));
    EXPECT_TRUE(awaitWindow(run->pid(), "Welcome to Scrawlet", false));
    finishWith(*run, SIGTERM);
    const auto saved =
        nlohmann::json::parse(TemporaryFolder::read(tmp.path() / "scrawlet" / "settings.json"));
    EXPECT_EQ(saved["system"]["onboardingCompleted"], true);
}

TEST_F(SystemWindows, TheAboutWindowShowsWhoAndWhatAndClosesWhenAsked) {
    writeSettings([](nlohmann::json&) {});
    auto run = startAndAwaitBanner(
        {"SCRAWLET_DRAW_ABOUT_WINDOW=1", "SCRAWLET_DRAW_ABOUT_WINDOW_CLOSE_SECONDS=2"});
    ASSERT_TRUE(awaitWindow(run->pid(), "About Scrawlet")) << run->standardError();
    for (const ShownWindow& window : shownWindowsOf(run->pid())) {
        if (window.title == "About Scrawlet") {
            EXPECT_EQ(window.width, 320);
            EXPECT_EQ(window.height, 280);
        }
    }
    EXPECT_EQ(notes("about"), std::vector<std::string>{"shown"});
    EXPECT_TRUE(awaitWindow(run->pid(), "About Scrawlet", false));
    finishWith(*run, SIGTERM);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["aboutActive"], false);
    EXPECT_EQ(summary["aboutName"], "Scrawlet");
    EXPECT_EQ(summary["aboutIconSource"], "bundle");
    EXPECT_NE(summary["aboutVersion"], "0.0.0");
    EXPECT_NE(summary["aboutBuild"], "");
}

TEST_F(SystemWindows, LaunchAtLoginWritesAndRemovesTheAutostartEntry) {
    writeSettings([](nlohmann::json& d) { d["system"]["launchAtLogin"] = true; });
    auto on = startAndAwaitBanner();
    finishWith(*on, SIGTERM);
    EXPECT_EQ(notes("launchAtLogin"), std::vector<std::string>{"enabled=true"});
    const std::string entry = TemporaryFolder::read(autostartEntry());
    EXPECT_NE(
        entry.find("\nExec=" + std::filesystem::canonical(SCRAWLET_EXECUTABLE).string() + "\n"),
        std::string::npos)
        << entry;

    auto again = startAndAwaitBanner();
    finishWith(*again, SIGTERM);
    EXPECT_TRUE(notes("launchAtLogin").empty()) << "an entry that is right is left alone";

    writeSettings([](nlohmann::json& d) { d["system"]["launchAtLogin"] = false; });
    auto off = startAndAwaitBanner();
    finishWith(*off, SIGTERM);
    EXPECT_EQ(notes("launchAtLogin"), std::vector<std::string>{"enabled=false"});
    EXPECT_FALSE(std::filesystem::exists(autostartEntry()));

    // Something in the folder's place: the run goes on and the log says why.
    std::filesystem::remove(tmp.path() / "autostart");
    tmp.write("autostart", "not a folder");
    writeSettings([](nlohmann::json& d) { d["system"]["launchAtLogin"] = true; });
    auto refused = startAndAwaitBanner();
    finishWith(*refused, SIGTERM);
    const auto failed = notes("launchAtLogin");
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(
        failed[0].rfind("failed: Could not add Scrawlet to your login items. (cannot create ", 0),
        0u)
        << failed[0];
}

TEST_F(SystemWindows, AnAutomaticCheckFindsANewerReleaseOnceADay) {
    scrawlet::testing::FeedServer server;
    ASSERT_TRUE(server.listening());
    server.respond(200, scrawlet::testing::feedWithRelease("999.0"));
    writeSettings([](nlohmann::json&) {});
    const std::vector<std::string> env = {"SCRAWLET_UPDATE_FEED_URL=" + server.url(),
                                          "SCRAWLET_DRAW_UPDATE_CHECK_DELAY=0"};
    auto run = startAndAwaitBanner(env);
    ASSERT_TRUE(awaitEvents("updateCheck", 1)) << run->standardError();
    const auto found = notes("updateCheck");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].rfind("automatic newer=999.0 current=", 0), 0u) << found[0];
    // The test display has no tray, so the news comes in a window.
    EXPECT_TRUE(awaitWindow(run->pid(), "Software Update")) << run->standardError();
    finishWith(*run, SIGTERM);
    EXPECT_NE(run->standardError().find("draw: Scrawlet 999.0 is available (this is "),
              std::string::npos);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["sparkleStarted"], true);
    EXPECT_EQ(summary["sparkleAutomaticChecks"], true);
    EXPECT_EQ(summary["sparkleFeedURL"], server.url());

    auto sameDay = startAndAwaitBanner(env);
    QTest::qWait(1000);
    finishWith(*sameDay, SIGTERM);
    EXPECT_EQ(server.requests(), 1);
    EXPECT_TRUE(notes("updateCheck").empty());
}

TEST_F(SystemWindows, AnOfflineOrDisabledCheckShowsNoWindow) {
    std::string closedUrl;
    {
        scrawlet::testing::FeedServer gone;
        closedUrl = gone.url();
    }
    writeSettings([](nlohmann::json&) {});
    auto offline = startAndAwaitBanner(
        {"SCRAWLET_UPDATE_FEED_URL=" + closedUrl, "SCRAWLET_DRAW_UPDATE_CHECK_DELAY=0"});
    ASSERT_TRUE(awaitEvents("updateCheck", 1)) << offline->standardError();
    EXPECT_EQ(notes("updateCheck")[0].rfind("automatic failed: the update server could not be "
                                            "reached; check the network connection (",
                                            0),
              0u);
    // A window would be made on the turn that logged the failure.
    QTest::qWait(500);
    for (const ShownWindow& window : shownWindowsOf(offline->pid())) {
        EXPECT_NE(window.title, "Software Update");
    }
    finishWith(*offline, SIGTERM);
    EXPECT_NE(offline->standardError().find("draw: could not check for updates: the update "
                                            "server could not be reached"),
              std::string::npos);

    scrawlet::testing::FeedServer server;
    server.respond(200, scrawlet::testing::feedWithRelease("999.0"));
    writeSettings([](nlohmann::json& d) { d["system"]["checkForUpdates"] = false; });
    auto disabled = startAndAwaitBanner(
        {"SCRAWLET_UPDATE_FEED_URL=" + server.url(), "SCRAWLET_DRAW_UPDATE_CHECK_DELAY=0"});
    QTest::qWait(1000);
    finishWith(*disabled, SIGTERM);
    EXPECT_EQ(server.requests(), 0);
    EXPECT_EQ(summaryDocument()["sparkleAutomaticChecks"], false);
}

}  // namespace
