#include "app/shell/synthetic_drag_driver.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <iostream>

#include "app/platform/monotonic_clock.h"
#include "app/platform/synthetic_input.h"

namespace scrawlet::shell {

namespace {
constexpr int kStartDelayMs = 200;
constexpr std::uint64_t kMaxStepsPerTick = 64;
}  // namespace

SyntheticDragDriver::SyntheticDragDriver(QWindow& view, DrawConfig::Transport transport,
                                         double intervalSeconds, std::int64_t stepsPerStroke,
                                         platform::SyntheticInput* input)
    : view_(view),
      transport_(transport),
      stepsPerStroke_(std::max<std::int64_t>(stepsPerStroke, 1)),
      input_(input),
      intervalSeconds_(std::max(intervalSeconds, 1e-4)) {
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(std::max(1, static_cast<int>(std::lround(intervalSeconds * 1000))));
    connect(&timer_, &QTimer::timeout, this, [this] { tick(); });
}

void SyntheticDragDriver::start() {
    QTimer::singleShot(kStartDelayMs, Qt::PreciseTimer, this, [this] {
        clock_.start();
        timer_.start();
    });
}

void SyntheticDragDriver::stop() {
    timer_.stop();
    if (buttonIsDown_) {
        post(lastViewPoint_, false, true);
    }
}

QPointF SyntheticDragDriver::target(std::uint64_t step, QSizeF size) {
    const double t = static_cast<double>(step) * 0.01;
    return {size.width() * (0.5 + 0.42 * std::sin(1.1 * t)),
            size.height() * (0.5 + 0.42 * std::sin(1.7 * t))};
}

void SyntheticDragDriver::tick() {
    // A tick that comes late (a slow frame, a busy machine) posts every step that fell due
    // since the last one, so the rate holds; a long stall is forgotten rather than replayed.
    const auto due = static_cast<std::uint64_t>(static_cast<double>(clock_.nsecsElapsed()) /
                                                (intervalSeconds_ * 1e9)) +
                     1;
    if (due > accounted_ + kMaxStepsPerTick) {
        accounted_ = due - kMaxStepsPerTick;
    }
    while (accounted_ < due) {
        ++accounted_;
        postStep();
    }
}

void SyntheticDragDriver::postStep() {
    const QPointF point = target(step_++, view_.size().toSizeF());
    if (!buttonIsDown_) {
        post(point, true, false);
        stepInStroke_ = 1;
        return;
    }
    post(point, false, false);
    if (++stepInStroke_ >= stepsPerStroke_) {
        post(point, false, true);
    }
}

void SyntheticDragDriver::post(QPointF local, bool press, bool release) {
    lastViewPoint_ = local;
    ++postCount_;
    const double postTime = platform::monotonicSeconds();
    if (onPost) {
        onPost(postTime, view_.mapToGlobal(local).toPoint());
    }
    if (press) {
        buttonIsDown_ = true;
    } else if (release) {
        buttonIsDown_ = false;
    }
    if (transport_ == DrawConfig::Transport::cgEventPost) {
        if (!input_) {
            return;
        }
        const QPoint global = view_.mapToGlobal(local).toPoint();
        auto sent = input_->movePointer(global);
        if (sent && (press || release)) {
            sent = input_->setButton(Qt::LeftButton, press);
        }
        if (!sent) {
            std::cerr << messagePrefix
                      << "synthetic input failed: " << platform::describe(sent.error()) << "\n";
            timer_.stop();
        }
        return;
    }
    const QEvent::Type type = press     ? QEvent::MouseButtonPress
                              : release ? QEvent::MouseButtonRelease
                                        : QEvent::MouseMove;
    const Qt::MouseButtons held =
        (press || (!release && buttonIsDown_)) ? Qt::LeftButton : Qt::NoButton;
    QMouseEvent event(type, local, view_.mapToGlobal(local),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, held,
                      Qt::NoModifier, QPointingDevice::primaryPointingDevice());
    event.setTimestamp(static_cast<quint64>(std::llround(postTime * 1000)));
    QCoreApplication::sendEvent(&view_, &event);
}

}  // namespace scrawlet::shell
