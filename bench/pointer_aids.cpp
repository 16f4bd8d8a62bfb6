// What the aids that follow the pointer cost as a user moves it, on one private Xvfb 1920x1080
// with xcompmgr: the CPU of the scrawlet program, Xvfb and xcompmgr together while XTest moves
// the pointer round a circle at 60 Hz and while it rests, the scrawlet program's thread
// wake-ups at rest, and how long after a jump of the pointer the aid shows at its new place on
// the root window, which under xcompmgr holds the composited screen. `pointer` (the default)
// measures the spotlight and the cursor highlight, `magnifiers` the zoom lens, the full-screen
// zoom and the capture of the whole display, beside a plain window that the bench moves with the
// pointer over the program with no aid on: the least any lens costs here. Each case runs three
// times in a fresh process; the program with no aid on is the baseline, and each case's cost
// over it is given per frame too. Prints one `name value` line per result, then a table of the
// medians.
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "bench/ink_tool.h"
#include "bench/measurement.h"
#include "tests/e2e/x_session.h"

namespace {

using namespace scrawlet::bench;

constexpr int kRuns = 3;
constexpr double kMovingSeconds = 10;
constexpr double kStillSeconds = 3;
constexpr int kJumps = 30;
constexpr double kFrameMs = 1000.0 / 60;

struct Case {
    const char* name;
    std::vector<std::string> environment;
    // What shows at the pointer, `markOffset` pixels to its right, once the aid has caught up,
    // for the latency; none for no aid.
    enum class Mark { none, red, green } mark = Mark::none;
    int markOffset = 0;
    // The bench itself moves a plain 400-pixel ARGB window with the pointer: what any lens
    // that follows the pointer costs the server and the compositing manager at least.
    bool movesWindow = false;
};

// The places the pointer jumps between.
constexpr int kPlaces[2][2] = {{400, 400}, {1400, 700}};

// Dim opacity 1 makes the dim black over the bench's red backdrop, so the hole shows red; the
// highlight is an opaque green disc.
const std::vector<Case> kPointerCases = {
    {"none", {}},
    {"spotlight",
     {"SCRAWLET_DRAW_SPOTLIGHT=1", "SCRAWLET_DRAW_SPOTLIGHT_DIM_OPACITY=1"},
     Case::Mark::red},
    {"highlight",
     {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT=1", "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SHAPE=filledCircle",
      "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_COLOUR=#00FF00", "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_OPACITY=1"},
     Case::Mark::green},
    {"both", {"SCRAWLET_DRAW_SPOTLIGHT=1", "SCRAWLET_DRAW_CURSOR_HIGHLIGHT=1"}},
};

// Green 20-pixel squares stand at the places the pointer jumps to: the lens at level 2 shows
// one 40 pixels wide round the pointer, so 15 pixels to its right turns green only once the
// lens is there. The capture case captures the whole display at 60 frames a second.
const std::vector<Case> kMagnifierCases = {
    {"none", {}},
    {"lens", {"SCRAWLET_DRAW_LENS=1"}, Case::Mark::green, 15},
    {"zoom", {"SCRAWLET_DRAW_FULLSCREEN_ZOOM=1"}},
    {"capture", {"SCRAWLET_DRAW_CAPTURE=1"}},
    {"window", {}, Case::Mark::none, 0, true},
};

class Desk {
  public:
    Desk(const std::string& display, bool markers) : c_(xcb_connect(display.c_str(), nullptr)) {
        if (xcb_connection_has_error(c_))
            return;
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
        root_ = screen->root;
        // A red window under everything stands for the desktop.
        backdrop_ = xcb_generate_id(c_);
        const std::uint32_t values[] = {0xff0000, 1};
        xcb_create_window(c_, XCB_COPY_FROM_PARENT, backdrop_, root_, 0, 0, 1920, 1080, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_map_window(c_, backdrop_);
        for (const auto& place : kPlaces) {
            if (!markers)
                break;
            const xcb_window_t marker = xcb_generate_id(c_);
            const std::uint32_t green[] = {0x00ff00, 1};
            xcb_create_window(c_, XCB_COPY_FROM_PARENT, marker, root_, std::int16_t(place[0] - 10),
                              std::int16_t(place[1] - 10), 20, 20, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                              screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT,
                              green);
            xcb_map_window(c_, marker);
        }
        xcb_flush(c_);
    }
    ~Desk() { xcb_disconnect(c_); }
    bool ok() const { return !xcb_connection_has_error(c_); }

    void lowerBackdrop() {
        const std::uint32_t below = XCB_STACK_MODE_BELOW;
        xcb_configure_window(c_, backdrop_, XCB_CONFIG_WINDOW_STACK_MODE, &below);
        xcb_flush(c_);
    }
    // A translucent grey disc in a clear square, drawn once.
    void showWindow(int x, int y) {
        if (window_ == XCB_NONE) {
            const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
            xcb_visualid_t visual = 0;
            for (auto d = xcb_screen_allowed_depths_iterator(screen); d.rem && !visual;
                 xcb_depth_next(&d)) {
                if (d.data->depth == 32)
                    visual = xcb_depth_visuals_iterator(d.data).data->visual_id;
            }
            const xcb_colormap_t colormap = xcb_generate_id(c_);
            xcb_create_colormap(c_, XCB_COLORMAP_ALLOC_NONE, colormap, root_, visual);
            window_ = xcb_generate_id(c_);
            const std::uint32_t values[] = {0, 0, 1, colormap};
            xcb_create_window(c_, 32, window_, root_, 0, 0, 400, 400, 0,
                              XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                              XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT |
                                  XCB_CW_COLORMAP,
                              values);
            xcb_map_window(c_, window_);
            const xcb_gcontext_t gc = xcb_generate_id(c_);
            const std::uint32_t grey = 0xc0606060;
            xcb_create_gc(c_, gc, window_, XCB_GC_FOREGROUND, &grey);
            const xcb_arc_t disc{4, 4, 392, 392, 0, 360 * 64};
            xcb_poly_fill_arc(c_, window_, gc, 1, &disc);
        }
        const std::uint32_t place[] = {std::uint32_t(x - 200), std::uint32_t(y - 200)};
        xcb_configure_window(c_, window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
        xcb_flush(c_);
    }
    void hideWindow() {
        if (window_ != XCB_NONE)
            xcb_destroy_window(c_, window_);
        window_ = XCB_NONE;
        xcb_flush(c_);
    }
    void move(int x, int y) {
        xcb_test_fake_input(c_, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root_, std::int16_t(x),
                            std::int16_t(y), 0);
        xcb_flush(c_);
    }
    // The screen's pixel as 0xRRGGBB, or nothing when the server refused.
    std::optional<std::uint32_t> pixel(int x, int y) {
        std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
            xcb_get_image_reply(c_,
                                xcb_get_image(c_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, std::int16_t(x),
                                              std::int16_t(y), 1, 1, ~0u),
                                nullptr),
            &std::free);
        if (!image || xcb_get_image_data_length(image.get()) < 4)
            return std::nullopt;
        std::uint32_t value = 0;
        std::memcpy(&value, xcb_get_image_data(image.get()), 4);
        return value & 0xffffff;
    }

  private:
    xcb_connection_t* c_;
    xcb_window_t root_ = XCB_NONE;
    xcb_window_t backdrop_ = XCB_NONE;
    xcb_window_t window_ = XCB_NONE;
};

bool shows(std::uint32_t pixel, Case::Mark mark) {
    const int r = int(pixel >> 16 & 0xff), g = int(pixel >> 8 & 0xff), b = int(pixel & 0xff);
    return mark == Case::Mark::red ? r > 220 && g < 40 && b < 40 : g > 220 && r < 40 && b < 40;
}

// CPU of each process as a percentage of one core over `seconds` of `act`.
template <class Act>
std::vector<double> cpuPercent(const std::vector<pid_t>& pids, double seconds, Act act) {
    std::vector<double> before;
    for (const pid_t pid : pids) {
        before.push_back(cpuSecondsOf(pid).value_or(NAN));
    }
    const double start = monotonicSeconds();
    act(start + seconds);
    const double elapsed = monotonicSeconds() - start;
    std::vector<double> percent;
    for (std::size_t i = 0; i < pids.size(); ++i) {
        percent.push_back(100 * (cpuSecondsOf(pids[i]).value_or(NAN) - before[i]) / elapsed);
    }
    return percent;
}

// Context switches of every thread of the process.
double switchesOf(pid_t pid) {
    double sum = 0;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator(tasks, error)) {
        std::ifstream status(task.path() / "status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.starts_with("voluntary_ctxt_switches:") ||
                line.starts_with("nonvoluntary_ctxt_switches:"))
                sum += std::stod(line.substr(line.find(':') + 1));
        }
    }
    return sum;
}

