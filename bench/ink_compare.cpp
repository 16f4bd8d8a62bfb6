// The scrawlet program beside gromit-mpx, as a user sees them, on one private Xvfb 1920x1080 with
// xcompmgr: XTest motions along a zigzag with the left button down, and the time until each
// motion's point shows red on the root window. Measured for isolated motions, in a steady 125 Hz
// stream, and again once 20,000 more motions have been drawn across the screen; with the CPU of
// the tool, Xvfb and xcompmgr while streaming and of the tool at rest. The tools take turns,
// three runs each, a fresh process per run. Prints one `name value` line per result, then a
// table of the medians.
#include <signal.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/ink_meter.h"
#include "bench/ink_phases.h"
#include "bench/ink_tool.h"
#include "bench/measurement.h"
#include "tests/e2e/x_session.h"

namespace {

using namespace scrawlet::bench;

constexpr int kRuns = 3;
constexpr int kSingleMotions = 100;
constexpr double kStreamHz = 125;
constexpr int kStreamMotions = 375;  // three seconds
constexpr int kScenePoints = 20000;
constexpr double kIdleSeconds = 2.0;
// One row per phase, below the scene (which ends above y = 720); latency is read on the polled
// rows, CPU on the unpolled ones.
constexpr ZigzagRow kProbeRow(20, 740);
constexpr ZigzagRow kSingleRow(100, 790);
constexpr ZigzagRow kStreamRow(100, 850);
constexpr ZigzagRow kStreamCpuRow(100, 910);
constexpr ZigzagRow kLoadedRow(100, 970);
constexpr ZigzagRow kLoadedCpuRow(100, 1030);
// Everything from here down, probe row included, must be bare before a tool starts.
constexpr int kClearTop = 715;
constexpr unsigned kWatchdogSeconds = 330;

void onWatchdog(int) {
    const pid_t tool = runningToolPid.load();
    if (tool > 0) {
        kill(tool, SIGKILL);
    }
    const char message[] = "ink_compare: watchdog expired\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, message, sizeof message - 1);
    _exit(124);
}

// Results of every run, by tool and name.
using Results = std::map<std::string, std::map<std::string, std::vector<double>>>;

// Prints each result as `<tool>_run<n>_<name> value` and keeps it for the table.
class Recorder {
  public:
    Recorder(Results& results, const std::string& tool, int run)
        : results_(results), tool_(tool), prefix_(tool + "_run" + std::to_string(run) + "_") {}

    void operator()(const std::string& name, double value) {
        print(prefix_ + name, value);
        results_[tool_][name].push_back(value);
    }
    void spread(const std::string& name, const std::vector<double>& latencyMs) {
        (*this)(name + "_median_ms", percentile(latencyMs, 0.5));
        (*this)(name + "_p90_ms", percentile(latencyMs, 0.9));
    }
    void cpu(const std::string& name, const CpuShare& share) {
        (*this)(name + "_cpu_percent", share.total());
        (*this)(name + "_tool_cpu_percent", share.tool);
        (*this)(name + "_xvfb_cpu_percent", share.server);
        (*this)(name + "_xcompmgr_cpu_percent", share.compositor);
        (*this)(name + "_meter_cpu_percent", share.meter);
    }
    void polled(const std::string& name, const StreamResult& result) {
        spread(name, result.latencyMs);
        (*this)(name + "_lost", result.lost);
        (*this)(name + "_lost_after_release", result.lostAfterRelease);
        (*this)(name + "_polls", result.polls);
        (*this)(name + "_poll_interval_ms", result.pollIntervalMs);
        // What the meter's reads add: compare with the unpolled run's figures.
        (*this)(name + "_polled_xvfb_cpu_percent", result.cpu.server);
        (*this)(name + "_polled_meter_cpu_percent", result.cpu.meter);
    }
    void unpolled(const std::string& name, const StreamResult& result) {
        cpu(name, result.cpu);
        (*this)(name + "_unpolled_lost", result.lost);
    }

