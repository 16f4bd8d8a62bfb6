// A private X session for end-to-end tests: an Xvfb server on a display number the server picks
// itself, with xcompmgr owning the compositing-manager selection so that translucent windows
// behave as on a desktop, or without one for tests of a desktop that lacks it.
//
// `start` returns only once the server accepts clients and, unless asked to go without, the
// compositing manager owns `_NET_WM_CM_S0`; every wait is bounded. Both processes are stopped by
// PID (SIGTERM, then SIGKILL) when the session is destroyed or its start fails, and they are asked
// to die with the test process should it crash. `XSessionEnvironment` shares one session across a
// test binary.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <expected>
#include <memory>
#include <string>
#include <vector>

namespace scrawlet::e2e {

class XSession {
  public:
    enum class Compositing { on, off };
    static std::expected<std::unique_ptr<XSession>, std::string> start(
        Compositing compositing = Compositing::on);
    ~XSession();
    XSession(const XSession&) = delete;
    XSession& operator=(const XSession&) = delete;

    // ":N", for DISPLAY or xcb_connect.
    const std::string& displayName() const { return displayName_; }
    pid_t serverPid() const { return serverPid_; }
    pid_t compositorPid() const { return compositorPid_; }

    // Starts xcompmgr and returns once it owns the selection; stops it and returns once the
    // selection is free. Starting while one runs, or stopping while none does, does nothing.
    std::expected<void, std::string> startCompositor();
    std::expected<void, std::string> stopCompositor();

    // Points this process's X clients (Qt included) at the session. Call before QGuiApplication.
    void exportToProcess() const;

    // RandR monitors carved out of the one Xvfb screen; Qt makes a QScreen of each.
    struct Monitor {
        std::string name;
        int x = 0, y = 0, width = 0, height = 0;
    };
    // Replaces every monitor of the screen with `monitors`.
    std::expected<void, std::string> setMonitors(const std::vector<Monitor>& monitors) const;
    std::expected<void, std::string> removeMonitor(const std::string& name) const;
    std::expected<void, std::string> addMonitor(const Monitor& monitor) const;
    // Runs xrandr with `args` against the session; false when it fails.
    bool xrandr(std::vector<std::string> args) const;
    // The layout the draw-mode tests use: two side-by-side 960 × 1080 monitors, "A" and "B".
    static std::vector<Monitor> twoMonitors();

  private:
    XSession() = default;
    std::expected<void, std::string> startCompositor(
        std::chrono::steady_clock::time_point deadline);

    pid_t serverPid_ = -1;
    pid_t compositorPid_ = -1;
    std::string displayName_;
};

// Starts the session before the first test and stops it after the last one. A session that
// cannot start fails the binary's tests rather than letting them run against no display.
class XSessionEnvironment : public ::testing::Environment {
  public:
    void SetUp() override;
    void TearDown() override;

    // The shared session; only valid between SetUp and TearDown.
    static XSession& session();
};

// Base of a suite whose tests need a Qt GUI application on the session's display. The
// application is made before the suite's first test and deleted after its last, before the
// environment stops the server, or Qt's X connection breaks under it.
class GuiTestSuite : public ::testing::Test {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
};

}  // namespace scrawlet::e2e
