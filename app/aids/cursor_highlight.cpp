#include "app/aids/cursor_highlight.h"

#include <QScreen>
#include <algorithm>
#include <cmath>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "core/number_format.h"

namespace scrawlet::aids {

CursorHighlight::CursorHighlight(const core::CursorHighlightSettings& settings,
                                 platform::WindowPlacement placement,
                                 platform::WindowPlacer* placer, PointerFollower& follower)
    : settings_(settings), follower_(follower), window_(std::make_unique<HighlightWindow>()) {
    listener_ = follower_.add([this](QPoint pointer) { tick(pointer); });
    window_->setSettings(settings_);
    placement.transparentForInput = true;
    if (placer) {
        if (const auto placed = placer->place(*window_, placement); !placed) {
            std::cerr << "draw: cursor highlight placement: " << placed.error() << "\n";
        }
    }
}

CursorHighlight::~CursorHighlight() {
    follower_.setWanted(listener_, false);
}

void CursorHighlight::setFrame(std::uint32_t displayID, const core::AidRect& frame) {
    const auto found = std::find_if(surfaces_.begin(), surfaces_.end(),
                                    [&](const Surface& s) { return s.displayID == displayID; });
    if (found == surfaces_.end()) {
        surfaces_.push_back({displayID, frame});
        frames_.push_back(frame);
    } else {
        found->frame = frame;
        frames_[static_cast<std::size_t>(found - surfaces_.begin())] = frame;
    }
    if (active_) {
        tick(PointerFollower::position());
    }
}

bool CursorHighlight::attach(const platform::Display& display) {
    const QRect g = display.screen->geometry();
    setFrame(display.key.id, {double(g.x()), double(g.y()), double(g.width()), double(g.height())});
    return true;
}

void CursorHighlight::detach(const platform::Display& display) {
    setFrame(display.key.id, {});
}

void CursorHighlight::reanchor(const platform::Display& display) {
    attach(display);
}

void CursorHighlight::apply(const core::CursorHighlightSettings& settings) {
    settings_ = settings;
    window_->setSettings(settings_);
    if (active_) {
        tick(PointerFollower::position());
    }
}

void CursorHighlight::setActive(bool active) {
    if (active == active_) {
        return;
    }
    active_ = active;
    follower_.setWanted(listener_, active);
    if (active) {
        tick(PointerFollower::position());
    } else {
        window_->setVisible(false);
    }
    log::FrontmostLog::shared().record(
        "cursorHighlightToggle", std::nullopt,
        std::string("active=") + (active ? "true" : "false") +
            " shape=" + std::string(core::rawValue(settings_.shape)) +
            " size=" + core::shortestDecimal(settings_.sizePoints));
}

void CursorHighlight::tick(QPoint pointer) {
    if (!active_) {
        return;
    }
    const core::AidPoint at{double(pointer.x()), double(pointer.y())};
    if (!core::displayUnder(at, std::span(frames_))) {
        ++idleTicks_;
        return;
    }
    const core::AidRect frame = core::highlightFrame(at, settings_.sizePoints);
    const core::PixelBox box = core::coveringBox(frame);
    const QRect geometry(box.x, box.y, box.width, box.height);
    bool changed = false;
    if (window_->geometry() != geometry) {
        window_->setGeometry(geometry);
        changed = true;
    }
    if (!window_->isVisible()) {
        window_->setVisible(true);
        changed = true;
    }
    if (changed) {
        ++presentedFrames_;
    } else {
        ++idleTicks_;
    }
}

}  // namespace scrawlet::aids
