// End-to-end measurements of the scrawlet program in draw mode under a private Xvfb with
// xcompmgr, split into two monitors: start-up to the first overlay on screen, resident memory
// at rest and after drawing, idle CPU, an XTest key press to the panel showing the new tool, a
// typed key to the keystroke pill on screen with the CPU once it has faded, and one shortcut
// re-registration pass in this process. Prints one `name value` line per result.
#include <signal.h>
#include <unistd.h>

#include <QColor>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/ink/control_panel_layout.h"
#include "app/platform/platform_services.h"
#include "app/shell/action_catalog_store.h"
#include "app/shortcuts/hotkey_centre.h"
#include "bench/measurement.h"
#include "core/settings.h"
#include "tests/e2e/x_session.h"
#include "tests/support/child_process.h"
#include "tests/support/json_lines.h"
#include "tests/unit/app/temporary_folder.h"

namespace {

using Clock = std::chrono::steady_clock;
using scrawlet::bench::cpuSecondsOf;
using scrawlet::bench::percentile;
using scrawlet::bench::print;
using scrawlet::testing::ChildProcess;

constexpr const char* kBannerEnd = "SIGUSR2 (or Ctrl-C) finishes.";
constexpr int kStartupRuns = 5;
constexpr int kKeyPresses = 20;
constexpr int kReregisterPasses = 50;
constexpr std::uint64_t kDrawnEvents = 20000;
constexpr double kDrawingLimitSeconds = 30;
constexpr double kIdleSeconds = 10;
constexpr std::uint32_t kKeyL = 0x6c;
constexpr std::uint32_t kKeyP = 0x70;
// The centre registration mark of monitor A and its colour.
constexpr QPoint kCentreMark(480, 540);
constexpr QRgb kMarkColour = qRgb(0, 255, 255);
constexpr QRgb kActiveButton = qRgb(61, 133, 255);
// Inside the keystroke pill at its default place and size on monitor A, left of any caption.
constexpr QPoint kPillSample(960 - 24 - 182 + 12, 1080 - 24 - 26);
constexpr int kTypedKeys = 10;
constexpr double kFadedIdleSeconds = 5;
// A hang anywhere ends the run; the X session's processes die with this one.
constexpr unsigned kWatchdogSeconds = 200;

// The scrawlet process running now, for the watchdog to end.
std::atomic<pid_t> runningChild = -1;

void onWatchdog(int) {
    const pid_t child = runningChild.load();
    if (child > 0) {
        kill(child, SIGKILL);
    }
    const char message[] = "draw_run: watchdog expired\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, message, sizeof message - 1);
    _exit(124);
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void printSpread(const std::string& name, const std::vector<double>& values) {
    print(name + "_median_ms", percentile(values, 0.5));
    print(name + "_p90_ms", percentile(values, 0.9));
}

// Keeps Qt's queue drained while waiting; the bench needs nothing from it but a live connection.
void pause(double seconds) {
    const auto until = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < until) {
        QGuiApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

QRgb onScreen(QPoint global) {
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, global.x(), global.y(), 1, 1)
        .toImage()
        .pixel(0, 0);
}

// Milliseconds from `start` until the pixel at `global` is (or stops being) `colour`. Polls
// every millisecond: finer would take the cores the program under test needs.
std::optional<double> awaitColour(QPoint global, QRgb colour, Clock::time_point start,
                                  double limitSeconds, bool equal = true) {
    while (secondsSince(start) < limitSeconds) {
        if ((onScreen(global) == colour) == equal) {
            return secondsSince(start) * 1e3;
        }
        QGuiApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return std::nullopt;
}

std::optional<long> residentKib(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::stol(line.substr(6));
        }
    }
    return std::nullopt;
}

// One scrawlet process with a private configuration folder, summary and log, ended by SIGKILL
// if it is still running when this goes.
class Run {
  public:
    Run(const std::string& display, std::vector<std::string> environment) {
        const std::string home = tmp_.path().string();
        // The first definition of a name wins, so the caller's come first.
        environment.insert(environment.end(),
                           {"DISPLAY=" + display, "XDG_CONFIG_HOME=" + home, "HOME=" + home,
                            "XDG_RUNTIME_DIR=" + home, "SCRAWLET_DRAW_SUMMARY=" + summaryPath(),
                            "SCRAWLET_DRAW_LOG=" + logPath(),
                            // A welcome window and update checks are not what is measured.
                            "SCRAWLET_DRAW_ONBOARDING_AUTO_DISMISS_SECONDS=0",
                            "SCRAWLET_UPDATE_FEED_URL=http://127.0.0.1:9/"});
        process_ = std::make_unique<ChildProcess>(SCRAWLET_EXECUTABLE, environment);
        runningChild = process_->pid();
    }
    ~Run() {
        process_.reset();
        runningChild = -1;
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    pid_t pid() const { return process_->pid(); }

    bool awaitBanner() {
        if (process_->started() && process_->waitForError(kBannerEnd, std::chrono::seconds(30))) {
            return true;
        }
        return fail("no banner");
    }

    // The events drawn so far, as the program reports them on SIGPWR.
    std::optional<std::uint64_t> drawnEvents() {
        const std::size_t from = process_->standardError().size();
        process_->signal(SIGPWR);
        if (!process_->waitForError(" frames", std::chrono::seconds(5), from)) {
            return std::nullopt;
        }
        return scrawlet::bench::drawnEventsIn(process_->standardError(), from);
    }

    // Ends the run with SIGTERM; the summary is written once this returns true.
    bool finish() {
        process_->signal(SIGTERM);
        if (process_->wait(std::chrono::seconds(20)) == 0) {
            return true;
        }
        return fail("did not finish cleanly");
    }

    nlohmann::json summary() const {
        return nlohmann::json::parse(scrawlet::testing::TemporaryFolder::read(summaryPath()),
                                     nullptr, false);
    }

    std::vector<nlohmann::json> logRecords() const {
        return scrawlet::testing::readJsonLines(logPath());
    }

    bool fail(const char* why) const {
        std::fprintf(stderr, "draw_run: scrawlet %s; its standard error:\n%s\n", why,
                     process_->standardError().c_str());
        return false;
    }

  private:
    std::string summaryPath() const { return (tmp_.path() / "draw.json").string(); }
    std::string logPath() const { return (tmp_.path() / "draw.jsonl").string(); }

    scrawlet::testing::TemporaryFolder tmp_;
    std::unique_ptr<ChildProcess> process_;
};

// Whether the run's own registration record puts monitor A's centre mark where the bench looks.
bool centreMarkIsWhereExpected(const Run& run) {
    for (const auto& record : run.logRecords()) {
        if (record.value("kind", "") != "registration" || record.value("screenName", "") != "A") {
            continue;
        }
        for (const auto& mark : record["marks"]) {
            if (mark.value("name", "") == "centre") {
                return std::lround(mark.value("globalX", -1.0)) == kCentreMark.x() &&
                       std::lround(mark.value("globalY", -1.0)) == kCentreMark.y();
            }
        }
    }
    return false;
}

bool measureStartup(const std::string& display) {
    std::vector<double> startup;
    for (int i = 0; i < kStartupRuns; ++i) {
        const auto spawned = Clock::now();
        Run run(display, {"SCRAWLET_DRAW_FIDUCIALS=1"});
        const auto shown = awaitColour(kCentreMark, kMarkColour, spawned, 30);
        if (!shown) {
            return run.fail("never showed the centre mark");
        }
        startup.push_back(*shown);
        if (i == 0 && !centreMarkIsWhereExpected(run)) {
            std::fprintf(stderr, "draw_run: the log puts monitor A's centre mark elsewhere\n");
        }
        if (!run.finish()) {
            return false;
        }
        // The next run must not find this one's mark still composited.
        if (!awaitColour(kCentreMark, kMarkColour, Clock::now(), 5, false)) {
            std::fprintf(stderr, "draw_run: the centre mark outlived its run\n");
            return false;
        }
    }
    printSpread("startup_to_overlay", startup);
    return true;
}

bool measureIdle(const std::string& display) {
    Run run(display, {});
    if (!run.awaitBanner()) {
        return false;
    }
    pause(1);
    const auto rss = residentKib(run.pid());
    pause(1);
    const auto wallStart = Clock::now();
    const auto cpuStart = cpuSecondsOf(run.pid());
    pause(kIdleSeconds);
    const auto cpuEnd = cpuSecondsOf(run.pid());
    const double wall = secondsSince(wallStart);
    if (!rss || !cpuStart || !cpuEnd) {
        return run.fail("left /proc early");
    }
    if (!run.finish()) {
        return false;
    }
    const auto summary = run.summary();
    print("rss_after_start_kib", static_cast<double>(*rss));
    print("idle_wall_s", wall);
    print("idle_cpu_percent", (*cpuEnd - *cpuStart) / wall * 100);
    print("idle_run_tick_count", summary.value("tickCount", NAN));
    print("idle_run_idle_tick_count", summary.value("idleTickCount", NAN));
    return true;
}

bool measureDrawnMemory(const std::string& display) {
    Run run(display, {"SCRAWLET_DRAW_TRANSPORT=direct", "SCRAWLET_DRAW_HZ=1000",
                      "SCRAWLET_DRAW_SECONDS=300"});
    if (!run.awaitBanner()) {
        return false;
    }
    const auto start = Clock::now();
    std::uint64_t events = 0;
    while (events < kDrawnEvents && secondsSince(start) < kDrawingLimitSeconds) {
        pause(0.5);
        const auto reported = run.drawnEvents();
        if (!reported) {
            return run.fail("did not report its totals");
        }
        events = *reported;
    }
    const auto rss = residentKib(run.pid());
    const double seconds = secondsSince(start);
    if (!rss) {
        return run.fail("left /proc early");
    }
    if (!run.finish()) {
        return false;
    }
    // The driver posts one step per turn of the event loop, and every frame redraws the whole
    // scene, so on a software renderer the rate falls with the scene's size.
    if (events < kDrawnEvents) {
        std::fprintf(stderr, "draw_run: only %llu of %llu events drawn in %.0f s\n",
                     static_cast<unsigned long long>(events),
                     static_cast<unsigned long long>(kDrawnEvents), seconds);
    }
    const auto summary = run.summary();
    print("rss_after_drawing_kib", static_cast<double>(*rss));
    print("drawing_events", static_cast<double>(events));
    print("drawing_seconds", seconds);
    print("drawing_events_per_s", static_cast<double>(events) / seconds);
    print("drawing_frames", summary.value("frameCount", NAN));
    print("drawing_dropped_points", summary.value("droppedPointCount", NAN));
    return true;
}

bool measureToolKeys(const std::string& display) {
    using scrawlet::ink::controlPanelButtonIndex;
    using scrawlet::ink::controlPanelButtonRect;
    using scrawlet::ink::controlPanelSize;
    auto input = scrawlet::platform::createSyntheticInput();
    if (!input || !input->canInject()) {
        std::fprintf(stderr, "draw_run: no XTest input\n");
        return false;
    }
    // Monitor A's panel at its default place, with the sentinel the environment asks for.
    const QPoint origin =
        scrawlet::ink::defaultControlPanelOrigin(QRect(0, 0, 960, 1080), controlPanelSize(true));
    const auto corner = [&](scrawlet::core::Tool tool) {
        return controlPanelButtonRect(*controlPanelButtonIndex(tool), true)
                   .translated(origin)
                   .topLeft() +
               QPoint(3, 4);
    };
    const QPoint pen = corner(scrawlet::core::Tool::pen);
    const QPoint line = corner(scrawlet::core::Tool::line);

    Run run(display, {"SCRAWLET_DRAW_PANEL_SENTINEL=1"});
    if (!run.awaitBanner()) {
        return false;
    }
    if (!awaitColour(pen, kActiveButton, Clock::now(), 10)) {
        return run.fail("showed no active pen button");
    }
    std::vector<double> latency;
    for (int i = 0; i < kKeyPresses; ++i) {
        const bool toLine = i % 2 == 0;
        const std::uint32_t key = toLine ? kKeyL : kKeyP;
        const auto pressed = Clock::now();
        if (!input->setKey(key, true) || !input->setKey(key, false)) {
            return run.fail("could not be sent a key");
        }
        const auto shown = awaitColour(toLine ? line : pen, kActiveButton, pressed, 5);
        if (!shown) {
            return run.fail("never showed the new tool");
        }
        latency.push_back(*shown);
        pause(0.05);
    }
    if (!run.finish()) {
        return false;
    }
    printSpread("tool_key_to_panel", latency);
    return true;
}

// Each key waits for the last pill to fade out (one second), so every caption appears anew.
bool measureKeystrokes(const std::string& display) {
    auto input = scrawlet::platform::createSyntheticInput();
    if (!input || !input->canInject()) {
        std::fprintf(stderr, "draw_run: no XTest input\n");
        return false;
    }
    scrawlet::testing::TemporaryFolder folder;
    auto document = nlohmann::json::parse(scrawlet::core::Settings::defaultDocument);
    document["keystrokeDisplay"]["fade"]["mode"] = "oneSecond";
    const auto settings = folder.write("settings.json", document.dump());
    const QRgb bare = onScreen(kPillSample);
    Run run(display, {"SCRAWLET_DRAW_KEYSTROKE_DISPLAY=1", "SCRAWLET_DRAW_PANEL=0",
                      "SCRAWLET_DRAW_SETTINGS=" + settings.string()});
    if (!run.awaitBanner()) {
        return false;
    }
    pause(0.5);
    std::vector<double> latency;
    for (int i = 0; i < kTypedKeys; ++i) {
        const auto pressed = Clock::now();
        if (!input->setKey(kKeyL, true) || !input->setKey(kKeyL, false)) {
            return run.fail("could not be sent a key");
        }
        const auto shown = awaitColour(kPillSample, bare, pressed, 5, false);
        if (!shown) {
            return run.fail("never showed the keystroke pill");
        }
        latency.push_back(*shown);
        if (!awaitColour(kPillSample, bare, Clock::now(), 5)) {
            return run.fail("never took the keystroke pill away");
        }
    }
    // The display stays on, with nothing left to fade.
    pause(0.2);
    const auto wallStart = Clock::now();
    const auto cpuStart = cpuSecondsOf(run.pid());
    pause(kFadedIdleSeconds);
    const auto cpuEnd = cpuSecondsOf(run.pid());
    const double wall = secondsSince(wallStart);
    if (!cpuStart || !cpuEnd) {
        return run.fail("left /proc early");
    }
    if (!run.finish()) {
        return false;
    }
    printSpread("key_to_keystroke_pill", latency);
    print("keystroke_display_faded_cpu_percent", (*cpuEnd - *cpuStart) / wall * 100);
    return true;
}

// In this process, with no scrawlet running to hold the chords already.
bool measureReregistration() {
    using scrawlet::core::ActionScope;
    auto catalog = scrawlet::shell::ActionCatalogStore::load();
    auto grabber = scrawlet::platform::createKeyGrabber();
    if (!catalog || !grabber) {
        std::fprintf(stderr, "draw_run: no action catalogue or key grabber\n");
        return false;
    }
    scrawlet::shortcuts::HotkeyCentre centre(std::move(*catalog), {}, std::move(grabber));
    centre.setLiveScopes({ActionScope::global, ActionScope::annotating});
    const auto start = Clock::now();
    for (int i = 0; i < kReregisterPasses; ++i) centre.reregister();
    print("reregister_mean_ms", secondsSince(start) * 1e3 / kReregisterPasses);
    print("reregister_chords", static_cast<double>(centre.registered().size()));
    print("reregister_conflicts", static_cast<double>(centre.conflicts().size()));
    return true;
}

int run(const scrawlet::e2e::XSession& session) {
    const auto monitors = session.setMonitors(scrawlet::e2e::XSession::twoMonitors());
    if (!monitors) {
        std::fprintf(stderr, "draw_run: monitors: %s\n", monitors.error().c_str());
        return 1;
    }
    session.exportToProcess();
    int argc = 1;
    char name[] = "scrawlet_draw_run";
    char* argv[] = {name, nullptr};
    QGuiApplication application(argc, argv);
    double load = NAN;
    std::ifstream("/proc/loadavg") >> load;
    // Other work on the machine shares its cores with Xvfb, xcompmgr and llvmpipe.
    print("loadavg_1min", load);
    print("cpu_cores", static_cast<double>(std::thread::hardware_concurrency()));
    print("screens", static_cast<double>(QGuiApplication::screens().size()));

    const std::string& display = session.displayName();
    const bool ok = measureStartup(display) && measureIdle(display) &&
                    measureDrawnMemory(display) && measureToolKeys(display) &&
                    measureKeystrokes(display) && measureReregistration();
    return ok ? 0 : 1;
}

}  // namespace

int main() {
    signal(SIGALRM, onWatchdog);
    alarm(kWatchdogSeconds);
    auto session = scrawlet::e2e::XSession::start();
    if (!session) {
        std::fprintf(stderr, "draw_run: X session: %s\n", session.error().c_str());
        return 1;
    }
    // Qt leaves before the session stops its server.
    return run(**session);
}
