// One draw-mode run per display: a second launch asks the running one to show itself, says so
// in one line and ends at once, and a launch after the first run has ended starts normally.
#include "tests/e2e/draw_run.h"

namespace {

using namespace std::chrono_literals;
using namespace scrawlet::e2e;
using scrawlet::testing::TemporaryFolder;

using DrawSingleRun = DrawRun;

TEST_F(DrawSingleRun, ASecondLaunchShowsTheRunningOneAndEndsInOneLine) {
    auto first = startAndAwaitBanner();
    const QPoint middle(1450, 500);
    drag(QPoint(1300, 500), QPoint(1600, 500));
    ASSERT_TRUE(awaitColour(middle, kInk));
    // Annotation off hides the ink, which the second launch should bring back.
    for (const std::uint32_t key : {0xffe3u, 0xffe9u, 0x70u}) ASSERT_TRUE(input->setKey(key, true));
    for (const std::uint32_t key : {0x70u, 0xffe9u, 0xffe3u})
        ASSERT_TRUE(input->setKey(key, false));
    ASSERT_TRUE(awaitEvents("annotationToggle", 1));
    ASSERT_TRUE(awaitColour(middle, kInk, false));

    TemporaryFolder elsewhere;
    auto second = start({"SCRAWLET_DRAW_SUMMARY=" + (elsewhere.path() / "draw.json").string(),
                         "SCRAWLET_DRAW_LOG=" + (elsewhere.path() / "draw.jsonl").string()});
    ASSERT_EQ(second->wait(20s), 0) << second->standardError();
    EXPECT_EQ(second->standardError(),
              "draw: Scrawlet is already running on this display; it was asked to show itself\n");
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere.path())) << "no summary, no event log";

    ASSERT_TRUE(awaitEvents("showRequested", 1)) << first->standardError();
    EXPECT_TRUE(awaitColour(middle, kInk)) << "the running one shows its ink again";
    finishWith(*first, SIGTERM);
    EXPECT_EQ(summaryDocument()["reason"], "signal");

    auto third = startAndAwaitBanner();
    EXPECT_EQ(third->standardError().find("already running"), std::string::npos);
    finishWith(*third, SIGTERM);
}

}  // namespace
