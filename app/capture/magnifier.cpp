#include "app/capture/magnifier.h"

#include <QCursor>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <cmath>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "core/number_format.h"

namespace scrawlet::capture {
namespace {

constexpr double kBorderPoints = 3.0;
constexpr double kOutlineInsetPoints = 2.0;

core::AidRect aidRect(const QRect& r) {
    return {double(r.x()), double(r.y()), double(r.width()), double(r.height())};
}

}  // namespace

void MagnifierPanel::present(const DisplayCapture::Frame& frame, const QRectF& source) {
    frame_ = frame;
    source_ = source;
    update();
}

void MagnifierPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    const QRectF bounds(QPointF(0, 0), QSizeF(size()));
    painter.fillRect(bounds, lens_ ? QColor(Qt::transparent) : QColor(Qt::black));
    QPainterPath outline;
    if (lens_) {
        const QRectF inset = bounds.adjusted(kOutlineInsetPoints, kOutlineInsetPoints,
                                             -kOutlineInsetPoints, -kOutlineInsetPoints);
        if (shape_ == core::RegionShape::circle) {
            outline.addEllipse(inset);
        } else {
            outline.addRoundedRect(inset, 0.12 * inset.width(), 0.12 * inset.height());
        }
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(outline, Qt::black);
        painter.setClipPath(outline);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    if (!frame_.image.isNull() && source_.width() > 0 && source_.height() > 0) {
        // Where the frame's part of the display lands once the source fills the window.
        const double sx = width() / source_.width();
        const double sy = height() / source_.height();
        const QRectF target((frame_.region.x() - source_.x()) * sx,
                            (frame_.region.y() - source_.y()) * sy, frame_.region.width() * sx,
                            frame_.region.height() * sy);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(target, frame_.image);
    }
    if (lens_) {
        painter.setClipping(false);
        painter.setPen(QPen(QColor::fromRgbF(1, 1, 1, 0.85f), kBorderPoints));
        painter.drawPath(outline);
    }
}

Magnifier::Magnifier(Kind kind, const core::ZoomSettings& settings, Watch watch,
                     platform::WindowPlacer* placer, platform::WindowPlacement placement)
    : kind_(kind),
      settings_(settings),
      watch_(std::move(watch)),
      placer_(placer),
      placement_(placement) {
    placement_.transparentForInput = true;
    clock_.setTimerType(Qt::PreciseTimer);
    connect(&clock_, &QTimer::timeout, this, [this] { tick(); });
}

Magnifier::~Magnifier() {
    stopWatching();
}

Magnifier::Surface* Magnifier::find(std::uint32_t displayID) {
    for (Surface& s : surfaces_) {
        if (s.displayID == displayID) {
            return &s;
        }
    }
    return nullptr;
}

bool Magnifier::attach(const platform::Display& display) {
    if (Surface* s = find(display.key.id)) {
        s->screen = display.screen;
        return true;
    }
    auto panel = std::make_unique<MagnifierPanel>(kind_ == Kind::lens);
    panel->setScreen(display.screen);
    panel->setGeometry(kind_ == Kind::lens
                           ? QRect(display.screen->geometry().topLeft(), QSize(240, 240))
                           : display.screen->geometry());
    if (placer_) {
        if (const auto placed = placer_->place(*panel, placement_); !placed) {
            std::cerr << "draw: magnifier placement: " << placed.error() << "\n";
        }
    }
    surfaces_.push_back({display.key.id, display.screen, std::move(panel), std::nullopt});
    return true;
}

void Magnifier::detach(const platform::Display& display) {
    if (Surface* s = find(display.key.id)) {
        s->panel->hide();
        s->screen = nullptr;
    }
}

void Magnifier::reanchor(const platform::Display& display) {
    attach(display);
}

void Magnifier::apply(const core::ZoomSettings& settings) {
    settings_ = settings;
    for (Surface& s : surfaces_) {
        s.panel->setShape(settings_.lensShape);
    }
}

void Magnifier::setActive(bool active) {
    if (active == active_) {
        return;
    }
    active_ = active;
    if (active) {
        for (Surface& s : surfaces_) {
            s.centre.reset();
            s.panel->setShape(settings_.lensShape);
        }
        clock_.start(aids::refreshMilliseconds());
        tick();
    } else {
        clock_.stop();
        for (Surface& s : surfaces_) {
            s.panel->hide();
        }
        stopWatching();
        std::lock_guard lock(lock_);
        latest_.clear();
    }
    const bool lens = kind_ == Kind::lens;
    log::FrontmostLog::shared().record(
        lens ? "lensToggle" : "fullScreenZoomToggle", std::nullopt,
        std::string("active=") + (active ? "true" : "false") +
            " zoom=" + core::shortestDecimal(settings_.level) +
            (lens ? " size=" + core::shortestDecimal(settings_.lensSizePoints)
                  : " easing=" + core::shortestDecimal(settings_.panEasing)));
}

void Magnifier::stopWatching() {
    if (watched_ && watch_) {
        watch_(*watched_, std::nullopt);
    }
    watched_.reset();
}

void Magnifier::store(const DisplayCapture::Frame& frame) {
    if (!active_) {
        return;
    }
    std::lock_guard lock(lock_);
    latest_[frame.displayID] = frame;
    if (!presentPosted_) {
        presentPosted_ = true;
        QMetaObject::invokeMethod(
            this, [this] { present(false); }, Qt::QueuedConnection);
    }
}

// Moves the panel and the watched part of the display with the pointer.
void Magnifier::tick() {
    if (!active_) {
        return;
    }
    const QPoint pointer = QCursor::pos();
    Surface* under = nullptr;
    for (Surface& s : surfaces_) {
        if (s.screen && s.screen->geometry().contains(pointer)) {
            under = &s;
            break;
        }
    }
    if (!under) {
        ++idleTicks_;
        return;
    }
    for (Surface& s : surfaces_) {
        if (&s != under && s.panel->isVisible()) {
            s.panel->hide();
        }
    }
    const core::AidRect screen = aidRect(under->screen->geometry());
    const double scale = under->screen->devicePixelRatio();
    const double w = screen.width * scale;
    const double h = screen.height * scale;
    const core::AidPoint p{double(pointer.x()), double(pointer.y())};
    core::ZoomSource source;
    QRect frame;
    if (kind_ == Kind::lens) {
        const core::AidRect r = core::lensFrame(p, screen, settings_.lensSizePoints);
        frame = QRectF(r.x, r.y, r.width, r.height).toAlignedRect();
        source = core::lensSource(p, screen, settings_.lensSizePoints, settings_.level, w, h);
    } else {
        under->centre = core::easedCentre(under->centre, p, settings_.panEasing);
        frame = under->screen->geometry();
        source = core::fullScreenSource(*under->centre, screen, settings_.level, w, h);
    }
    source_ = QRectF(source.x * w, source.y * h, source.width * w, source.height * h);
    if (under->panel->geometry() != frame) {
        under->panel->setGeometry(frame);
    }
    const QRect watched =
        source_.toAlignedRect().intersected(QRect(0, 0, int(std::lround(w)), int(std::lround(h))));
    if (watched_ && *watched_ != under->displayID) {
        stopWatching();
    }
    watched_ = under->displayID;
    if (watch_) {
        watch_(under->displayID, watched.isEmpty() ? std::nullopt : std::optional(watched));
    }
    // The frame of the new region comes at once and is shown then; showing the last one
    // again here would paint twice a refresh. Only a panel not shown yet is shown now.
    if (!under->panel->isVisible()) {
        present(true);
    }
}

void Magnifier::present(bool fromClock) {
    std::optional<DisplayCapture::Frame> frame;
    {
        std::lock_guard lock(lock_);
        if (!fromClock) {
            presentPosted_ = false;
        }
        if (watched_) {
            if (const auto found = latest_.find(*watched_); found != latest_.end()) {
                frame = found->second;
            }
        }
    }
    Surface* surface = watched_ ? find(*watched_) : nullptr;
    if (!active_ || !surface || !frame) {
        if (fromClock) {
            ++idleTicks_;
        }
        return;
    }
    // A still screen under a still pointer is not painted again.
    if (surface->panel->isVisible() && source_ == shownSource_ && frame->region == shownRegion_ &&
        frame->image == shownImage_) {
        if (fromClock) {
            ++idleTicks_;
        }
        return;
    }
    shownSource_ = source_;
    shownRegion_ = frame->region;
    shownImage_ = frame->image;
    surface->panel->present(*frame, source_);
    if (!surface->panel->isVisible()) {
        surface->panel->show();
    }
    ++presentedFrames_;
}

}  // namespace scrawlet::capture
