// The measurements of the ink comparison, each made against whichever tool is on screen: probe
// strokes until ink shows, isolated motions, a steady stream, a large scene drawn quickly, and
// the CPU of the processes involved over an interval. All run on the calling thread except the
// stream's sender; latencies are milliseconds from the motion leaving for the server to the
// poll that found its point inked.
#pragma once

#include <sys/types.h>

#include <memory>
#include <vector>

#include "bench/ink_meter.h"
#include "bench/ink_tool.h"

namespace scrawlet::bench {

struct Meter {
    std::unique_ptr<PointerDriver> driver;
    std::unique_ptr<InkPoller> poller;
};

// A pid of -1 is not counted.
struct Pids {
    pid_t tool, server, compositor;
};

struct CpuSnapshot {
    double wall = 0, tool = 0, server = 0, compositor = 0, self = 0;
    static CpuSnapshot take(const Pids& pids);
};

// Percent of one core over an interval; `meter` is this process.
struct CpuShare {
    double tool = 0, server = 0, compositor = 0, meter = 0;
    double total() const { return tool + server + compositor; }
    static CpuShare between(const CpuSnapshot& from, const CpuSnapshot& to);
};

void pauseFor(double seconds);

// Short strokes along `row` until one shows, each a fresh press: one made before the tool held
// the pointer started nothing. False (reported) if the tool exits or the time runs out.
bool awaitDrawing(Meter& meter, ToolRun& run, ZigzagRow row, double limitSeconds);

// Waits until the rectangle shows no ink, as after a tool has gone; false after five seconds.
bool awaitClear(Meter& meter, int x, int y, int width, int height);

struct SingleResult {
    std::vector<double> latencyMs;
    int lost = 0;
};

// `motions` motions along `row`, each sent once the previous one showed (or timed out) and a
// pause longer than a 60 Hz frame has passed, so that each meets a tool at rest.
SingleResult measureSingle(Meter& meter, ZigzagRow row, int motions);

struct StreamResult {
    std::vector<double> latencyMs;  // empty when not polled
    std::vector<double> sentAt;     // when each motion of `latencyMs` left
    int lost = 0;
    // Of the lost, those still missing once the button is up again.
    int lostAfterRelease = 0;
    CpuShare cpu;
    int polls = 0;
    // Median time between back-to-back polls; NaN when not polled.
    double pollIntervalMs = 0;
};

// `motions` motions along `row` at `hz` from a thread of their own, CPU counted from the first
// to the last. Polled: this thread looks for each point's first appearance. Unpolled: it only
// looks once, a second after the last motion, so that the CPU figures carry no reads of the
// meter's.
StreamResult measureStream(Meter& meter, const Pids& pids, ZigzagRow row, int motions, double hz,
                           bool polled);

// `points` points as strokes across the screen above y = 720, a few hundred microseconds apart;
// milliseconds from the last release until the last point shows, NaN if it never does.
double drawScene(Meter& meter, int points);

}  // namespace scrawlet::bench
