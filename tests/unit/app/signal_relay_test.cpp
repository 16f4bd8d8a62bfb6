#include "app/shell/signal_relay.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTest>
#include <csignal>

namespace scrawlet::shell {
namespace {

TEST(SignalRelay, SignalsArriveAsMainThreadCallsInOrder) {
    int argc = 1;
    char name[] = "signal_relay_test";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    SignalRelay relay;
    std::vector<int> seen;
    ASSERT_TRUE(relay.install(SIGUSR1, [&] { seen.push_back(SIGUSR1); }));
    ASSERT_TRUE(relay.install(SIGUSR2, [&] { seen.push_back(SIGUSR2); }));
    std::raise(SIGUSR1);
    std::raise(SIGUSR2);
    std::raise(SIGUSR1);
    EXPECT_TRUE(seen.empty()) << "nothing runs inside the handler";
    EXPECT_TRUE(QTest::qWaitFor([&] { return seen.size() == 3; }, 2000));
    EXPECT_EQ(seen, (std::vector<int>{SIGUSR1, SIGUSR2, SIGUSR1}));
}

}  // namespace
}  // namespace scrawlet::shell
