// How fast a screenshot lands and whether taking one holds up the ink, on one private Xvfb
// 1920x1080 with xcompmgr: the time from the shortcut's keys leaving for the server until the
// PNG is in the capture folder, five times a run; and the motion-to-ink latency of a stroke
// streamed at 125 Hz while a screenshot is taken in the middle of it, beside the same stroke
// without one. Three runs, a fresh process each. Prints one `name value` line per result, then
// a table of the medians.
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/ink_meter.h"
#include "bench/ink_phases.h"
#include "bench/ink_tool.h"
#include "bench/measurement.h"
#include "tests/e2e/x_session.h"
#include "tests/unit/app/temporary_folder.h"

namespace {

using namespace scrawlet::bench;

constexpr int kRuns = 3;
constexpr int kShots = 5;
constexpr int kStreamMotions = 375;  // three seconds
constexpr double kStreamHz = 125;
constexpr double kShotIntoStreamSeconds = 1.0;
constexpr double kFrameMs = 1000.0 / 60;
constexpr ZigzagRow kProbeRow(20, 700);
constexpr ZigzagRow kQuietRow(100, 800);
constexpr ZigzagRow kShotRow(100, 900);

// The screenshot shortcut, Ctrl+Alt+S, typed through XTest.
class Shortcut {
  public:
    explicit Shortcut(const std::string& display) : c_(xcb_connect(display.c_str(), nullptr)) {
        if (xcb_connection_has_error(c_))
            return;
        const xcb_setup_t* setup = xcb_get_setup(c_);
        root_ = xcb_setup_roots_iterator(setup).data->root;
        const std::uint8_t first = setup->min_keycode;
        const int count = setup->max_keycode - first + 1;
        std::unique_ptr<xcb_get_keyboard_mapping_reply_t, decltype(&std::free)> mapping(
            xcb_get_keyboard_mapping_reply(
                c_, xcb_get_keyboard_mapping(c_, first, std::uint8_t(count)), nullptr),
            &std::free);
        if (!mapping)
            return;
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping.get());
        const int per = mapping->keysyms_per_keycode;
        const auto find = [&](xcb_keysym_t wanted) -> std::uint8_t {
            for (int i = 0; i < count; ++i)
                if (syms[i * per] == wanted)
                    return std::uint8_t(first + i);
            return 0;
        };
        keys_ = {find(0xffe3), find(0xffe9), find(0x73)};
    }
    ~Shortcut() { xcb_disconnect(c_); }
    bool ok() const { return !xcb_connection_has_error(c_) && keys_[0] && keys_[1] && keys_[2]; }
    // Returns when the keys have left for the server.
    double type() {
        for (const auto key : keys_)
            xcb_test_fake_input(c_, XCB_KEY_PRESS, key, XCB_CURRENT_TIME, root_, 0, 0, 0);
        for (auto key = keys_.rbegin(); key != keys_.rend(); ++key)
            xcb_test_fake_input(c_, XCB_KEY_RELEASE, *key, XCB_CURRENT_TIME, root_, 0, 0, 0);
        xcb_flush(c_);
        return monotonicSeconds();
    }

  private:
    xcb_connection_t* c_;
    xcb_window_t root_ = XCB_NONE;
    std::array<std::uint8_t, 3> keys_{};
};

std::size_t pngsIn(const std::filesystem::path& folder) {
    std::size_t count = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        // Not the hidden temporary file an atomic write renames into place.
        if (entry.path().extension() == ".png" &&
            !entry.path().filename().string().starts_with("."))
            ++count;
    }
    return count;
}

// Seconds until the folder holds `count` PNG files; NaN after five seconds.
double awaitFiles(const std::filesystem::path& folder, std::size_t count, double since) {
    while (pngsIn(folder) < count) {
        if (monotonicSeconds() - since > 5)
            return NAN;
        sleepUntil(monotonicSeconds() + 0.0005);
    }
    return monotonicSeconds() - since;
}

using Results = std::map<std::string, std::vector<double>>;

