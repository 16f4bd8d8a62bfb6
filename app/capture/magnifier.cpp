#include "app/capture/magnifier.h"

#include <QCursor>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <algorithm>
#include <cmath>
#include <iostream>

#include "app/aids/aid_window.h"
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

MagnifierPanel::MagnifierPanel(bool lens) {
    // The full-screen zoom is opaque, so a compositing manager need not draw what it covers.
    aids::prepareAidWindow(*this, lens);
}

Magnifier::Magnifier(Kind kind, const core::ZoomSettings& settings, Capture capture,
                     platform::WindowPlacer* placer, platform::WindowPlacement placement)
    : kind_(kind),
      settings_(settings),
      capture_(std::move(capture)),
      placer_(placer),
      placement_(placement) {
    placement_.transparentForInput = true;
    clock_.setTimerType(Qt::PreciseTimer);
    clock_.setSingleShot(true);
    connect(&clock_, &QTimer::timeout, this, [this] { tick(); });
}

Magnifier::~Magnifier() {
    if (active_ && following_) {
        projectFollowing(false);
    } else if (active_ && !everyRefresh_ && capture_.watchPointer) {
        capture_.watchPointer(this, {});
    }
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
        // A display that came back under a still pointer shows the magnifier at once, once
        // every display has been told.
        if (active_) {
            QMetaObject::invokeMethod(
                this, [this] { requestTick(); }, Qt::QueuedConnection);
        }
        return true;
    }
    surfaces_.push_back({display.key.id, display.screen, nullptr, std::nullopt});
    if (active_ && following_) {
        projectFollowing(surfaces_.back(), true);
    }
    return true;
}

// Made when first shown: a lens that capture moves needs none.
MagnifierPanel& Magnifier::panelOf(Surface& s) {
    if (!s.panel) {
        s.panel = std::make_unique<MagnifierPanel>(kind_ == Kind::lens);
        s.panel->setScreen(s.screen);
        s.panel->setGeometry(kind_ == Kind::lens
                                 ? QRect(s.screen->geometry().topLeft(), QSize(240, 240))
                                 : s.screen->geometry());
        if (placer_) {
            if (const auto placed = placer_->place(*s.panel, placement_); !placed) {
                std::cerr << "draw: magnifier placement: " << placed.error() << "\n";
            }
        }
    }
    return *s.panel;
}

void Magnifier::projectFollowing(bool shown) {
    for (const Surface& s : surfaces_) {
        projectFollowing(s, shown);
    }
}

void Magnifier::projectFollowing(const Surface& s, bool shown) {
    if (!capture_.project) {
        return;
    }
    if (!shown || !s.screen) {
        capture_.project(s.displayID, std::nullopt);
        return;
    }
    const double scale = s.screen->devicePixelRatio();
    const int side = int(std::lround(settings_.lensSizePoints * scale));
    drawOutline(QSize(side, side), scale);
    platform::CaptureService::Projection projection;
    projection.windowSize = QSize(side, side);
    projection.mask = mask_;
    projection.decoration = decoration_;
    projection.followLevel = settings_.level;
    capture_.project(s.displayID, std::move(projection));
}

void Magnifier::detach(const platform::Display& display) {
    if (Surface* s = find(display.key.id)) {
        if (s->panel) {
            s->panel->hide();
        }
        if (following_) {
            projectFollowing(*s, false);
        }
        s->screen = nullptr;
    }
}

void Magnifier::reanchor(const platform::Display& display) {
    attach(display);
    if (Surface* s = find(display.key.id); s && active_ && following_) {
        projectFollowing(*s, true);
    }
}

void Magnifier::apply(const core::ZoomSettings& settings) {
    settings_ = settings;
    if (active_ && following_) {
        projectFollowing(true);
    } else if (active_) {
        requestTick();
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
        }
        {
            std::lock_guard lock(reportedLock_);
            reported_.reset();
        }
        following_ = kind_ == Kind::lens && capture_.followsPointer && capture_.followsPointer();
        if (following_) {
            projectFollowing(true);
        }
        const auto moved = [this](QPoint pointer) {
            {
                std::lock_guard lock(reportedLock_);
                reported_ = pointer;
            }
            if (!tickPosted_.exchange(true)) {
                QMetaObject::invokeMethod(
                    this,
                    [this] {
                        tickPosted_ = false;
                        requestTick();
                    },
                    Qt::QueuedConnection);
            }
        };
        if (!following_) {
            everyRefresh_ = !(capture_.watchPointer && capture_.watchPointer(this, moved));
            tick();
        }
    } else {
        clock_.stop();
        if (following_) {
            projectFollowing(false);
        } else if (capture_.watchPointer && !everyRefresh_) {
            capture_.watchPointer(this, {});
        }
        following_ = false;
        for (Surface& s : surfaces_) {
            if (s.panel) {
                s.panel->hide();
            }
        }
        stopWatching();
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
    if (watched_ >= 0 && capture_.project) {
        capture_.project(std::uint32_t(watched_), std::nullopt);
    }
    watched_ = -1;
    shown_.reset();
}

void Magnifier::store(const DisplayCapture::Frame& frame) {
    if (active_ && frame.projected && (following_ || watched_ == std::int64_t(frame.displayID))) {
        ++presentedFrames_;
    }
}

