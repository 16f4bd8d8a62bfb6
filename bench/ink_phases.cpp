#include "bench/ink_phases.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <random>
#include <thread>

#include "bench/measurement.h"

namespace scrawlet::bench {
namespace {

// How long after the last motion a point may still appear before it counts as lost.
constexpr double kGraceSeconds = 1.0;
constexpr double kSingleTimeoutSeconds = 0.3;
// Between isolated motions: longer than a 60 Hz frame, so that a tool whose frame clock limits
// it to one frame per refresh meets each motion idle, and random, so that motions do not fall
// in step with a tool's timers.
constexpr double kSingleGapMinSeconds = 0.02, kSingleGapMaxSeconds = 0.04;
constexpr double kSinglePollGapSeconds = 0.0001;
// Between stream polls: each costs Xvfb a wake-up, and the tools need the cores.
constexpr double kStreamPollGapSeconds = 0.0003;
// Stream points younger than this are polled every turn; older ones, most likely lost, every
// kStalePollSeconds, so that a tool which drops motions does not widen every image.
constexpr double kFreshSeconds = 0.25;
constexpr double kStalePollSeconds = 0.01;
constexpr int kScenePointsPerStroke = 600;
constexpr double kScenePeriodSeconds = 0.0004;

bool inkedAt(Meter& meter, PixelPoint point) {
    const auto flags = meter.poller->inked({point});
    return !flags.empty() && flags[0];
}

PixelPoint scenePoint(int index) {
    const int stroke = index / kScenePointsPerStroke, j = index % kScenePointsPerStroke;
    return {60 + 3 * j, 30 + 20 * stroke + static_cast<int>(std::lround(6 * std::sin(j * 0.2)))};
}

}  // namespace

CpuSnapshot CpuSnapshot::take(const Pids& pids) {
    const auto of = [](pid_t pid) { return pid > 0 ? cpuSecondsOf(pid).value_or(NAN) : 0.0; };
    return {monotonicSeconds(), of(pids.tool), of(pids.server), of(pids.compositor),
            ownCpuSeconds()};
}

CpuShare CpuShare::between(const CpuSnapshot& from, const CpuSnapshot& to) {
    const double wall = to.wall - from.wall;
    const auto share = [&](double a, double b) { return (b - a) / wall * 100; };
    return {share(from.tool, to.tool), share(from.server, to.server),
            share(from.compositor, to.compositor), share(from.self, to.self)};
}

void pauseFor(double seconds) {
    sleepUntil(monotonicSeconds() + seconds);
}

bool awaitDrawing(Meter& meter, ToolRun& run, ZigzagRow row, double limitSeconds) {
    const double deadline = monotonicSeconds() + limitSeconds;
    while (monotonicSeconds() < deadline) {
        if (!run.running()) {
            return run.fail("exited");
        }
        meter.driver->press(row.at(0));
        std::vector<PixelPoint> points;
        for (int i = 1; i <= 6; ++i) {
            pauseFor(0.005);
            meter.driver->moveTo(row.at(i));
            points.push_back(row.at(i));
        }
        const double until = monotonicSeconds() + 0.15;
        bool shown = false;
        while (!shown && monotonicSeconds() < until) {
            const auto flags = meter.poller->inked(points);
            shown = std::find(flags.begin(), flags.end(), true) != flags.end();
            pauseFor(0.002);
        }
        meter.driver->release(row.at(6));
        if (shown) {
            return true;
        }
        pauseFor(0.1);
    }
    return run.fail("never showed a probe stroke");
}

bool awaitClear(Meter& meter, int x, int y, int width, int height) {
    const double deadline = monotonicSeconds() + 5;
    while (meter.poller->anyInk(x, y, width, height)) {
        if (monotonicSeconds() > deadline) {
            return false;
        }
        pauseFor(0.05);
    }
    return true;
}

SingleResult measureSingle(Meter& meter, ZigzagRow row, int motions) {
    SingleResult result;
    std::mt19937 random(7);
    std::uniform_real_distribution<double> gap(kSingleGapMinSeconds, kSingleGapMaxSeconds);
    meter.driver->press(row.at(0));
    pauseFor(0.05);
    for (int i = 1; i <= motions; ++i) {
        const PixelPoint point = row.at(i);
        const double sent = meter.driver->moveTo(point);
        bool shown = false;
        while (!shown && monotonicSeconds() - sent < kSingleTimeoutSeconds) {
            shown = inkedAt(meter, point);
            if (shown) {
                result.latencyMs.push_back((monotonicSeconds() - sent) * 1e3);
            } else {
                pauseFor(kSinglePollGapSeconds);
            }
        }
        result.lost += shown ? 0 : 1;
        pauseFor(gap(random));
    }
    meter.driver->release(row.at(motions));
    return result;
}

StreamResult measureStream(Meter& meter, const Pids& pids, ZigzagRow row, int motions, double hz,
                           bool polled) {
    std::vector<double> sent(static_cast<std::size_t>(motions) + 1, NAN),
        seen(static_cast<std::size_t>(motions) + 1, NAN);
    std::atomic<int> sentCount = 0;
    std::atomic<bool> done = false;
    CpuSnapshot before, after;
    meter.driver->press(row.at(0));
    pauseFor(0.05);
    std::thread sender([&] {
        const double period = 1 / hz;
        double due = monotonicSeconds() + period;
        before = CpuSnapshot::take(pids);
        for (int i = 1; i <= motions; ++i, due += period) {
            sleepUntil(due);
            sent[static_cast<std::size_t>(i)] = meter.driver->moveTo(row.at(i));
            sentCount.store(i, std::memory_order_release);
        }
        after = CpuSnapshot::take(pids);
        done.store(true, std::memory_order_release);
    });

    StreamResult result;
    std::vector<int> pending, asked;
    std::vector<PixelPoint> points;
    std::vector<double> pollIntervals;
    int queued = 0;
    double endAt = INFINITY, nextStale = 0, lastPoll = NAN;
    while (true) {
        const double now = monotonicSeconds();
        if (done.load(std::memory_order_acquire)) {
            endAt = std::min(endAt, now + kGraceSeconds);
            if (now >= endAt || (pending.empty() && queued == motions)) {
                break;
            }
        }
        for (const int count = sentCount.load(std::memory_order_acquire); queued < count;) {
            pending.push_back(++queued);
        }
        if (!polled) {
            pauseFor(0.01);
            continue;
        }
        const bool staleDue = now >= nextStale;
        if (staleDue) {
            nextStale = now + kStalePollSeconds;
        }
        asked.clear();
        points.clear();
        for (const int i : pending) {
            if (staleDue || sent[static_cast<std::size_t>(i)] >= now - kFreshSeconds) {
                asked.push_back(i);
                points.push_back(row.at(i));
            }
        }
        if (points.empty()) {
            lastPoll = NAN;
        } else {
            const auto flags = meter.poller->inked(points);
            const double at = monotonicSeconds();
            // Only back-to-back polls: the resolution while something is awaited.
            if (!std::isnan(lastPoll)) {
                pollIntervals.push_back((at - lastPoll) * 1e3);
            }
            lastPoll = at;
            ++result.polls;
            for (std::size_t k = 0; k < flags.size(); ++k) {
                if (flags[k]) {
                    seen[static_cast<std::size_t>(asked[k])] = at;
                    std::erase(pending, asked[k]);
                }
            }
        }
        pauseFor(kStreamPollGapSeconds);
    }
    sender.join();
    if (!polled) {
        const std::vector<int> all = std::move(pending);
        points.clear();
        for (const int i : all) points.push_back(row.at(i));
        const auto flags = meter.poller->inked(points);
        pending.clear();
        for (std::size_t k = 0; k < all.size(); ++k) {
            if (flags.empty() || !flags[k]) {
                pending.push_back(all[k]);
            }
        }
    }
    meter.driver->release(row.at(motions));

    for (int i = 1; i <= motions; ++i) {
        if (!std::isnan(seen[static_cast<std::size_t>(i)])) {
            result.latencyMs.push_back(
                (seen[static_cast<std::size_t>(i)] - sent[static_cast<std::size_t>(i)]) * 1e3);
            result.sentAt.push_back(sent[static_cast<std::size_t>(i)]);
        }
    }
    result.lost = static_cast<int>(pending.size());
    if (!pending.empty()) {
        pauseFor(0.3);
        std::vector<PixelPoint> missing;
        for (const int i : pending) missing.push_back(row.at(i));
        const auto flags = meter.poller->inked(missing);
        result.lostAfterRelease = static_cast<int>(std::count(flags.begin(), flags.end(), false));
    }
    result.cpu = CpuShare::between(before, after);
    result.pollIntervalMs = percentile(pollIntervals, 0.5);
    return result;
}

double drawScene(Meter& meter, int points) {
    double due = monotonicSeconds();
    for (int i = 0; i < points; ++i, due += kScenePeriodSeconds) {
        sleepUntil(due);
        const int j = i % kScenePointsPerStroke;
        if (j == 0) {
            meter.driver->press(scenePoint(i));
        } else if (j == kScenePointsPerStroke - 1 || i == points - 1) {
            meter.driver->release(scenePoint(i));
        } else {
            meter.driver->moveTo(scenePoint(i));
        }
    }
    const double released = monotonicSeconds();
    const PixelPoint last = scenePoint(points - 1);
    while (monotonicSeconds() - released < 30) {
        if (inkedAt(meter, last)) {
            return (monotonicSeconds() - released) * 1e3;
        }
        pauseFor(0.001);
    }
    return NAN;
}

}  // namespace scrawlet::bench
