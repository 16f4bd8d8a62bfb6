#include "bench/ink_tool.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "bench/measurement.h"

namespace scrawlet::bench {

std::atomic<pid_t> runningToolPid = -1;

namespace {

constexpr const char* kGromit = "/usr/bin/gromit-mpx";
constexpr const char* kBannerEnd = "SIGUSR2 (or Ctrl-C) finishes.";

// The default tool, plain and with every modifier, is the one red pen.
constexpr const char* kGromitConfig = R"("red Pen" = PEN (size=4 color="#ff0000");
"default" = "red Pen";
)";
// Without it the first start opens an introduction dialog over the screen.
constexpr const char* kGromitState = "[General]\nShowIntroOnStartup=false\n";

}  // namespace

const char* toolName(InkTool tool) {
    return tool == InkTool::scrawlet ? "scrawlet" : "gromit";
}

bool toolInstalled(InkTool tool) {
    return tool == InkTool::scrawlet || ::access(kGromit, X_OK) == 0;
}

ToolRun::ToolRun(InkTool tool, const std::string& display, const std::vector<std::string>& extra)
    : tool_(tool) {
    const std::string home = home_.path().string();
    std::vector<std::string> environment = {
        "DISPLAY=" + display,
        "HOME=" + home,
        "XDG_CONFIG_HOME=" + home,
        "XDG_RUNTIME_DIR=" + home,
        "DBUS_SESSION_BUS_ADDRESS=unix:path=" + home + "/no-bus",
        "NO_AT_BRIDGE=1",
        "PATH=/usr/bin:/bin",
    };
    std::string program;
    if (tool == InkTool::scrawlet) {
        program = SCRAWLET_EXECUTABLE;
        environment.insert(environment.end(), {
                                                  "SCRAWLET_DRAW_PANEL=0",
                                                  "SCRAWLET_DRAW_COLOUR=#ff0000",
                                                  "SCRAWLET_DRAW_WIDTH=4",
                                                  "SCRAWLET_DRAW_SECONDS=300",
                                                  // A welcome window would sit under the ink.
                                                  "SCRAWLET_DRAW_ONBOARDING_AUTO_DISMISS_SECONDS=0",
                                                  "SCRAWLET_UPDATE_FEED_URL=http://127.0.0.1:9/",
                                                  "SCRAWLET_DRAW_SUMMARY=" + home + "/draw.json",
                                                  "SCRAWLET_DRAW_LOG=" + home + "/draw.jsonl",
                                              });
        environment.insert(environment.end(), extra.begin(), extra.end());
        // Lets one run measure a drawing path other than the one the program would choose.
        if (const char* path = std::getenv("SCRAWLET_DRAW_PRESENT")) {
            environment.push_back(std::string("SCRAWLET_DRAW_PRESENT=") + path);
        }
    } else {
        home_.write("gromit-mpx.cfg", kGromitConfig);
        home_.write("gromit-mpx.ini", kGromitState);
        environment.push_back("GDK_BACKEND=x11");
        // ChildProcess passes no arguments; a script that execs keeps the pid. Its window is 75 %
        // opaque unless told otherwise, and it prints to standard output too, which would mix
        // with the results.
        const auto script = home_.write("start-gromit", std::string("#!/bin/sh\nexec ") + kGromit +
                                                            " --active --opacity 1 1>&2\n");
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        program = script.string();
    }
    process_ = std::make_unique<scrawlet::testing::ChildProcess>(program, environment);
    runningToolPid = process_->pid();
}

ToolRun::~ToolRun() {
    process_.reset();
    runningToolPid = -1;
}

bool ToolRun::running() {
    return process_->started() && !process_->wait(std::chrono::milliseconds(0));
}

bool ToolRun::awaitStarted() {
    if (!process_->started()) {
        return fail("did not start");
    }
    if (tool_ == InkTool::scrawlet &&
        !process_->waitForError(kBannerEnd, std::chrono::seconds(30))) {
        return fail("printed no banner");
    }
    return true;
}

std::optional<std::uint64_t> ToolRun::drawnEvents() {
    if (tool_ != InkTool::scrawlet) {
        return std::nullopt;
    }
    const std::size_t from = process_->standardError().size();
    process_->signal(SIGPWR);
    if (!process_->waitForError(" frames", std::chrono::seconds(10), from)) {
        return std::nullopt;
    }
    return drawnEventsIn(process_->standardError(), from);
}

void ToolRun::drain() {
    // A text no tool prints: this only reads what is already there.
    process_->waitForError(std::string(1, '\x01'), std::chrono::milliseconds(1));
}

bool ToolRun::finish() {
    process_->signal(SIGTERM);
    if (!process_->wait(std::chrono::seconds(20))) {
        return fail("did not end on SIGTERM");
    }
    return true;
}

bool ToolRun::fail(const std::string& why) {
    drain();
    std::fprintf(stderr, "%s: %s %s; its standard error:\n%s\n", program_invocation_short_name,
                 toolName(tool_), why.c_str(), process_->standardError().c_str());
    return false;
}

}  // namespace scrawlet::bench
