#include "app/aids/pointer_follower.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <cmath>
#include <iostream>

namespace scrawlet::aids {

PointerFollower::PointerFollower(std::unique_ptr<platform::PointerMonitor> monitor)
    : monitor_(std::move(monitor)) {
    if (monitor_) {
        monitor_->setOnMotion([this] { motion(); });
        monitor_->setOnPress([this](platform::PointerMonitor::Button button) { press(button); });
    }
    clock_.setTimerType(Qt::PreciseTimer);
    connect(&clock_, &QTimer::timeout, this, [this] { deliver(); });
}

PointerFollower::~PointerFollower() {
    if (monitor_ && watching_) {
        (void)monitor_->setWatching(false);
    }
}

std::size_t PointerFollower::add(Moved moved, Pressed pressed) {
    listeners_.push_back({std::move(moved), std::move(pressed), false});
    return listeners_.size() - 1;
}

void PointerFollower::setWanted(std::size_t listener, bool wanted) {
    listeners_.at(listener).wanted = wanted;
    watch();
}

QPoint PointerFollower::position() {
    return QCursor::pos();
}

void PointerFollower::watch() {
    const bool wanted = std::any_of(listeners_.begin(), listeners_.end(),
                                    [](const Listener& l) { return l.wanted; });
    if (wanted == watching_) {
        return;
    }
    if (monitor_) {
        if (const auto set = monitor_->setWatching(wanted); !set) {
            std::cerr << "draw: following the pointer by a clock: " << set.error() << "\n";
            monitor_.reset();
        }
    }
    watching_ = wanted;
    if (!monitor_ && wanted) {
        const QScreen* screen = QGuiApplication::primaryScreen();
        const double hz = screen && screen->refreshRate() > 1 ? screen->refreshRate() : 60.0;
        clock_.start(static_cast<int>(std::lround(1000.0 / hz)));
    } else {
        clock_.stop();
    }
}

// Qt hands over every event the X server sent in one go before returning to the loop; one
// position query per batch is enough and still lands before the next frame.
void PointerFollower::motion() {
    if (deliveryPosted_) {
        return;
    }
    deliveryPosted_ = true;
    QMetaObject::invokeMethod(
        this, [this] { deliver(); }, Qt::QueuedConnection);
}

void PointerFollower::deliver() {
    deliveryPosted_ = false;
    if (!watching_) {
        return;
    }
    const QPoint at = position();
    for (const Listener& listener : listeners_) {
        if (listener.wanted && listener.moved) {
            listener.moved(at);
        }
    }
}

void PointerFollower::press(platform::PointerMonitor::Button button) {
    const QPoint at = position();
    for (const Listener& listener : listeners_) {
        if (listener.wanted && listener.pressed) {
            listener.pressed(at, button);
        }
    }
}

}  // namespace scrawlet::aids
