// End-to-end latency and CPU of a full-screen ink view under a private Xvfb with xcompmgr:
// pointer input through XTest from a second connection, frames timed through the view's swap
// hook plus one X round trip on Qt's own connection. Prints one `name value` line per result.
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QEventLoop>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app/ink/ink_view.h"
#include "bench/measurement.h"
#include "tests/e2e/x_session.h"

namespace {

using scrawlet::bench::cpuSecondsOf;
using scrawlet::bench::monotonicSeconds;
using scrawlet::bench::ownCpuSeconds;
using scrawlet::bench::percentile;
using scrawlet::bench::print;
using scrawlet::bench::sleepUntil;
using scrawlet::ink::InkView;

constexpr double kInputHz = 125;
constexpr int kMotionEvents = 500;  // four seconds at 125 Hz
constexpr int kPathLeft = 160;
constexpr int kPathStep = 3;
constexpr int kPathMiddle = 540;
constexpr int kPathAmplitude = 250;
constexpr double kIdleSeconds = 2.0;
constexpr int kSceneStrokes = 1024;
constexpr int kPointsPerStroke = 64;
constexpr int kTimedFrames = 40;
// A hang anywhere ends the run; the X session's processes die with it.
constexpr unsigned kWatchdogSeconds = 55;

struct CpuSnapshot {
    double wall = 0;
    double self = 0;
    double server = 0;
    double compositor = 0;

    static CpuSnapshot take(const scrawlet::e2e::XSession& session) {
        return {monotonicSeconds(), ownCpuSeconds(), cpuSecondsOf(session.serverPid()).value_or(0),
                cpuSecondsOf(session.compositorPid()).value_or(0)};
    }
};

struct PathPoint {
    int x, y;
};

PathPoint pathPoint(int index) {
    const double phase = 2 * M_PI * index / 250.0;
    return {kPathLeft + kPathStep * index,
            kPathMiddle + static_cast<int>(std::lround(kPathAmplitude * std::sin(phase)))};
}

// The motion index a position on the path belongs to, or -1.
int pathIndex(QPointF position) {
    const int x = static_cast<int>(std::lround(position.x()));
    const int y = static_cast<int>(std::lround(position.y()));
    if (x < kPathLeft || (x - kPathLeft) % kPathStep != 0) {
        return -1;
    }
    const int index = (x - kPathLeft) / kPathStep;
    if (index >= kMotionEvents || pathPoint(index).y != y) {
        return -1;
    }
    return index;
}

struct Frame {
    double swapped;
    double presented;
    std::uint64_t eventCount;
};

struct Receipt {
    int index;
    double time;
    std::uint64_t eventCount;  // the canvas's count once this event is handled
};

// Notes each motion the view receives before the view handles it.
class ReceiptFilter : public QObject {
  public:
    ReceiptFilter(const InkView& view, std::vector<Receipt>& receipts)
        : view_(view), receipts_(receipts) {}

    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::MouseMove) {
            const auto* mouse = static_cast<QMouseEvent*>(event);
            const int index = pathIndex(mouse->position());
            if (index >= 0 && mouse->buttons().testFlag(Qt::LeftButton)) {
                receipts_.push_back({index, monotonicSeconds(), view_.canvas().eventCount() + 1});
            }
        } else if (event->type() == QEvent::MouseButtonRelease) {
            releaseCount_ = view_.canvas().eventCount() + 1;
        }
        return false;
    }

    // The canvas's count once the release is handled; zero until it arrives.
    std::uint64_t releaseCount() const { return releaseCount_; }

  private:
    const InkView& view_;
    std::vector<Receipt>& receipts_;
    std::uint64_t releaseCount_ = 0;
};

// Plays the gesture through XTest on a connection of its own, at a steady rate.
class PointerDriver {
  public:
    static std::unique_ptr<PointerDriver> connect(const std::string& display, std::string& error) {
        int screenNumber = 0;
        xcb_connection_t* c = xcb_connect(display.c_str(), &screenNumber);
        if (xcb_connection_has_error(c)) {
            xcb_disconnect(c);
            error = "cannot connect to " + display;
            return nullptr;
        }
        std::unique_ptr<PointerDriver> driver(new PointerDriver(c));
        std::unique_ptr<xcb_test_get_version_reply_t, decltype(&std::free)> version(
            xcb_test_get_version_reply(c, xcb_test_get_version(c, 2, 2), nullptr), &std::free);
        if (!version) {
            error = "the server lacks XTEST";
            return nullptr;
        }
        xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
        for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb_screen_next(&screens);
        driver->root_ = screens.data->root;
        return driver;
    }
    ~PointerDriver() { xcb_disconnect(connection_); }

