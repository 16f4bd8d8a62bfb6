#include "app/shell/finish_deferral.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTest>

namespace scrawlet::shell {
namespace {

using Clock = std::chrono::steady_clock;

TEST(FinishDeferral, WaitsForAPendingCaptureButNeverMuchLongerThanFiveSeconds) {
    int argc = 1;
    char name[] = "finish_deferral_test";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    bool pending = true;
    std::vector<std::string> finished;
    FinishDeferral deferral([&] { return pending; },
                            [&](const std::string& reason) { finished.push_back(reason); });

    deferral.request("signal");
    QTest::qWait(200);
    EXPECT_TRUE(finished.empty()) << "a pending capture holds the finish back";
    pending = false;
    ASSERT_TRUE(QTest::qWaitFor([&] { return !finished.empty(); }, 1000));
    EXPECT_EQ(finished, std::vector<std::string>{"signal"});

    // A capture that never completes.
    pending = true;
    finished.clear();
    const auto stuck = Clock::now();
    deferral.request("timeout");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !finished.empty(); }, 8000))
        << "still waiting after 8 s";
    const double waited = std::chrono::duration<double>(Clock::now() - stuck).count();
    EXPECT_GE(waited, 4.9);
    EXPECT_LT(waited, 7.0);
    EXPECT_EQ(finished, std::vector<std::string>{"timeout"});
}

}  // namespace
}  // namespace scrawlet::shell
