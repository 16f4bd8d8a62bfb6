// Draw mode's self-measurements and reports: registration records, pointer parking, the
// interactive-mode round trip, the progress line, the banner and the summary.
#include <unistd.h>

#include <QMouseEvent>
#include <QTimer>
#include <cmath>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/platform/monotonic_clock.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/run_summary.h"
#include "app/shortcuts/permissions.h"
#include "core/fiducials.h"
#include "core/number_format.h"

namespace scrawlet::shell {

void DrawAppDelegate::publishRegistration(bool republished) {
    for (const Surface& surface : surfaces_) {
        const ink::InkView& view = *surface.view;
        const core::DisplayTransform& transform = view.transform();
        const double scale = view.devicePixelRatio();
        RegistrationInput input;
        input.displayID = surface.displayID;
        input.republished = republished;
        input.screenName = surface.screenName;
        input.originX = transform.origin().x;
        input.originY = transform.origin().y;
        input.zoom = transform.zoom();
        input.pointWidth = view.width();
        input.pointHeight = view.height();
        input.pixelWidth = view.width() * scale;
        input.pixelHeight = view.height() * scale;
        input.backingScaleFactor = scale;
        input.strokeWidthContentUnits = view.canvas().style().widthContentUnits;
        input.fiducialRGB.assign(core::fiducials::kRGB.begin(), core::fiducials::kRGB.end());
        const QPoint topLeft = view.geometry().topLeft();
        for (const auto& mark : view.fiducials()) {
            const core::ViewportPoint local = transform.viewportPoint(mark.centre);
            input.marks.push_back({mark.name,
                                   {mark.centre.x, mark.centre.y},
                                   {topLeft.x() + local.x, topLeft.y() + local.y},
                                   core::fiducials::kSizePoints});
        }
        log::FrontmostLog::shared().recordLine(registrationRecord(input));
    }
}

void DrawAppDelegate::parkPointer() {
    if (config_.pointerPark.empty()) {
        return;
    }
    if (!input_) {
        std::cerr << "draw: pointer parking needs an X display\n";
        return;
    }
    // One step per event-loop turn, so each warp has reached the server before it is read back.
    for (std::size_t step = 0; step < config_.pointerPark.size(); ++step) {
        QTimer::singleShot(0, this, [this, step] {
            const GlobalPoint requested = config_.pointerPark[step];
            const QPoint point(static_cast<int>(std::lround(requested.x)),
                               static_cast<int>(std::lround(requested.y)));
            (void)input_->warpPointer(point);
            const auto landed = input_->pointerPosition();
            const GlobalPoint observed = landed ? GlobalPoint{static_cast<double>(landed->x()),
                                                              static_cast<double>(landed->y())}
                                                : GlobalPoint{std::nan(""), std::nan("")};
            log::FrontmostLog::shared().recordLine(
                pointerParkRecord(static_cast<std::int64_t>(step), platform::monotonicSeconds(),
                                  requested, observed));
        });
    }
}

// Each trial starts from click-through, makes the overlay take input and measures until one
// of the probe clicks reaches it. The probe uses the middle button, which never draws.
// Each trial starts from click-through, makes the overlay take input and measures until one
// of the probe clicks reaches it. The probe uses the middle button, which never draws.
void DrawAppDelegate::measureToggleRoundTrip(std::int64_t trials) {
    roundTrip_ = std::make_unique<RoundTrip>();
    roundTrip_->trials = trials;
    roundTrip_->clicks.setTimerType(Qt::PreciseTimer);
    connect(&roundTrip_->clicks, &QTimer::timeout, this, [this] {
        RoundTrip& trip = *roundTrip_;
        if (trip.clicksLeft <= 0) {
            trip.clicks.stop();
            // The last click had its chance to arrive.
            QTimer::singleShot(100, Qt::PreciseTimer, this, [this] {
                if (roundTrip_->trialRunning) {
                    endRoundTripTrial(std::nullopt);
                }
            });
            return;
        }
        --trip.clicksLeft;
        if (input_) {
            (void)input_->movePointer(trip.target);
            (void)input_->setButton(Qt::MiddleButton, true);
            (void)input_->setButton(Qt::MiddleButton, false);
        }
    });
    QTimer::singleShot(250, Qt::PreciseTimer, this, [this] { runRoundTripTrial(); });
}

void DrawAppDelegate::runRoundTripTrial() {
    if (finished_ || surfaces_.empty()) {
        return;
    }
    RoundTrip& trip = *roundTrip_;
    if (!ignoresMouse_) {
        toggleInteractive();
    }
    trip.target = surfaces_.front().view->geometry().center();
    trip.trialRunning = true;
    toggleInteractive();
    trip.trialStart = interactiveToggledAt_;
    postProbeClicks(40, 2);
}

void DrawAppDelegate::postProbeClicks(int count, int everyMs) {
    roundTrip_->clicksLeft = count;
    roundTrip_->clicks.start(everyMs);
}

void DrawAppDelegate::endRoundTripTrial(std::optional<double> milliseconds) {
    RoundTrip& trip = *roundTrip_;
    trip.trialRunning = false;
    trip.clicks.stop();
    const auto done = static_cast<std::int64_t>(trip.milliseconds.size()) + trip.lost + 1;
    if (milliseconds) {
        trip.milliseconds.push_back(*milliseconds);
    } else {
        ++trip.lost;
        std::cerr << "draw: AN-16 trial " << done << " saw no click at all\n";
    }
    if (done < trip.trials) {
        QTimer::singleShot(250, Qt::PreciseTimer, this, [this] { runRoundTripTrial(); });
        return;
    }
    const An16Report report = an16Report(trip.milliseconds, trip.trials, trip.lost);
    std::cerr << report.text;
    log::FrontmostLog::shared().record("an16", std::nullopt, report.note);
    requestFinish("an16");
}

bool DrawAppDelegate::eventFilter(QObject* watched, QEvent* event) {
    const bool probing = roundTrip_ && (event->type() == QEvent::MouseButtonPress ||
                                        event->type() == QEvent::MouseButtonRelease);
    if (!probing || static_cast<QMouseEvent*>(event)->button() != Qt::MiddleButton) {
        return QObject::eventFilter(watched, event);
    }
    if (event->type() == QEvent::MouseButtonPress && roundTrip_->trialRunning) {
        endRoundTripTrial((platform::monotonicSeconds() - roundTrip_->trialStart) * 1000);
    }
    return true;
}

std::string DrawAppDelegate::progressLine() const {
    std::uint64_t events = 0;
    std::uint64_t strokes = 0;
    std::uint64_t frames = 0;
    for (const ink::InkView* view : views()) {
        events += view->canvas().eventCount();
        strokes += view->canvas().strokeCount();
        frames += view->frames().frameCount();
    }
    return shell::progressLine(events, strokes, frames);
}

void DrawAppDelegate::printBanner() const {
    const auto line = [](std::string_view label, const std::string& value) {
        std::string text = "  " + std::string(label) + ":";
        text.resize(std::max<std::size_t>(text.size() + 1, 22), ' ');
        return text + value + "\n";
    };
    const auto onOff = [](bool on) { return std::string(on ? "on" : "off"); };
    const core::StrokeStyle pen = core::StrokeStyle::style(tools_->tool(), tools_->settings());
    std::string text = "scrawlet draw (M0 T5)\n";
    text += line("pid", std::to_string(::getpid()));
#ifdef NDEBUG
    text += line("build", "Release");
#else
    text += line("build", "Debug");
#endif
    text += line("panels", std::to_string(surfaces_.size()) + " (one per screen)");
    text += line("level",
                 config_.levelToken + " (" + std::to_string(windowLevel(config_.levelToken)) + ")");
    text += line("click-through", onOff(ignoresMouse_));
    text += line("tool", std::string(core::rawValue(tools_->tool())));
    text += shortcuts::Permissions::banner() + "\n";
    text += line("stroke", pen.colour.hexString() + " at " +
                               core::shortestDecimal(pen.widthContentUnits) + "pt");
    text += line("capacity", std::to_string(config_.limits.pointCapacity) + " points, " +
                                 std::to_string(config_.limits.strokeCapacity) + " strokes");
    text += line("transport", std::string(core::rawValue(config_.transport)));
    text += line("drawing",
                 std::string(core::rawValue(presentPath_)) + " (OpenGL: " + glRenderer_ + ")");
    text +=
        line("allocation audit", "not compiled in (build with -DSCRAWLET_ALLOC_AUDIT=ON to count)");
    text += line("lens", onOff(false));
    text += line("full-screen zoom", onOff(false));
    text += line("spotlight", onOff(false));
    text += line("cursor highlight", onOff(false));
    text += line("keystroke display", onOff(false));
    text += line("summary", config_.summaryPath);
    if (!compositing_) {
        // Without a compositing manager the overlay is an opaque sheet over the desktop.
        text +=
            "   ** does not draw yet: no compositing manager is running; start one (for "
            "example xcompmgr) and run scrawlet again\n";
    }
    text +=
        "Draw with the left button. Right-click clears. SIGUSR1 toggles click-through, SIGPWR "
        "prints totals, SIGUSR2 (or Ctrl-C) finishes.\n";
    std::cerr << text;
}

std::string DrawAppDelegate::summaryText(const std::string& reason, double durationSeconds) const {
    RunSummaryInput input = RunSummaryInput::fromConfig(config_, config_.currentSettings());
    input.reason = reason;
    input.durationSeconds = durationSeconds;
#ifdef NDEBUG
    input.buildConfiguration = "Release";
#else
    input.buildConfiguration = "Debug";
#endif
    input.panels = surfaces_.size();
    for (const ink::InkView* view : views()) {
        const ink::InkCanvas& canvas = view->canvas();
        InkTotals& ink = input.ink;
        ink.eventCount += canvas.eventCount();
        ink.draggedEventCount += canvas.draggedEventCount();
        ink.strokeCount += canvas.strokeCount();
        ink.visibleSpanCount += static_cast<std::uint64_t>(canvas.scene().visibleSpanCount());
        ink.reclaimablePointCount +=
            static_cast<std::uint64_t>(canvas.scene().reclaimablePointCount());
        ink.visibleTextCount += static_cast<std::uint64_t>(canvas.textScene().visibleCount());
        ink.droppedTextCount += static_cast<std::uint64_t>(canvas.textScene().droppedCount());
        ink.frameCount += view->frames().frameCount();
        ink.deferredFrameCount += view->frames().deferredFrameCount();
        ink.tickCount += view->frames().tickCount();
        ink.idleTickCount += view->frames().idleTickCount();
        ink.instanceCount += static_cast<std::uint64_t>(view->instances().instanceCount());
        ink.droppedPointCount += static_cast<std::uint64_t>(canvas.scene().droppedPointCount());
        ink.droppedStrokeCount += static_cast<std::uint64_t>(canvas.scene().droppedStrokeCount());
        ink.droppedInstanceCount += view->instances().droppedInstanceCount();
    }
    const core::AnnotationSettings& settings = tools_->settings();
    const core::StrokeStyle pen = core::StrokeStyle::style(core::Tool::pen, settings);
    input.penColour = pen.colour;
    input.penWidthPoints = pen.widthContentUnits;
    input.penOpacity = pen.opacity;
    if (!surfaces_.empty()) {
        input.backingScaleFactor = surfaces_.front().view->devicePixelRatio();
        input.nominalRefreshHz = 1.0 / surfaces_.front().view->frames().refreshInterval();
    }
    input.osVersion = currentOsVersion();
    input.startedAt = startedAtText(startedWallClock_);
    return summaryJson(input);
}

}  // namespace scrawlet::shell