    void moveTo(PathPoint point) { send(XCB_MOTION_NOTIFY, 0, point); }
    // Monotonic time once the request has left for the server.
    double send(std::uint8_t type, std::uint8_t detail, PathPoint point) {
        xcb_test_fake_input(connection_, type, detail, XCB_CURRENT_TIME, root_,
                            static_cast<std::int16_t>(point.x), static_cast<std::int16_t>(point.y),
                            0);
        xcb_flush(connection_);
        return monotonicSeconds();
    }

  private:
    explicit PointerDriver(xcb_connection_t* connection) : connection_(connection) {}
    xcb_connection_t* connection_;
    xcb_window_t root_ = XCB_NONE;
};

// Runs the event loop for `seconds`, or less once `done` holds (checked every 20 ms).
template <class Done>
bool runUntil(Done done, double seconds) {
    QEventLoop loop;
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, &loop, [&] {
        if (done()) {
            loop.quit();
        }
    });
    check.start(20);
    QTimer::singleShot(static_cast<int>(seconds * 1000), Qt::PreciseTimer, &loop,
                       &QEventLoop::quit);
    if (!done()) {
        loop.exec();
    }
    return done();
}

void wait(double seconds) {
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>(seconds * 1000), Qt::PreciseTimer, &loop,
                       &QEventLoop::quit);
    loop.exec();
}

xcb_connection_t* qtConnection() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

