// Runs the scrawlet executable with prepared environments and checks its exit statuses and
// standard-error lines.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "tests/support/child_process.h"
#include "tests/unit/app/temporary_folder.h"

namespace {

using scrawlet::testing::TemporaryFolder;

struct ProcessRun {
    int status = -1;
    std::string standardError;
};

ProcessRun runScrawlet(const std::vector<std::string>& environment) {
    scrawlet::testing::ChildProcess child(SCRAWLET_EXECUTABLE, environment);
    const auto status = child.wait(std::chrono::seconds(30));
    return {status.value_or(-1), child.standardError()};
}

// Every run gets its own settings folder and log paths, and no display.
class ScrawletProcess : public ::testing::Test {
  protected:
    ProcessRun run(std::vector<std::string> extra) {
        std::vector<std::string> env = {
            "XDG_CONFIG_HOME=" + tmp_.path().string(),
            "HOME=" + tmp_.path().string(),
            "SCRAWLET_DRAW_LOG=" + (tmp_.path() / "draw.jsonl").string(),
            "SCRAWLET_DRAW_SUMMARY=" + (tmp_.path() / "draw.json").string(),
        };
        env.insert(env.end(), extra.begin(), extra.end());
        return runScrawlet(env);
    }
    TemporaryFolder tmp_;
};

TEST_F(ScrawletProcess, UnknownModeIsOneLineAndStatus64) {
    const ProcessRun r = run({"SCRAWLET_MODE=Draw"});
    EXPECT_EQ(r.status, 64);
    EXPECT_EQ(r.standardError,
              "scrawlet: unknown SCRAWLET_MODE \"Draw\" (overlay|probe|draw|capture|textspike)\n");
    EXPECT_FALSE(std::filesystem::exists(tmp_.path() / "scrawlet")) << "nothing else happens";
}

TEST_F(ScrawletProcess, ConfigurationErrorsEndTheRunBeforeAnythingElse) {
    struct Case {
        std::vector<std::string> env;
        int status;
        std::string line;
    };
    const auto badSettings = tmp_.write("bad.json", "[1,2]");
    const Case cases[] = {
        {{"SCRAWLET_DRAW_TOOL=Pen"},
         64,
         "draw: unknown tool \"Pen\" "
         "(pen|line|arrow|rectangle|ellipse|highlighter|text|eraser|select)\n"},
        {{"SCRAWLET_DRAW_ACTIONS=tool.pen,nope"},
         64,
         "draw: unknown action \"nope\" in SCRAWLET_DRAW_ACTIONS\n"},
        {{"SCRAWLET_OVERLAY_BEHAVIOR=canJoinAllSpaces,bogus"},
         64,
         "draw: unknown collectionBehavior tokens: bogus\n"},
        {{"SCRAWLET_DRAW_SETTINGS=/nonexistent.json"},
         66,
         "draw: cannot read settings at /nonexistent.json: No such file or directory\n"},
    };
    for (const Case& c : cases) {
        const ProcessRun r = run(c.env);
        EXPECT_EQ(r.status, c.status) << c.line;
        // The store's first-run line may come first; the error is the last word.
        EXPECT_TRUE(r.standardError.ends_with(c.line)) << r.standardError;
        EXPECT_EQ(r.standardError.find("no drawable screen"), std::string::npos);
    }
    const ProcessRun bad = run({"SCRAWLET_DRAW_SETTINGS=" + badSettings.string()});
    EXPECT_EQ(bad.status, 66);
    EXPECT_TRUE(bad.standardError.starts_with("draw: cannot read settings at " +
                                              badSettings.string() + ": "))
        << bad.standardError;
    EXPECT_EQ(TemporaryFolder::read(badSettings), "[1,2]");
}

TEST_F(ScrawletProcess, AnUnreachableDisplayIsStatus2WithItsLine) {
    // No X server listens on a display number this high.
    const ProcessRun r = run({"DISPLAY=:65000"});
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(r.standardError.ends_with("draw: no drawable screen\n")) << r.standardError;
}

// The check modes refuse before any window: a bad token is a usage error, a missing display
// ends the run with status 2, each line prefixed with its mode.
TEST_F(ScrawletProcess, CheckModesRefuseWithTheirLineAndStatus) {
    struct Case {
        std::vector<std::string> env;
        int status;
        std::string line;
    };
    const Case cases[] = {
        {{"SCRAWLET_MODE=overlay", "SCRAWLET_OVERLAY_BEHAVIOR=canJoinAllSpaces,bogus,x",
          "DISPLAY=:65000"},
         64,
         "overlay: unknown collectionBehavior tokens: bogus,x\n"},
        {{"SCRAWLET_MODE=overlay", "DISPLAY=:65000"}, 2, "overlay: no drawable screen\n"},
        {{"SCRAWLET_MODE=overlay", "DISPLAY="}, 2, "overlay: no drawable screen\n"},
        {{"SCRAWLET_MODE=textspike", "DISPLAY=:65000"}, 2, "textspike: no drawable screen\n"},
        {{"SCRAWLET_MODE=capture", "SCRAWLET_CAPTURE_DISPLAY=7", "DISPLAY=:65000"},
         2,
         "capture: no drawable screen\n"},
        {{"SCRAWLET_MODE=textspike", "SCRAWLET_TEXTSPIKE_LIVE=1"},
         2,
         "textspike: no drawable screen\n"},
    };
    for (const Case& c : cases) {
        const ProcessRun r = run(c.env);
        EXPECT_EQ(r.status, c.status) << c.line;
        EXPECT_EQ(r.standardError, c.line);
    }
}

// The probe refuses before it looks for a display: a configuration error with a display that
// does not exist is still the configuration error.
TEST_F(ScrawletProcess, TheProbeRefusesWithItsLineAndStatusBeforeAnyWindow) {
    struct Case {
        std::vector<std::string> env;
        int status;
        std::string line;
    };
    const Case cases[] = {
        {{"SCRAWLET_MODE=probe", "DISPLAY=:65000"},
         64,
         "probe: SCRAWLET_PROBE_DEVICE is required (see M0-plan P3)\n"},
        {{"SCRAWLET_PROBE_DEVICE=", "SCRAWLET_PROBE_PRESENT_MODE=immediate", "DISPLAY=:65000"},
         64,
         "probe: unknown SCRAWLET_PROBE_PRESENT_MODE \"immediate\" (vsync|per-event)\n"},
        {{"SCRAWLET_PROBE_DEVICE=m", "SCRAWLET_PROBE_MAX_DRAWABLES=1", "DISPLAY=:65000"},
         64,
         "probe: SCRAWLET_PROBE_MAX_DRAWABLES must be 2 or 3, got 1\n"},
        {{"SCRAWLET_PROBE_DEVICE=m", "DISPLAY=:65000"}, 2, "probe: no screen\n"},
        {{"SCRAWLET_PROBE_DEVICE=m", "DISPLAY="}, 2, "probe: no screen\n"},
    };
    for (const Case& c : cases) {
        const ProcessRun r = run(c.env);
        EXPECT_EQ(r.status, c.status) << c.line;
        EXPECT_EQ(r.standardError, c.line);
    }
}

// Each would hang or read without bound if opened as a plain file.
TEST_F(ScrawletProcess, ASettingsPathThatIsNoSmallRegularFileIsStatus66AtOnce) {
    const auto fifo = tmp_.path() / "settings.fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto folder = tmp_.path() / "folder.json";
    std::filesystem::create_directory(folder);
    const auto huge = tmp_.write("huge.json", std::string(2 << 20, ' ') + "{}");
    const std::pair<std::string, std::string> cases[] = {
        {"/dev/zero", "not a regular file"},
        {fifo.string(), "not a regular file"},
        {folder.string(), "Is a directory"},
        {huge.string(), "larger than 1048576 bytes"},
    };
    for (const auto& [path, why] : cases) {
        const auto started = std::chrono::steady_clock::now();
        const ProcessRun r = run({"SCRAWLET_DRAW_SETTINGS=" + path});
        EXPECT_EQ(r.status, 66) << path;
        EXPECT_EQ(r.standardError, "draw: cannot read settings at " + path + ": " + why + "\n");
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10)) << path;
    }
}

}  // namespace
