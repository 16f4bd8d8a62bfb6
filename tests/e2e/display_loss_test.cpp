// The X server going away under a draw-mode run: the run still ends through its finish, with
// the summary and the event log's last record, on a private server the test can kill.
#include <signal.h>

#include "tests/e2e/draw_run.h"

namespace {

using namespace std::chrono_literals;
using scrawlet::e2e::XSession;
using scrawlet::testing::TemporaryFolder;

TEST(DisplayLoss, AServerThatDiesEndsTheRunThroughFinishWithItsSummary) {
    auto session = XSession::start();
    ASSERT_TRUE(session) << session.error();
    TemporaryFolder tmp;
    const auto summary = tmp.path() / "draw.json";
    const auto log = tmp.path() / "draw.jsonl";
    scrawlet::testing::ChildProcess run(
        SCRAWLET_EXECUTABLE,
        {"DISPLAY=" + (*session)->displayName(), "XDG_CONFIG_HOME=" + tmp.path().string(),
         "HOME=" + tmp.path().string(), "XDG_RUNTIME_DIR=" + tmp.path().string(),
         "SCRAWLET_DRAW_SUMMARY=" + summary.string(), "SCRAWLET_DRAW_LOG=" + log.string()});
    ASSERT_TRUE(run.waitForError(scrawlet::e2e::kBannerEnd, 30s)) << run.standardError();

    ASSERT_EQ(::kill((*session)->serverPid(), SIGKILL), 0);
    ASSERT_EQ(run.wait(20s), 0) << run.standardError();
    EXPECT_NE(run.standardError().find("draw: wrote " + summary.string()), std::string::npos)
        << run.standardError();
    const auto document = nlohmann::json::parse(TemporaryFolder::read(summary));
    EXPECT_EQ(document["reason"], "displayLost");
    const auto records = scrawlet::testing::readJsonLines(log);
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.back()["event"], "finish");
    EXPECT_EQ(records.back()["note"], "displayLost");
}

}  // namespace