void Magnifier::drawOutline(QSize size, double scale) {
    if (mask_.size() == size && outlineShape_ == settings_.lensShape) {
        return;
    }
    outlineShape_ = settings_.lensShape;
    const double inset = kOutlineInsetPoints * scale;
    const QRectF bounds =
        QRectF(QPointF(0, 0), QSizeF(size)).adjusted(inset, inset, -inset, -inset);
    QPainterPath outline;
    if (outlineShape_ == core::RegionShape::circle) {
        outline.addEllipse(bounds);
    } else {
        outline.addRoundedRect(bounds, 0.12 * bounds.width(), 0.12 * bounds.height());
    }
    mask_ = QImage(size, QImage::Format_Alpha8);
    mask_.fill(Qt::transparent);
    decoration_ = QImage(size, QImage::Format_ARGB32_Premultiplied);
    decoration_.fill(Qt::transparent);
    {
        QPainter painter(&mask_);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(outline, Qt::black);
    }
    QPainter painter(&decoration_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor::fromRgbF(1, 1, 1, 0.85f), kBorderPoints * scale));
    painter.drawPath(outline);
}

void Magnifier::requestTick() {
    if (!active_ || clock_.isActive()) {
        return;
    }
    const auto interval = aids::refreshInterval();
    const auto since = std::chrono::steady_clock::now() - lastTick_;
    if (since >= interval * 0.75) {
        tick();
    } else {
        clock_.start(std::chrono::ceil<std::chrono::milliseconds>(interval - since));
    }
}

void Magnifier::tick() {
    if (!active_) {
        return;
    }
    lastTick_ = std::chrono::steady_clock::now();
    // Between moves nothing needs looking at, unless the view still eases or the pointer's
    // moves are not reported.
    if ((follow() || everyRefresh_) && !clock_.isActive()) {
        clock_.start(aids::refreshMilliseconds());
    }
}

// Moves the panel and what the capture draws into it with the pointer.
bool Magnifier::follow() {
    // The capture's word for where the pointer is saves asking the server again; it is in
    // pixels, which are Qt's points only at a ratio of 1.
    std::optional<QPoint> reported;
    if (!everyRefresh_) {
        std::lock_guard lock(reportedLock_);
        reported = reported_;
    }
    const bool unscaled = std::all_of(surfaces_.begin(), surfaces_.end(), [](const Surface& s) {
        return !s.screen || s.screen->devicePixelRatio() == 1;
    });
    const QPoint pointer = reported && unscaled ? *reported : QCursor::pos();
    Surface* under = nullptr;
    for (Surface& s : surfaces_) {
        if (s.screen && s.screen->geometry().contains(pointer)) {
            under = &s;
            break;
        }
    }
    if (!under) {
        ++idleTicks_;
        return false;
    }
    for (Surface& s : surfaces_) {
        if (&s != under && s.panel && s.panel->isVisible()) {
            s.panel->hide();
        }
    }
    MagnifierPanel& panel = panelOf(*under);
    const core::AidRect screen = aidRect(under->screen->geometry());
    const double scale = under->screen->devicePixelRatio();
    const double w = screen.width * scale;
    const double h = screen.height * scale;
    const core::AidPoint p{double(pointer.x()), double(pointer.y())};
    core::ZoomSource source;
    QRect frame;
    bool easing = false;
    if (kind_ == Kind::lens) {
        const core::AidRect r = core::lensFrame(p, screen, settings_.lensSizePoints);
        frame = QRectF(r.x, r.y, r.width, r.height).toAlignedRect();
        source = core::lensSource(p, screen, settings_.lensSizePoints, settings_.level, w, h);
    } else {
        under->centre = core::easedCentre(under->centre, p, settings_.panEasing);
        // A quarter of a pixel from the pointer the centre has arrived.
        easing =
            std::hypot((under->centre->x - p.x) * scale, (under->centre->y - p.y) * scale) > 0.25;
        frame = under->screen->geometry();
        source = core::fullScreenSource(*under->centre, screen, settings_.level, w, h);
    }
    if (panel.geometry() != frame) {
        panel.setGeometry(frame);
    }
    // Drawn into only once mapped: a window's pixels exist from then on.
    if (!panel.isVisible()) {
        panel.show();
    }
    platform::CaptureService::Projection projection;
    projection.window = std::uint32_t(panel.winId());
    projection.windowSize = (QSizeF(frame.size()) * scale).toSize();
    projection.source = QRectF(source.x * w, source.y * h, source.width * w, source.height * h);
    if (kind_ == Kind::lens) {
        drawOutline(projection.windowSize, scale);
        projection.mask = mask_;
        projection.decoration = decoration_;
    }
    if (watched_ >= 0 && watched_ != std::int64_t(under->displayID)) {
        stopWatching();
    }
    // A still pointer over the same settings changes nothing; new frames keep coming.
    if (shown_ == projection) {
        ++idleTicks_;
        return easing;
    }
    watched_ = under->displayID;
    shown_ = projection;
    if (capture_.project) {
        capture_.project(under->displayID, std::move(projection));
    }
    return easing;
}

}  // namespace scrawlet::capture