  private:
    Results& results_;
    std::string tool_, prefix_;
};

bool measureTool(InkTool tool, int runIndex, const scrawlet::e2e::XSession& session, Meter& meter,
                 Results& results) {
    if (!awaitClear(meter, 0, kClearTop, 1920, 1080 - kClearTop)) {
        std::fprintf(stderr, "ink_compare: ink from an earlier run is still on screen\n");
        return false;
    }
    Recorder record(results, toolName(tool), runIndex);
    const double spawned = monotonicSeconds();
    ToolRun run(tool, session.displayName());
    if (!run.awaitStarted() || !awaitDrawing(meter, run, kProbeRow, 30)) {
        return false;
    }
    record("startup_to_ink_ms", (monotonicSeconds() - spawned) * 1e3);
    const Pids pids{run.pid(), session.serverPid(), session.compositorPid()};
    pauseFor(0.3);

    const SingleResult single = measureSingle(meter, kSingleRow, kSingleMotions);
    record.spread("single", single.latencyMs);
    record("single_lost", single.lost);
    pauseFor(0.3);
    record.polled("stream",
                  measureStream(meter, pids, kStreamRow, kStreamMotions, kStreamHz, true));
    pauseFor(0.3);
    record.unpolled("stream",
                    measureStream(meter, pids, kStreamCpuRow, kStreamMotions, kStreamHz, false));
    run.drain();

    const double sceneStart = monotonicSeconds();
    const double catchUpMs = drawScene(meter, kScenePoints);
    if (std::isnan(catchUpMs)) {
        return run.fail("never showed the scene's last point");
    }
    record("scene_draw_s", monotonicSeconds() - sceneStart);
    record("scene_catch_up_ms", catchUpMs);
    if (const auto events = run.drawnEvents()) {
        record("scene_events_taken", static_cast<double>(*events));
    }
    pauseFor(0.5);
    record.polled("loaded",
                  measureStream(meter, pids, kLoadedRow, kStreamMotions, kStreamHz, true));
    pauseFor(0.3);
    record.unpolled("loaded",
                    measureStream(meter, pids, kLoadedCpuRow, kStreamMotions, kStreamHz, false));

    pauseFor(0.5);
    const CpuSnapshot idleStart = CpuSnapshot::take(pids);
    pauseFor(kIdleSeconds);
    record.cpu("idle", CpuShare::between(idleStart, CpuSnapshot::take(pids)));
    if (!run.running()) {
        return run.fail("exited during the run");
    }
    run.drain();
    return run.finish();
}

// The meter polling an empty screen, every point lost: what its reads cost Xvfb and this
// process at their busiest, and a check that it sees no ink where there is none.
bool calibrateMeter(const scrawlet::e2e::XSession& session, Meter& meter) {
    const Pids pids{-1, session.serverPid(), session.compositorPid()};
    const StreamResult alone =
        measureStream(meter, pids, kStreamRow, kStreamMotions, kStreamHz, true);
    print("meter_alone_false_ink", kStreamMotions - alone.lost);
    print("meter_alone_poll_interval_ms", alone.pollIntervalMs);
    print("meter_alone_self_cpu_percent", alone.cpu.meter);
    print("meter_alone_xvfb_cpu_percent", alone.cpu.server);
    print("meter_alone_xcompmgr_cpu_percent", alone.cpu.compositor);
    if (alone.lost != kStreamMotions) {
        std::fprintf(stderr, "ink_compare: the meter saw ink on an empty screen\n");
        return false;
    }
    return true;
}

// The medians of the runs side by side, with the ratio scrawlet / gromit-mpx.
void printTable(const Results& results, bool withGromit) {
    struct Row {
        const char* label;
        const char* name;
    };
    static const Row kRows[] = {
        {"isolated motion to ink, median ms", "single_median_ms"},
        {"isolated motion to ink, p90 ms", "single_p90_ms"},
        {"isolated motions lost", "single_lost"},
        {"125 Hz stream to ink, median ms", "stream_median_ms"},
        {"125 Hz stream to ink, p90 ms", "stream_p90_ms"},
        {"125 Hz motions lost (polled)", "stream_lost"},
        {"125 Hz motions lost (unpolled)", "stream_unpolled_lost"},
        {"125 Hz CPU %, tool+Xvfb+xcompmgr", "stream_cpu_percent"},
        {"125 Hz CPU %, tool alone", "stream_tool_cpu_percent"},
        {"20k drawn: last point shown after ms", "scene_catch_up_ms"},
        {"20k drawn: 125 Hz to ink, median ms", "loaded_median_ms"},
        {"20k drawn: 125 Hz to ink, p90 ms", "loaded_p90_ms"},
        {"20k drawn: motions lost (polled)", "loaded_lost"},
        {"20k drawn: motions lost (unpolled)", "loaded_unpolled_lost"},
        {"20k drawn: CPU %, tool+Xvfb+xcompmgr", "loaded_cpu_percent"},
        {"20k drawn: CPU %, tool alone", "loaded_tool_cpu_percent"},
        {"idle after drawing: CPU %, tool", "idle_tool_cpu_percent"},
        {"start-up to first ink ms", "startup_to_ink_ms"},
    };
    const auto median = [&](const char* tool, const char* name) -> double {
        const auto byTool = results.find(tool);
        if (byTool == results.end() || !byTool->second.contains(name)) {
            return NAN;
        }
        return percentile(byTool->second.at(name), 0.5);
    };
    for (const char* tool : {"scrawlet", "gromit"}) {
        for (const Row& row : kRows) {
            if (const double value = median(tool, row.name); !std::isnan(value)) {
                print(std::string(tool) + "_" + row.name, value);
            }
        }
    }
    std::printf("\nmedians of %d runs%s\n", kRuns,
                withGromit ? "" : " (gromit-mpx is not installed)");
    std::printf("%-38s %10s %10s %8s\n", "", "scrawlet", "gromit", "ratio");
    for (const Row& row : kRows) {
        const double ours = median("scrawlet", row.name);
        const double theirs = median("gromit", row.name);
        std::printf("%-38s %10.1f ", row.label, ours);
        if (!withGromit) {
            std::printf("%10s %8s\n", "-", "-");
        } else if (theirs > 0) {
            std::printf("%10.1f %8.2f\n", theirs, ours / theirs);
        } else {
            std::printf("%10.1f %8s\n", theirs, "-");
        }
    }
    std::fflush(stdout);
}

int run(const scrawlet::e2e::XSession& session) {
    auto driver = PointerDriver::connect(session.displayName());
    auto poller = InkPoller::connect(session.displayName());
    if (!driver || !poller) {
        std::fprintf(stderr, "ink_compare: %s\n",
                     (!driver ? driver.error() : poller.error()).c_str());
        return 1;
    }
    Meter meter{std::move(*driver), std::move(*poller)};
    double load = NAN;
    std::ifstream("/proc/loadavg") >> load;
    // Other work on the machine shares its cores with the tools, Xvfb and xcompmgr.
    print("loadavg_1min", load);
    print("cpu_cores", static_cast<double>(std::thread::hardware_concurrency()));
    const bool withGromit = toolInstalled(InkTool::gromit);
    if (!withGromit) {
        std::fprintf(stderr, "ink_compare: gromit-mpx is not installed; its column is left out\n");
    }
    if (!calibrateMeter(session, meter)) {
        return 1;
    }
    Results results;
    for (int runIndex = 1; runIndex <= kRuns; ++runIndex) {
        for (const InkTool tool : {InkTool::scrawlet, InkTool::gromit}) {
            if (toolInstalled(tool) && !measureTool(tool, runIndex, session, meter, results)) {
                return 1;
            }
        }
    }
    printTable(results, withGromit);
    return 0;
}

}  // namespace

int main() {
    signal(SIGALRM, onWatchdog);
    alarm(kWatchdogSeconds);
    auto session = scrawlet::e2e::XSession::start();
    if (!session) {
        std::fprintf(stderr, "ink_compare: X session: %s\n", session.error().c_str());
        return 1;
    }
    return run(**session);
}
