#include "app/aids/spotlight.h"

#include <QRegion>
#include <QScreen>
#include <algorithm>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "core/number_format.h"

namespace scrawlet::aids {
namespace {

QRect toQRect(const core::PixelBox& box) {
    return {box.x, box.y, box.width, box.height};
}

}  // namespace

Spotlight::Spotlight(const core::SpotlightSettings& settings, platform::WindowPlacement placement,
                     platform::WindowPlacer* placer, PointerFollower& follower)
    : settings_(settings),
      placement_(placement),
      placer_(placer),
      follower_(follower),
      edge_(std::make_unique<HoleEdgeWindow>()) {
    placement_.transparentForInput = true;
    listener_ = follower_.add([this](QPoint pointer) { tick(pointer); });
    place(*edge_);
}

Spotlight::~Spotlight() {
    follower_.setWanted(listener_, false);
}

void Spotlight::place(QWindow& window) {
    if (!placer_) {
        return;
    }
    if (const auto placed = placer_->place(window, placement_); !placed) {
        std::cerr << "draw: spotlight placement: " << placed.error() << "\n";
    }
}

Spotlight::Surface* Spotlight::find(std::uint32_t displayID) {
    const auto found = std::find_if(surfaces_.begin(), surfaces_.end(),
                                    [&](const Surface& s) { return s.displayID == displayID; });
    return found == surfaces_.end() ? nullptr : &*found;
}

void Spotlight::setFrame(std::size_t index, std::optional<QRect> frame) {
    Surface& surface = surfaces_[index];
    frames_[index] = frame ? core::AidRect{double(frame->x()), double(frame->y()),
                                           double(frame->width()), double(frame->height())}
                           : core::AidRect{};
    if (frame) {
        surface.dim->setGeometry(*frame);
    }
    surface.dim->setVisible(false);
    surface.shown = core::SurfaceDim::hidden;
    surface.hole = {};
    lastPointer_.reset();
}

bool Spotlight::attach(const platform::Display& display) {
    if (find(display.key.id)) {
        reanchor(display);
        return true;
    }
    auto dim = std::make_unique<DimWindow>();
    dim->setAlpha(core::clampedUnit(settings_.dimOpacity));
    dim->setScreen(display.screen);
    place(*dim);
    surfaces_.push_back({display.key.id, std::move(dim), core::SurfaceDim::hidden, {}});
    frames_.emplace_back();
    setFrame(surfaces_.size() - 1, display.screen->geometry());
    if (active_) {
        tick(PointerFollower::position());
    }
    return true;
}

void Spotlight::detach(const platform::Display& display) {
    if (Surface* surface = find(display.key.id)) {
        setFrame(static_cast<std::size_t>(surface - surfaces_.data()), std::nullopt);
        if (active_) {
            tick(PointerFollower::position());
        }
    }
}

void Spotlight::reanchor(const platform::Display& display) {
    Surface* surface = find(display.key.id);
    if (!surface) {
        attach(display);
        return;
    }
    surface->dim->setScreen(display.screen);
    setFrame(static_cast<std::size_t>(surface - surfaces_.data()), display.screen->geometry());
    edge_->setVisible(false);
    if (active_) {
        tick(PointerFollower::position());
    }
}

void Spotlight::apply(const core::SpotlightSettings& settings) {
    settings_ = settings;
    for (Surface& surface : surfaces_) {
        surface.dim->setAlpha(core::clampedUnit(settings_.dimOpacity));
        surface.shown = core::SurfaceDim::hidden;
    }
    lastPointer_.reset();
    if (active_) {
        tick(PointerFollower::position());
    }
}

void Spotlight::setActive(bool active) {
    if (active == active_) {
        return;
    }
    active_ = active;
    follower_.setWanted(listener_, active);
    if (active) {
        tick(PointerFollower::position());
    } else {
        hideAll();
    }
    log::FrontmostLog::shared().record(
        "spotlightToggle", std::nullopt,
        std::string("active=") + (active ? "true" : "false") +
            " shape=" + std::string(core::rawValue(settings_.shape)) +
            " size=" + core::shortestDecimal(settings_.sizePoints) +
            " dimAllDisplays=" + (settings_.dimAllDisplays ? "true" : "false"));
}

void Spotlight::hideAll() {
    for (Surface& surface : surfaces_) {
        surface.dim->setVisible(false);
        surface.shown = core::SurfaceDim::hidden;
    }
    edge_->setVisible(false);
    lastPointer_.reset();
}

void Spotlight::tick(QPoint pointer) {
    if (!active_) {
        return;
    }
    const auto under =
        core::displayUnder({double(pointer.x()), double(pointer.y())}, std::span(frames_));
    if (!under || pointer == lastPointer_) {
        ++idleTicks_;
        return;
    }
    lastPointer_ = pointer;
    bool changed = false;
    for (std::size_t i = 0; i < surfaces_.size(); ++i) {
        if (frames_[i].width <= 0) {
            continue;
        }
        changed |= showSurface(i, core::surfaceDim(i == *under, settings_.dimAllDisplays), pointer);
    }
    if (changed) {
        ++presentedFrames_;
    } else {
        ++idleTicks_;
    }
}

bool Spotlight::showSurface(std::size_t index, core::SurfaceDim dim, QPoint pointer) {
    Surface& surface = surfaces_[index];
    DimWindow& window = *surface.dim;
    const QRect display = window.geometry();
    bool changed = false;
    if (dim == core::SurfaceDim::hole) {
        const core::AidRect hole = core::spotlightHole({double(pointer.x()), double(pointer.y())},
                                                       frames_[index], settings_.sizePoints);
        const core::PixelBox cut =
            core::intersection(core::coveringBox(hole), {0, 0, display.width(), display.height()});
        if (surface.shown != dim || cut != surface.hole) {
            std::array<core::PixelBox, 4> pieces;
            const std::size_t count =
                core::boxesAround(cut, display.width(), display.height(), pieces);
            QRegion region;
            for (std::size_t i = 0; i < count; ++i) {
                region += toQRect(pieces[i]);
            }
            window.setMask(region);
            surface.hole = cut;
            changed = true;
        }
        changed |= showEdge(display, pointer);
    } else if (dim == core::SurfaceDim::whole && surface.shown != dim) {
        window.setMask(QRegion(0, 0, display.width(), display.height()));
        surface.hole = {};
        changed = true;
    }
    const bool visible = dim != core::SurfaceDim::hidden;
    if (window.isVisible() != visible) {
        window.setVisible(visible);
        changed = true;
    }
    surface.shown = dim;
    return changed;
}

// The edge window covers the hole's whole-pixel square; its shape keeps it on the hole's
// display, so a hole at the edge is cut there rather than spilling onto the next display.
bool Spotlight::showEdge(const QRect& display, QPoint pointer) {
    const double s = settings_.sizePoints;
    const core::AidRect hole =
        core::spotlightHole({double(pointer.x()), double(pointer.y())},
                            {double(display.x()), double(display.y()), double(display.width()),
                             double(display.height())},
                            s);
    const core::PixelBox box = core::coveringBox(hole);
    const QRect global = toQRect(box).translated(display.topLeft());
    const QRect mask = global.intersected(display).translated(-global.topLeft());
    edge_->setLook({settings_.shape, s, core::clampedUnit(settings_.dimOpacity),
                    QPointF(hole.x - box.x, hole.y - box.y)});
    bool changed = false;
    if (edge_->geometry() != global) {
        edge_->setGeometry(global);
        changed = true;
    }
    if (mask != edgeMask_) {
        edge_->setMask(mask == QRect(QPoint(0, 0), global.size()) ? QRegion() : QRegion(mask));
        edgeMask_ = mask;
        changed = true;
    }
    if (!edge_->isVisible()) {
        edge_->setVisible(true);
        changed = true;
    }
    return changed;
}

}  // namespace scrawlet::aids