bool measure(int runIndex, const scrawlet::e2e::XSession& session, Meter& meter, Shortcut& keys,
             Results& results) {
    const auto record = [&](const std::string& name, double value) {
        print("run" + std::to_string(runIndex) + "_" + name, value);
        results[name].push_back(value);
    };
    scrawlet::testing::TemporaryFolder shots;
    ToolRun run(InkTool::scrawlet, session.displayName(),
                {"SCRAWLET_DRAW_CAPTURE_FOLDER=" + shots.path().string()});
    if (!run.awaitStarted() || !awaitDrawing(meter, run, kProbeRow, 30))
        return false;
    const Pids pids{run.pid(), session.serverPid(), session.compositorPid()};

    std::vector<double> toFile;
    for (int i = 1; i <= kShots; ++i) {
        meter.driver->moveTo({960, 300});
        pauseFor(0.3);
        const double sent = keys.type();
        const double seconds = awaitFiles(shots.path(), std::size_t(i), sent);
        if (std::isnan(seconds))
            return run.fail("wrote no screenshot");
        toFile.push_back(seconds * 1e3);
    }
    record("shortcut_to_file_ms_p50", percentile(toFile, 0.5));
    record("shortcut_to_file_ms_max", percentile(toFile, 1));
    run.drain();

    pauseFor(0.5);
    const StreamResult quiet =
        measureStream(meter, pids, kQuietRow, kStreamMotions, kStreamHz, true);
    record("stream_quiet_latency_ms_p50", percentile(quiet.latencyMs, 0.5));
    record("stream_quiet_latency_ms_max", percentile(quiet.latencyMs, 1));
    pauseFor(0.5);
    std::atomic<double> shotSent{NAN}, fileAfter{NAN};
    std::thread shooter([&] {
        sleepUntil(monotonicSeconds() + kShotIntoStreamSeconds);
        shotSent = keys.type();
        fileAfter = awaitFiles(shots.path(), kShots + 1, shotSent);
    });
    const StreamResult shot = measureStream(meter, pids, kShotRow, kStreamMotions, kStreamHz, true);
    shooter.join();
    if (std::isnan(fileAfter.load()))
        return run.fail("wrote no screenshot during the stroke");
    // Motions that left while the screenshot was pending; later ones meet the white flash,
    // under which the meter cannot see red ink.
    std::vector<double> pending;
    for (std::size_t i = 0; i < shot.latencyMs.size(); ++i) {
        if (shot.sentAt[i] >= shotSent && shot.sentAt[i] <= shotSent + fileAfter)
            pending.push_back(shot.latencyMs[i]);
    }
    record("stream_while_pending_motions", double(pending.size()));
    record("stream_while_pending_latency_ms_p50", percentile(pending, 0.5));
    record("stream_while_pending_latency_ms_max", percentile(pending, 1));
    record("stream_with_shot_lost", shot.lost);
    record("stream_shot_to_file_ms", fileAfter.load() * 1e3);
    run.drain();
    return run.finish();
}

}  // namespace

int main() {
    auto session = scrawlet::e2e::XSession::start();
    if (!session) {
        std::fprintf(stderr, "screenshot: %s\n", session.error().c_str());
        return 1;
    }
    Meter meter;
    auto driver = PointerDriver::connect((*session)->displayName());
    auto poller = InkPoller::connect((*session)->displayName());
    Shortcut keys((*session)->displayName());
    if (!driver || !poller || !keys.ok()) {
        std::fprintf(stderr, "screenshot: cannot drive the session\n");
        return 1;
    }
    meter.driver = std::move(*driver);
    meter.poller = std::move(*poller);
    Results results;
    for (int runIndex = 1; runIndex <= kRuns; ++runIndex) {
        if (!measure(runIndex, **session, meter, keys, results))
            return 1;
    }
    std::printf("\nmedians of %d runs (1920x1080; one frame is %.1f ms)\n", kRuns, kFrameMs);
    for (const auto& [name, values] : results)
        std::printf("%-36s %10.2f\n", name.c_str(), percentile(values, 0.5));
    return 0;
}
