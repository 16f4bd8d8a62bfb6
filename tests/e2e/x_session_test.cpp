#include "tests/e2e/x_session.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <algorithm>
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

namespace scrawlet::e2e {
namespace {

class XSessionMonitors : public GuiTestSuite {};

TEST_F(XSessionMonitors, QtSeesOneScreenPerMonitorAndFollowsRemovalAndReturn) {
    const XSession& session = XSessionEnvironment::session();
    ASSERT_TRUE(session.setMonitors(XSession::twoMonitors()));
    const auto names = [] {
        QStringList list;
        for (QScreen* screen : QGuiApplication::screens()) list << screen->name();
        list.sort();
        return list;
    };
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return names() == QStringList{"A", "B"};
        },
        5000))
        << names().join(",").toStdString();

    const auto removed = session.removeMonitor("B");
    ASSERT_TRUE(removed) << removed.error();
    EXPECT_TRUE(QTest::qWaitFor([&] { return names() == QStringList{"A"}; }, 5000))
        << names().join(",").toStdString();
    ASSERT_TRUE(session.addMonitor(XSession::twoMonitors()[1]));
    EXPECT_TRUE(QTest::qWaitFor([&] { return names() == QStringList{"A", "B"}; }, 5000));
    const auto screens = QGuiApplication::screens();
    const auto b =
        std::find_if(screens.begin(), screens.end(), [](QScreen* s) { return s->name() == "B"; });
    ASSERT_NE(b, screens.end());
    EXPECT_EQ((*b)->geometry(), QRect(960, 0, 960, 1080));
}

}  // namespace
}  // namespace scrawlet::e2e
