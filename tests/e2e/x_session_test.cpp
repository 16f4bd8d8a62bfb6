#include "tests/e2e/x_session.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>

namespace scrawlet::e2e {
namespace {

bool isRunning(pid_t pid) {
    return kill(pid, 0) == 0 || errno != ESRCH;
}

TEST(XSessionTest, SecondSessionTakesAnotherDisplayAndStopsBothProcesses) {
    auto session = XSession::start();
    ASSERT_TRUE(session.has_value()) << session.error();
    const auto& shared = XSessionEnvironment::session();
    EXPECT_NE((*session)->displayName(), shared.displayName());

    const pid_t server = (*session)->serverPid();
    const pid_t compositor = (*session)->compositorPid();
    ASSERT_TRUE(isRunning(server));
    ASSERT_TRUE(isRunning(compositor));
    session->reset();
    // Reaped by the destructor, so the PIDs no longer name anything of ours.
    EXPECT_FALSE(isRunning(server));
    EXPECT_FALSE(isRunning(compositor));
}

}  // namespace
}  // namespace scrawlet::e2e
