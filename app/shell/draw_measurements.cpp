#include "app/shell/draw_measurements.h"

#include <QMouseEvent>
#include <cmath>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/platform/monotonic_clock.h"
#include "app/platform/platform_services.h"
#include "app/shell/run_summary.h"
#include "core/fiducials.h"

namespace scrawlet::shell {

DrawMeasurements::DrawMeasurements(const DrawConfig& config, InkSurfaces& surfaces,
                                   const ink::ActionRouter& router, Host host)
    : config_(config),
      surfaces_(surfaces),
      router_(router),
      host_(std::move(host)),
      input_(platform::createSyntheticInput()) {}

DrawMeasurements::~DrawMeasurements() = default;

void DrawMeasurements::schedule() {
    if (config_.an16Trials) {
        measureToggleRoundTrip(*config_.an16Trials);
    }
    scheduleScriptedActions();
}

void DrawMeasurements::publishAtLaunch() {
    if (config_.fiducials) {
        publishRegistration(false);
    }
    parkPointer();
}

void DrawMeasurements::stop() {
    if (driver_) {
        driver_->stop();
    }
}

void DrawMeasurements::startDriver() {
    if (config_.transport == DrawConfig::Transport::live || surfaces_.empty()) {
        return;
    }
    const double hz = std::max(config_.syntheticHz, 1.0);
    // DrawConfig refuses products that are not finite or too large for an integer.
    const auto steps = static_cast<std::int64_t>(config_.strokeSeconds * config_.syntheticHz);
    if (config_.transport == DrawConfig::Transport::cgEventPost &&
        (!input_ || !input_->canInject())) {
        std::cerr << "draw: the cgEventPost transport needs the XTEST extension of the X "
                     "server\n";
        return;
    }
    driver_ = std::make_unique<SyntheticDragDriver>(
        *surfaces_.surfaces().front().view, config_.transport, 1.0 / hz, steps, input_.get());
    driver_->start();
}

void DrawMeasurements::publishRegistration(bool republished) {
    for (const InkSurfaces::Surface& surface : surfaces_.surfaces()) {
        const ink::InkView& view = *surface.view;
        const core::DisplayTransform& transform = view.transform();
        const double scale = view.devicePixelRatio();
        RegistrationInput input;
        input.displayID = surface.display.id;
        input.republished = republished;
        input.screenName = surface.display.name;
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

void DrawMeasurements::parkPointer() {
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
void DrawMeasurements::measureToggleRoundTrip(std::int64_t trials) {
    roundTrip_ = std::make_unique<RoundTrip>();
    roundTrip_->trials = trials;
    roundTrip_->clicks.setTimerType(Qt::PreciseTimer);
    for (ink::InkView* view : surfaces_.views()) {
        view->installEventFilter(this);
    }
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

void DrawMeasurements::runRoundTripTrial() {
    if (host_.finished() || surfaces_.empty()) {
        return;
    }
    RoundTrip& trip = *roundTrip_;
    if (!surfaces_.ignoresMouse()) {
        host_.toggleInteractive();
    }
    trip.target = surfaces_.surfaces().front().view->geometry().center();
    trip.trialRunning = true;
    host_.toggleInteractive();
    trip.trialStart = host_.interactiveToggledAt();
    trip.clicksLeft = 40;
    trip.clicks.start(2);
}

void DrawMeasurements::endRoundTripTrial(std::optional<double> milliseconds) {
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
    host_.requestFinish("an16");
}

bool DrawMeasurements::eventFilter(QObject* watched, QEvent* event) {
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

void DrawMeasurements::scheduleScriptedActions() {
    if (config_.scriptedActions.empty()) {
        return;
    }
    // Without a time limit they run as soon as the run is up.
    const double delay = std::max(config_.maxDurationSeconds.value_or(0) - 0.5, 0.2);
    QTimer::singleShot(static_cast<int>(delay * 1000), Qt::PreciseTimer, this, [this] {
        stop();
        for (const core::ActionID action : config_.scriptedActions) {
            const auto outcome = router_.dispatch(action);
            std::cerr << "draw: scripted " << core::rawValue(action) << " -> " << outcome.describe()
                      << "\n";
        }
        host_.requestFinish("scriptedActions");
    });
}

}  // namespace scrawlet::shell
