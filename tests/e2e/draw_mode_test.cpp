// The scrawlet program in draw mode on the test session's display: start-up, signals and the
// orderly finish with its summary and event log.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/e2e/x_session.h"
#include "tests/support/child_process.h"
#include "tests/unit/app/temporary_folder.h"

namespace {

using namespace std::chrono_literals;
using scrawlet::testing::ChildProcess;
using scrawlet::testing::TemporaryFolder;

constexpr const char* kBannerEnd = "SIGUSR2 (or Ctrl-C) finishes.";

class DrawMode : public ::testing::Test {
  protected:
    std::unique_ptr<ChildProcess> start(std::vector<std::string> extra = {}) {
        // The first definition of a name wins, so the test's own come first.
        std::vector<std::string> env = std::move(extra);
        const std::vector<std::string> defaults = {
            "DISPLAY=" + scrawlet::e2e::XSessionEnvironment::session().displayName(),
            "XDG_CONFIG_HOME=" + tmp.path().string(),
            "HOME=" + tmp.path().string(),
            "XDG_RUNTIME_DIR=" + tmp.path().string(),
            "SCRAWLET_DRAW_SUMMARY=" + summary().string(),
            "SCRAWLET_DRAW_LOG=" + log().string(),
        };
        env.insert(env.end(), defaults.begin(), defaults.end());
        return std::make_unique<ChildProcess>(SCRAWLET_EXECUTABLE, env);
    }
    std::filesystem::path summary() const { return tmp.path() / "draw.json"; }
    std::filesystem::path log() const { return tmp.path() / "draw.jsonl"; }
    std::vector<nlohmann::json> logRecords() const {
        std::istringstream in(TemporaryFolder::read(log()));
        std::vector<nlohmann::json> records;
        for (std::string line; std::getline(in, line);) {
            records.push_back(nlohmann::json::parse(line));
        }
        return records;
    }

    TemporaryFolder tmp;
};

TEST_F(DrawMode, StartsOnTheDisplayAndFinishesOnSigtermWithSummaryAndLog) {
    auto run = start();
    ASSERT_TRUE(run->started());
    ASSERT_TRUE(run->waitForError(kBannerEnd, 30s)) << run->standardError();
    EXPECT_NE(run->standardError().find("scrawlet draw (M0 T5)"), std::string::npos);
    EXPECT_NE(run->standardError().find("permissions (M2-plan T0):"), std::string::npos);
    run->signal(SIGTERM);
    ASSERT_EQ(run->wait(20s), 0) << run->standardError();
    EXPECT_NE(run->standardError().find("draw: wrote " + summary().string()), std::string::npos);

    const auto document = nlohmann::json::parse(TemporaryFolder::read(summary()));
    EXPECT_EQ(document["kind"], "drawSummary");
    EXPECT_EQ(document["reason"], "signal");
    EXPECT_EQ(document["panels"], 1);
    const auto records = logRecords();
    ASSERT_GE(records.size(), 2u);
    EXPECT_EQ(records.front()["event"], "start");
    EXPECT_EQ(records.back()["event"], "finish");
    EXPECT_EQ(records.back()["note"], "signal");
}

TEST_F(DrawMode, ScriptedActionsRunBeforeTheTimeLimitAndEndTheRun) {
    auto run = start({"SCRAWLET_DRAW_ACTIONS=tool.arrow,edit.clearAll", "SCRAWLET_DRAW_SECONDS=1"});
    ASSERT_EQ(run->wait(30s), 0) << run->standardError();
    EXPECT_NE(run->standardError().find("draw: scripted tool.arrow -> changedTool(arrow)"),
              std::string::npos);
    EXPECT_NE(
        run->standardError().find("draw: scripted edit.clearAll -> nothingToDo(already empty)"),
        std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(TemporaryFolder::read(summary()))["reason"], "scriptedActions");
}

TEST_F(DrawMode, AnUnwritableSummaryEndsWithStatus3) {
    auto run =
        start({"SCRAWLET_DRAW_SUMMARY=/nonexistent/folder/draw.json", "SCRAWLET_DRAW_SECONDS=0.2"});
    ASSERT_EQ(run->wait(30s), 3) << run->standardError();
    EXPECT_NE(run->standardError().find("draw: summary write failed: "), std::string::npos);
    EXPECT_EQ(logRecords().back()["note"], "timeout");
}

}  // namespace
