#include "app/shell/frontmost_log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::shell {
namespace {

using testing::TemporaryFolder;

class FixedFrontmost : public platform::FrontmostAppProvider {
  public:
    platform::FrontmostApp frontmostApp() override {
        return {"org.example.Editor", "Ed \"β\"", false};
    }
};

std::vector<std::string> lines(const std::filesystem::path& file) {
    std::istringstream in(TemporaryFolder::read(file));
    std::vector<std::string> result;
    for (std::string line; std::getline(in, line);) {
        result.push_back(line);
    }
    return result;
}

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

TEST(FrontmostLogFormat, StringsAreEscapedAndUtf8IsKept) {
    const std::string line = FrontmostLog::formatRecord(
        1, 1, "e", {}, std::nullopt, "quote\" back\\ tab\t nl\n bell\x07 \xC3\xA9");
    const auto parsed = nlohmann::json::parse(line);
    EXPECT_EQ(parsed["note"], "quote\" back\\ tab\t nl\n bell\x07 \xC3\xA9");
    EXPECT_NE(line.find("\\u0007"), std::string::npos);
    EXPECT_NE(line.find("\xC3\xA9"), std::string::npos);
}

TEST(FrontmostLogFile, StartRecordsFinishInOrderAndTruncatesOldLogs) {
    TemporaryFolder tmp;
    const auto file = tmp.write("run.jsonl", "old line\nold line\n");
    FixedFrontmost provider;
    FrontmostLog log;
    log.setFrontmostProvider(&provider);
    ASSERT_TRUE(log.start(file.string()));
    log.record("hotkey", std::nullopt, "tool.pen");
    log.recordLine(R"({"kind":"registration","n":1})");
    EXPECT_EQ(lines(file).size(), 3u) << "records are written as they are made";
    log.finish("quit");

    const auto written = lines(file);
    ASSERT_EQ(written.size(), 4u);
    const auto start = nlohmann::json::parse(written[0]);
    EXPECT_EQ(start["event"], "start");
    EXPECT_EQ(start["note"], "ownBundleID=org.scrawlet.Scrawlet");
    EXPECT_EQ(start["frontmostName"], "Ed \"β\"");
    EXPECT_EQ(nlohmann::json::parse(written[1])["seq"], start["seq"].get<int>() + 1);
    EXPECT_EQ(written[2], R"({"kind":"registration","n":1})");
    const auto finish = nlohmann::json::parse(written[3]);
    EXPECT_EQ(finish["event"], "finish");
    EXPECT_EQ(finish["note"], "quit");
    EXPECT_GE(finish["t"].get<double>(), start["t"].get<double>());

    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST(FrontmostLogFile, NeverFollowsALinkAndRunsOnWithoutAFile) {
    TemporaryFolder tmp;
    const auto target = tmp.write("precious", "keep me");
    std::filesystem::create_symlink(target, tmp.path() / "link.jsonl");
    FrontmostLog log;
    EXPECT_FALSE(log.start((tmp.path() / "link.jsonl").string()));
    log.record("hotkey");
    log.finish("done");
    EXPECT_EQ(TemporaryFolder::read(target), "keep me");

    FrontmostLog nowhere;
    EXPECT_FALSE(nowhere.start((tmp.path() / "missing" / "log.jsonl").string()));
    nowhere.recordLine("{}");
}

}  // namespace
}  // namespace scrawlet::shell