// The server has handled everything sent before on this connection, the swap's image included.
void roundTrip(xcb_connection_t* c) {
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

// A shown, warmed full-screen view on Qt's xcb connection; failures are reported here.
struct ShownView {
    std::unique_ptr<InkView> view;
    xcb_connection_t* qt = nullptr;
};

std::optional<ShownView> showView(QScreen* screen) {
    const auto fail = [](const char* why) {
        std::fprintf(stderr, "ink_latency: %s\n", why);
        return std::nullopt;
    };
    xcb_connection_t* qt = qtConnection();
    if (!qt) {
        return fail("Qt is not on xcb");
    }
    InkView::Options options;
    options.style = {{230, 40, 40, 255}, 4, 1, scrawlet::core::InkBlend::normal};
    options.tool = scrawlet::core::Tool::pen;
    auto view = InkView::create(screen, screen->geometry(), options);
    if (!view) {
        return fail("no OpenGL 3.3 surface");
    }
    view->setFlags(Qt::FramelessWindowHint);
    view->show();
    if (!runUntil([&] { return view->isExposed(); }, 5)) {
        return fail("the view was never exposed");
    }
    view->prewarm();
    wait(0.2);
    return ShownView{std::move(view), qt};
}

int measureDrawing(const scrawlet::e2e::XSession& session, QScreen* screen) {
    auto shown = showView(screen);
    if (!shown) {
        return 1;
    }
    auto& view = shown->view;
    xcb_connection_t* qt = shown->qt;
    std::string error;
    auto driver = PointerDriver::connect(session.displayName(), error);
    if (!driver) {
        std::fprintf(stderr, "ink_latency: %s\n", error.c_str());
        return 1;
    }

    const std::uint64_t startCount = view->canvas().eventCount();
    std::vector<Receipt> receipts;
    receipts.reserve(kMotionEvents * 2);
    ReceiptFilter filter(*view, receipts);
    view->installEventFilter(&filter);
    // The frame that shows the release ends the drawing interval.
    std::optional<CpuSnapshot> drawEnd;
    std::vector<Frame> frames;
    frames.reserve(4096);
    view->setOnFrameSwapped([&](double swapped, std::uint64_t eventCount) {
        roundTrip(qt);
        if (frames.size() < frames.capacity()) {
            frames.push_back({swapped, monotonicSeconds(), eventCount});
        }
        if (filter.releaseCount() != 0 && eventCount >= filter.releaseCount() && !drawEnd) {
            drawEnd = CpuSnapshot::take(session);
        }
    });

    // Enter the window first, so that its cursor and enter handling are not timed.
    driver->moveTo(pathPoint(-1));
    wait(0.3);

    std::vector<double> sent(kMotionEvents, NAN);
    std::atomic<bool> released = false;
    const CpuSnapshot drawStart = CpuSnapshot::take(session);
    std::thread player([&] {
        const double period = 1.0 / kInputHz;
        double due = driver->send(XCB_BUTTON_PRESS, XCB_BUTTON_INDEX_1, pathPoint(-1)) + period;
        for (int i = 0; i < kMotionEvents; ++i, due += period) {
            sleepUntil(due);
            sent[static_cast<std::size_t>(i)] = driver->send(XCB_MOTION_NOTIFY, 0, pathPoint(i));
        }
        sleepUntil(due);
        driver->send(XCB_BUTTON_RELEASE, XCB_BUTTON_INDEX_1, pathPoint(kMotionEvents - 1));
        released = true;
    });
    const bool allShown =
        runUntil([&] { return released && drawEnd.has_value(); }, kMotionEvents / kInputHz + 3);
    player.join();
    view->removeEventFilter(&filter);
    if (!allShown) {
        std::fprintf(stderr, "ink_latency: the release was not drawn in time (%zu frames)\n",
                     frames.size());
        drawEnd = CpuSnapshot::take(session);
    }

    std::vector<double> latency, delivery, toSwap, swapToPresent;
    std::size_t receipt = 0, frame = 0;
    int unshown = 0;
    for (int i = 0; i < kMotionEvents; ++i) {
        // A motion Qt merged into a later one is shown by the frame that shows the later one.
        while (receipt < receipts.size() && receipts[receipt].index < i) ++receipt;
        if (receipt == receipts.size()) {
            ++unshown;
            continue;
        }
        const Receipt& r = receipts[receipt];
        while (frame < frames.size() && frames[frame].eventCount < r.eventCount) ++frame;
        if (frame == frames.size()) {
            ++unshown;
            continue;
        }
        const double s = sent[static_cast<std::size_t>(i)];
        latency.push_back((frames[frame].presented - s) * 1e3);
        delivery.push_back((r.time - s) * 1e3);
        toSwap.push_back((frames[frame].swapped - r.time) * 1e3);
        swapToPresent.push_back((frames[frame].presented - frames[frame].swapped) * 1e3);
    }
    int drawingFrames = 0;
    for (const Frame& f : frames) drawingFrames += f.eventCount > startCount ? 1 : 0;

    const double wall = drawEnd->wall - drawStart.wall;
    print("refresh_interval_ms", view->frames().refreshInterval() * 1e3);
    print("motion_events_sent", kMotionEvents);
    print("motion_events_received", static_cast<double>(receipts.size()));
    print("motion_events_unshown", unshown);
    print("frames_while_drawing", drawingFrames);
    print("latency_median_ms", percentile(latency, 0.5));
    print("latency_p90_ms", percentile(latency, 0.9));
    print("latency_max_ms", percentile(latency, 1.0));
    print("latency_sent_to_received_median_ms", percentile(delivery, 0.5));
    print("latency_received_to_swapped_median_ms", percentile(toSwap, 0.5));
    print("latency_swapped_to_presented_median_ms", percentile(swapToPresent, 0.5));
    print("drawing_wall_s", wall);
    print("drawing_cpu_percent", (drawEnd->self - drawStart.self) / wall * 100);
    print("drawing_cpu_us_per_event", (drawEnd->self - drawStart.self) / kMotionEvents * 1e6);
    print("drawing_xvfb_cpu_percent", (drawEnd->server - drawStart.server) / wall * 100);
    print("drawing_xcompmgr_cpu_percent",
          (drawEnd->compositor - drawStart.compositor) / wall * 100);

    // Idle: once the clock has paused, nothing should run.
    if (!runUntil([&] { return !view->frames().isRunning(); }, 3)) {
        std::fprintf(stderr, "ink_latency: the frame clock did not pause\n");
    }
    const auto ticks = view->frames().tickCount();
    const CpuSnapshot idleStart = CpuSnapshot::take(session);
    wait(kIdleSeconds);
    const CpuSnapshot idleEnd = CpuSnapshot::take(session);
    const double idleWall = idleEnd.wall - idleStart.wall;
    print("idle_wall_s", idleWall);
    print("idle_cpu_percent", (idleEnd.self - idleStart.self) / idleWall * 100);
    print("idle_ticks", static_cast<double>(view->frames().tickCount() - ticks));
    print("idle_xvfb_cpu_percent", (idleEnd.server - idleStart.server) / idleWall * 100);
    view->setOnFrameSwapped({});
    return allShown ? 0 : 1;
}

int measureFullScene(QScreen* screen) {
    auto shown = showView(screen);
    if (!shown) {
        return 1;
    }
    auto& view = shown->view;
    xcb_connection_t* qt = shown->qt;
    auto& canvas = view->canvas();
    std::optional<Frame> last;
    view->setOnFrameSwapped([&](double swapped, std::uint64_t eventCount) {
        roundTrip(qt);
        last = Frame{swapped, monotonicSeconds(), eventCount};
    });
    // One frame, requested, due at once, drawn and presented: milliseconds to the swap's return
    // and to presentation.
    const auto drawOne = [&]() -> std::optional<std::pair<double, double>> {
        view->setTimeToLive(canvas.timeToLive());  // re-applying it asks for a frame
        sleepUntil(view->frames().nextTickTime());
        last.reset();
        const double start = monotonicSeconds();
        view->drawIfDue();
        if (!last) {
            return std::nullopt;
        }
        return std::pair{(last->swapped - start) * 1e3, (last->presented - start) * 1e3};
    };
    struct Costs {
        std::vector<double> swapped, presented;
    };
    const auto drawMany = [&]() {
        Costs costs;
        for (int i = 0; i < kTimedFrames; ++i) {
            wait(0.001);
            const auto cost = drawOne();
            if (!cost) {
                break;
            }
            costs.swapped.push_back(cost->first);
            costs.presented.push_back(cost->second);
        }
        return costs;
    };
    const auto mean = [](const std::vector<double>& values) {
        double sum = 0;
        for (double v : values) sum += v;
        return values.empty() ? NAN : sum / static_cast<double>(values.size());
    };

    const Costs empty = drawMany();

    // Pen-like strokes (a point every 2.5 units, a gentle wave) tiled over the screen.
    for (int s = 0; s < kSceneStrokes; ++s) {
        const double left = 40 + (s % 8) * 230.0;
        const double top = 30 + (s / 8) * 8.0;
        const auto at = [&](int i) {
            return scrawlet::core::ContentPoint{left + i * 2.5, top + 3 * std::sin(i * 0.3)};
        };
        canvas.pointerDown(at(0), {}, 1, view->now());
        for (int i = 1; i < kPointsPerStroke - 1; ++i) canvas.pointerDrag(at(i), {});
        canvas.pointerUp(at(kPointsPerStroke - 1), {}, view->now());
    }
    int points = 0;
    for (int i = 0; i < canvas.scene().spanCount(); ++i) points += canvas.scene().span(i).count;

    const auto first = drawOne();
    const Costs full = first ? drawMany() : Costs{};
    view->setOnFrameSwapped({});
    if (empty.presented.size() != kTimedFrames || !first || full.presented.size() != kTimedFrames) {
        std::fprintf(stderr, "ink_latency: a forced frame was not drawn\n");
        return 1;
    }
    print("empty_frame_mean_ms", mean(empty.presented));
    print("scene_points", points);
    print("scene_instances", view->instances().instanceCount());
    print("scene_first_frame_ms", first->second);
    print("scene_frames_timed", kTimedFrames);
    print("scene_frame_to_swap_mean_ms", mean(full.swapped));
    print("scene_frame_mean_ms", mean(full.presented));
    print("scene_frame_median_ms", percentile(full.presented, 0.5));
    return 0;
}

int run(const scrawlet::e2e::XSession& session) {
    session.exportToProcess();
    int argc = 1;
    char name[] = "scrawlet_ink_latency";
    char* argv[] = {name, nullptr};
    QGuiApplication application(argc, argv);
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) {
        std::fprintf(stderr, "ink_latency: no screen\n");
        return 1;
    }
    double load = NAN;
    std::ifstream("/proc/loadavg") >> load;
    // Other work on the machine shares its cores with Xvfb and llvmpipe.
    print("loadavg_1min", load);
    print("cpu_cores", static_cast<double>(std::thread::hardware_concurrency()));
    print("screen_width", screen->geometry().width());
    print("screen_height", screen->geometry().height());
    const int drawing = measureDrawing(session, screen);
    const int scene = measureFullScene(screen);
    return drawing != 0 ? drawing : scene;
}

}  // namespace

int main() {
    alarm(kWatchdogSeconds);
    auto session = scrawlet::e2e::XSession::start();
    if (!session) {
        std::fprintf(stderr, "ink_latency: X session: %s\n", session.error().c_str());
        return 1;
    }
    // Qt leaves before the session stops its server.
    return run(**session);
}