using Results = std::map<std::string, std::map<std::string, std::vector<double>>>;

bool measure(const Case& aid, int runIndex, const scrawlet::e2e::XSession& session, Desk& desk,
             Results& results) {
    const auto record = [&](const std::string& name, double value) {
        print(std::string(aid.name) + "_run" + std::to_string(runIndex) + "_" + name, value);
        results[aid.name][name].push_back(value);
    };
    desk.move(400, 400);
    ToolRun run(InkTool::scrawlet, session.displayName(), aid.environment);
    if (!run.awaitStarted())
        return false;
    desk.lowerBackdrop();
    if (aid.mark != Case::Mark::none) {
        const double deadline = monotonicSeconds() + 10;
        while (!shows(desk.pixel(400 + aid.markOffset, 400).value_or(0), aid.mark)) {
            if (monotonicSeconds() > deadline)
                return run.fail("showed nothing at the pointer");
            sleepUntil(monotonicSeconds() + 0.005);
        }
    }
    const std::vector<pid_t> pids{run.pid(), session.serverPid(), session.compositorPid()};

    const auto recordCpu = [&](const std::string& phase, const std::vector<double>& percent) {
        record(phase + "_cpu_percent", percent[0] + percent[1] + percent[2]);
        record(phase + "_scrawlet_cpu_percent", percent[0]);
        record(phase + "_xvfb_cpu_percent", percent[1]);
        record(phase + "_xcompmgr_cpu_percent", percent[2]);
    };
    recordCpu("moving", cpuPercent(pids, kMovingSeconds, [&](double end) {
                  double next = monotonicSeconds();
                  for (int i = 0; next < end; ++i) {
                      const int x = 960 + int(300 * std::cos(i * 0.05));
                      const int y = 540 + int(300 * std::sin(i * 0.05));
                      desk.move(x, y);
                      if (aid.movesWindow)
                          desk.showWindow(x, y);
                      next += 1.0 / 60;
                      sleepUntil(next);
                  }
              }));
    desk.hideWindow();
    sleepUntil(monotonicSeconds() + 0.3);
    const double switches = switchesOf(run.pid());
    recordCpu("still", cpuPercent(pids, kStillSeconds, [](double end) { sleepUntil(end); }));
    record("still_wakeups_per_s", (switchesOf(run.pid()) - switches) / kStillSeconds);

    if (aid.mark != Case::Mark::none) {
        std::vector<double> latencies;
        for (int i = 0; i < kJumps; ++i) {
            const auto& to = kPlaces[i % 2];
            const double sent = monotonicSeconds();
            desk.move(to[0], to[1]);
            while (!shows(desk.pixel(to[0] + aid.markOffset, to[1]).value_or(0), aid.mark)) {
                if (monotonicSeconds() - sent > 2)
                    return run.fail("did not follow a jump of the pointer");
            }
            latencies.push_back((monotonicSeconds() - sent) * 1e3);
            sleepUntil(monotonicSeconds() + 0.05);
        }
        record("jump_latency_ms_p50", percentile(latencies, 0.5));
        record("jump_latency_ms_p90", percentile(latencies, 0.9));
        record("jump_latency_ms_max", percentile(latencies, 1));
    }
    run.drain();
    return run.finish();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string suite = argc > 1 ? argv[1] : "pointer";
    if (suite != "pointer" && suite != "magnifiers") {
        std::fprintf(stderr, "pointer_aids: unknown suite \"%s\" (pointer|magnifiers)\n",
                     suite.c_str());
        return 64;
    }
    const bool magnifiers = suite == "magnifiers";
    std::vector<Case> cases = magnifiers ? kMagnifierCases : kPointerCases;
    // Naming cases after the suite measures only those, for profiling one of them.
    if (argc > 2) {
        std::erase_if(cases, [&](const Case& aid) {
            return std::find(argv + 2, argv + argc, std::string(aid.name)) == argv + argc;
        });
    }
    auto session = scrawlet::e2e::XSession::start();
    if (!session) {
        std::fprintf(stderr, "pointer_aids: %s\n", session.error().c_str());
        return 1;
    }
    Desk desk((*session)->displayName(), magnifiers);
    if (!desk.ok()) {
        std::fprintf(stderr, "pointer_aids: cannot connect to the session\n");
        return 1;
    }
    Results results;
    for (int runIndex = 1; runIndex <= kRuns; ++runIndex) {
        for (const Case& aid : cases) {
            if (!measure(aid, runIndex, **session, desk, results))
                return 1;
        }
    }
    std::printf(
        "\nmedians of %d runs (CPU: scrawlet + Xvfb + xcompmgr, %% of one core; one "
        "frame is %.1f ms)\n",
        kRuns, kFrameMs);
    std::printf("%-10s %11s %11s %11s %9s %9s %9s %10s %10s %12s %12s\n", "aid", "moving cpu",
                "ms/frame", "over none", "scrawlet", "Xvfb", "xcompmgr", "still cpu", "wakeups/s",
                "jump p50 ms", "jump p90 ms");
    const auto baseline = [&](const char* name) {
        auto& none = results["none"];
        return none.contains(name) ? percentile(none[name], 0.5) : NAN;
    };
    for (const Case& aid : cases) {
        auto& r = results[aid.name];
        const auto median = [&](const char* name) {
            return r.contains(name) ? percentile(r[name], 0.5) : NAN;
        };
        // CPU per frame at 60 frames a second.
        std::printf("%-10s %11.1f %11.2f %11.2f %9.1f %9.1f %9.1f %10.1f %10.1f %12.2f %12.2f\n",
                    aid.name, median("moving_cpu_percent"), median("moving_cpu_percent") * 10 / 60,
                    (median("moving_cpu_percent") - baseline("moving_cpu_percent")) * 10 / 60,
                    median("moving_scrawlet_cpu_percent"), median("moving_xvfb_cpu_percent"),
                    median("moving_xcompmgr_cpu_percent"), median("still_cpu_percent"),
                    median("still_wakeups_per_s"), median("jump_latency_ms_p50"),
                    median("jump_latency_ms_p90"));
    }
    return 0;
}
