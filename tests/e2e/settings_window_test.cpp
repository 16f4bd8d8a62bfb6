// The settings window of a real run: opened at launch, a whole document committed through it
// and applied to the running tools, a shortcut recorded, saved and then pressed.
#include "core/chord.h"
#include "core/settings.h"
#include "tests/e2e/draw_run.h"
#include "tests/e2e/window_survey.h"

namespace {

using namespace std::chrono_literals;
using namespace scrawlet::e2e;
using scrawlet::testing::TemporaryFolder;

constexpr std::uint32_t kControl = 0xffe3;  // XK_Control_L
constexpr std::uint32_t kAlt = 0xffe9;      // XK_Alt_L
constexpr std::uint32_t kKeyJ = 0x006a;     // XK_j
constexpr const char* kTitle = "Scrawlet Settings";

class SettingsWindow : public DrawRun {
  protected:
    void SetUp() override {
        DrawRun::SetUp();
        tmp.write("scrawlet/settings.json", document([](nlohmann::json&) {}));
    }

    static std::string document(const std::function<void(nlohmann::json&)>& change) {
        auto d = nlohmann::json::parse(scrawlet::core::Settings::defaultDocument);
        d["system"]["onboardingCompleted"] = true;
        change(d);
        return d.dump(2);
    }

    nlohmann::json saved() const {
        return nlohmann::json::parse(
            TemporaryFolder::read(tmp.path() / "scrawlet" / "settings.json"));
    }

    std::optional<ShownWindow> window(pid_t pid) const {
        for (const ShownWindow& shown : shownWindowsOf(pid)) {
            if (shown.title == kTitle) {
                return shown;
            }
        }
        return std::nullopt;
    }

    std::vector<std::string> notes(const std::string& event) const {
        std::vector<std::string> found;
        for (const auto& record : events(event)) {
            found.push_back(record.value("note", ""));
        }
        return found;
    }

    void press(std::vector<std::uint32_t> modifiers, std::uint32_t key) {
        for (const auto modifier : modifiers) ASSERT_TRUE(input->setKey(modifier, true));
        ASSERT_TRUE(input->setKey(key, true));
        ASSERT_TRUE(input->setKey(key, false));
        for (const auto modifier : modifiers) ASSERT_TRUE(input->setKey(modifier, false));
    }
};

TEST_F(SettingsWindow, ATestCommitIsSavedAndAppliedWhileTheWindowYieldsTheOverlays) {
    const auto commit = tmp.write("commit.json", document([](nlohmann::json& d) {
                                      d["annotation"]["toolOpacity"]["pen"] = 0.5;
                                      d["capture"]["historyCount"] = 7;
                                  }));
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_SETTINGS_WINDOW=1",
                                    "SCRAWLET_DRAW_SETTINGS_TEST_COMMIT=" + commit.string(),
                                    "SCRAWLET_DRAW_SETTINGS_TEST_COMMIT_DELAY=0.5",
                                    "SCRAWLET_DRAW_SETTINGS_WINDOW_CLOSE_SECONDS=3"});
    ASSERT_TRUE(QTest::qWaitFor([&] { return window(run->pid()).has_value(); }, 10000))
        << run->standardError();
    const ShownWindow shown = *window(run->pid());
    EXPECT_EQ(shown.width, 620);
    EXPECT_EQ(shown.height, 600);

    ASSERT_TRUE(awaitEvents("settingsTestCommit", 1)) << run->standardError();
    EXPECT_EQ(events("settingsTestCommit")[0]["path"], commit.string());
    EXPECT_EQ(saved()["annotation"]["toolOpacity"]["pen"], 0.5);
    EXPECT_EQ(saved()["capture"]["historyCount"], 7);

    ASSERT_TRUE(QTest::qWaitFor([&] { return notes("settingsWindow").size() == 2; }, 10000));
    EXPECT_EQ(notes("settingsWindow"), (std::vector<std::string>{"shown", "closed"}));
    EXPECT_EQ(notes("appWindow"),
              (std::vector<std::string>{"overlayInputYielded", "overlayInputRestored"}));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window(run->pid()); }, 5000));
    finishWith(*run, SIGTERM);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["penOpacity"], 0.5) << "the running pen took the committed opacity";
    EXPECT_EQ(summary["settingsWindowEnabled"], true);
    EXPECT_EQ(summary["settingsWindowActive"], false);
}

TEST_F(SettingsWindow, AnInvalidTestCommitEndsTheRunWithItsReason) {
    const auto commit =
        tmp.write("commit.json", document([](nlohmann::json& d) { d["zoom"]["level"] = 99; }));
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_SETTINGS_WINDOW=1",
                                    "SCRAWLET_DRAW_SETTINGS_TEST_COMMIT=" + commit.string(),
                                    "SCRAWLET_DRAW_SETTINGS_TEST_COMMIT_DELAY=0"});
    EXPECT_EQ(run->wait(20s), 66) << run->standardError();
    EXPECT_NE(run->standardError().find("draw: could not read settings test-commit at " +
                                        commit.string() + ": "),
              std::string::npos)
        << run->standardError();
    EXPECT_EQ(saved()["zoom"]["level"], 2) << "nothing of it was saved";
}

TEST_F(SettingsWindow, ARecordedShortcutIsSavedAndThenWorks) {
    auto run = startAndAwaitBanner(
        {"SCRAWLET_DRAW_SETTINGS_WINDOW=1", "SCRAWLET_DRAW_SHORTCUT_RECORD_ACTION=spotlight.toggle",
         "SCRAWLET_DRAW_SHORTCUT_RECORD_DELAY=0.3", "SCRAWLET_DRAW_SHORTCUT_AUTO_SAVE_DELAY=3"});
    ASSERT_TRUE(awaitEvents("shortcutRecordingStarted", 1)) << run->standardError();
    EXPECT_EQ(events("shortcutRecordingStarted")[0]["action"], "spotlight.toggle");
    press({kControl, kAlt}, kKeyJ);
    ASSERT_TRUE(awaitEvents("shortcutChordCaptured", 1)) << run->standardError();
    const std::string chord = scrawlet::core::Chord::parse("ctrl+alt+j")->specText();
    EXPECT_EQ(events("shortcutChordCaptured")[0]["chord"], chord);
    EXPECT_TRUE(events("hotkey").empty()) << "the chord went to the window, not to an action";

    ASSERT_TRUE(awaitEvents("shortcutsSaved", 1)) << run->standardError();
    EXPECT_EQ(saved()["system"]["shortcutOverrides"]["spotlight.toggle"], chord);
    press({kControl, kAlt}, kKeyJ);
    ASSERT_TRUE(awaitEvents("hotkey", 1)) << run->standardError();
    EXPECT_EQ(events("hotkey")[0]["note"], "spotlight.toggle");
    finishWith(*run, SIGTERM);
}

}  // namespace
