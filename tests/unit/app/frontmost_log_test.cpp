#include "app/log/frontmost_log.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::log {
namespace {

TEST(FrontmostLogFormat, KeysInOrderWithPanelFieldsOnlyWithAPanel) {
    const platform::FrontmostApp app{"org.example.App", "App", true};
    EXPECT_EQ(
        FrontmostLog::formatRecord(3, 12.5, "modeToggle", app, std::nullopt, "n"),
        R"({"seq":3,"t":12.500000,"event":"modeToggle","frontmostBundleID":"org.example.App",)"
        R"("frontmostName":"App","isOurs":true,"note":"n"})");
    const PanelState panel{true, false, false, true, 1000, 1, true, "HDMI-1"};
    EXPECT_EQ(FrontmostLog::formatRecord(4, 0.0000004, "e", {}, panel, ""),
              R"({"seq":4,"t":0.000000,"event":"e","frontmostBundleID":"","frontmostName":"",)"
              R"("isOurs":false,"panelVisible":true,"panelIsKey":false,"panelIsMain":false,)"
              R"("ignoresMouseEvents":true,"level":1000,"collectionBehavior":1,)"
              R"("onActiveSpace":true,"screen":"HDMI-1","note":""})");
}

// The capture thread records beside the main thread: every line whole, numbered in file order.
TEST(FrontmostLogThreads, RecordsFromTwoThreadsArriveWholeAndInSequence) {
    testing::TemporaryFolder tmp;
    FrontmostLog log;
    ASSERT_TRUE(log.start(tmp.path() / "log.jsonl"));
    constexpr int kEach = 5000;
    const auto writer = [&log](std::string name) {
        for (int i = 0; i < kEach; ++i) {
            log.record(name, std::nullopt, "i=" + std::to_string(i));
            if (i % 100 == 0) {
                log.setFrontmost({name, name, false});
            }
        }
    };
    std::thread capture(writer, "capture");
    writer("main");
    capture.join();
    log.finish("done");

    std::istringstream in(testing::TemporaryFolder::read(tmp.path() / "log.jsonl"));
    long long expected = 1;
    for (std::string line; std::getline(in, line); ++expected) {
        const auto record = nlohmann::json::parse(line);  // throws on a torn line
        ASSERT_EQ(record["seq"], expected) << line;
    }
    EXPECT_EQ(expected - 1, 2 * kEach + 2) << "start, every record, finish";
}

}  // namespace
}  // namespace scrawlet::log
