// A fixture for tests that run the scrawlet program in draw mode on the test display, split
// into two monitors "A" and "B": it starts runs with a private configuration folder, summary
// and event log, injects real input through XTest and reads what the compositor put on the
// screen.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "app/platform/platform_services.h"
#include "tests/e2e/x_session.h"
#include "tests/support/child_process.h"
#include "tests/support/json_lines.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::e2e {

inline constexpr const char* kBannerEnd = "SIGUSR2 (or Ctrl-C) finishes.";
inline constexpr QRgb kInk = qRgb(0, 192, 0);
// Monitor A is 960 wide: the panel (with its sentinel) is centred, 120 above the bottom.
inline const QPoint kPanelOrigin(960 / 2 - 416 / 2, 1080 - 120 - 62);

class DrawRun : public GuiTestSuite {
  protected:
    static void SetUpTestSuite() {
        GuiTestSuite::SetUpTestSuite();
        const auto set = XSessionEnvironment::session().setMonitors(XSession::twoMonitors());
        ASSERT_TRUE(set) << set.error();
        ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::screens().size() == 2; }, 5000));
    }

    void SetUp() override {
        input = scrawlet::platform::createSyntheticInput();
        ASSERT_TRUE(input && input->canInject());
    }

    // `outputToo`: standard output is collected with standard error.
    std::unique_ptr<scrawlet::testing::ChildProcess> start(std::vector<std::string> extra = {},
                                                           bool outputToo = false) {
        // The first definition of a name wins, so the test's own come first.
        std::vector<std::string> env = std::move(extra);
        const std::vector<std::string> defaults = {
            "DISPLAY=" + XSessionEnvironment::session().displayName(),
            "XDG_CONFIG_HOME=" + tmp.path().string(),
            "HOME=" + tmp.path().string(),
            "XDG_RUNTIME_DIR=" + tmp.path().string(),
            "SCRAWLET_DRAW_SUMMARY=" + summary().string(),
            "SCRAWLET_DRAW_LOG=" + log().string(),
            "SCRAWLET_DRAW_COLOUR=#00C000",
            "SCRAWLET_DRAW_WIDTH=12",
            // Every run is a first launch here: the welcome window goes at once, and no update
            // check can leave the machine (port 9 is discard, closed on test machines).
            "SCRAWLET_DRAW_ONBOARDING_AUTO_DISMISS_SECONDS=0",
            "SCRAWLET_UPDATE_FEED_URL=http://127.0.0.1:9/products/appcast.xml",
        };
        env.insert(env.end(), defaults.begin(), defaults.end());
        return std::make_unique<scrawlet::testing::ChildProcess>(SCRAWLET_EXECUTABLE, env,
                                                                 outputToo);
    }

    std::unique_ptr<scrawlet::testing::ChildProcess> startAndAwaitBanner(
        std::vector<std::string> extra = {}) {
        auto run = start(std::move(extra));
        EXPECT_TRUE(run->started());
        EXPECT_TRUE(run->waitForError(kBannerEnd, std::chrono::seconds(30)))
            << run->standardError();
        return run;
    }

    static void finishWith(scrawlet::testing::ChildProcess& run, int signal) {
        run.signal(signal);
        ASSERT_EQ(run.wait(std::chrono::seconds(20)), 0) << run.standardError();
    }

    std::filesystem::path summary() const { return tmp.path() / "draw.json"; }
    std::filesystem::path log() const { return tmp.path() / "draw.jsonl"; }

    nlohmann::ordered_json summaryDocument() const {
        return nlohmann::ordered_json::parse(scrawlet::testing::TemporaryFolder::read(summary()));
    }

    std::vector<nlohmann::json> logRecords() const {
        return scrawlet::testing::readJsonLines(log());
    }

    std::vector<nlohmann::json> events(const std::string& name) const {
        std::vector<nlohmann::json> found;
        for (auto& record : logRecords()) {
            if (record.value("event", "") == name || record.value("kind", "") == name) {
                found.push_back(std::move(record));
            }
        }
        return found;
    }

    bool awaitEvents(const std::string& name, std::size_t count) const {
        return QTest::qWaitFor([&] { return events(name).size() >= count; }, 10000);
    }

    static QRgb onScreen(QPoint global) {
        return QGuiApplication::primaryScreen()
            ->grabWindow(0, global.x(), global.y(), 1, 1)
            .toImage()
            .pixel(0, 0);
    }

    static bool awaitColour(QPoint global, QRgb colour, bool equal = true) {
        return QTest::qWaitFor([&] { return (onScreen(global) == colour) == equal; }, 5000);
    }

    void drag(QPoint from, QPoint to, int steps = 12) {
        ASSERT_TRUE(input->movePointer(from));
        ASSERT_TRUE(input->setButton(Qt::LeftButton, true));
        for (int i = 1; i <= steps; ++i) {
            ASSERT_TRUE(input->movePointer(from + (to - from) * i / steps));
            QTest::qWait(5);
        }
        ASSERT_TRUE(input->setButton(Qt::LeftButton, false));
    }

    void click(QPoint at) {
        ASSERT_TRUE(input->movePointer(at));
        ASSERT_TRUE(input->setButton(Qt::LeftButton, true));
        ASSERT_TRUE(input->setButton(Qt::LeftButton, false));
    }

    scrawlet::testing::TemporaryFolder tmp;
    std::unique_ptr<scrawlet::platform::SyntheticInput> input;
};

}  // namespace scrawlet::e2e
