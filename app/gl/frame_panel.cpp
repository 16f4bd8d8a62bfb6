#include "app/gl/frame_panel.h"

#include <QScreen>
#include <cmath>

#include "app/platform/monotonic_clock.h"

namespace scrawlet::gl {
namespace {

constexpr double kFallbackRefreshHz = 60;

}  // namespace

double refreshIntervalOf(const QScreen* screen) {
    const double hz = screen ? screen->refreshRate() : kFallbackRefreshHz;
    return 1.0 / (hz >= 1 ? hz : kFallbackRefreshHz);
}

QSurfaceFormat glSurfaceFormat(QSurfaceFormat::SwapBehavior buffering) {
    QSurfaceFormat format;
    format.setAlphaBufferSize(8);
    format.setVersion(3, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setSwapInterval(0);
    format.setSwapBehavior(buffering);
    return format;
}

FramePanel::FramePanel(QScreen* screen, platform::PresentPath path)
    : QWindow(screen), presentPath_(path), scheduler_(refreshIntervalOf(screen)) {
    if (path == platform::PresentPath::software) {
        QSurfaceFormat format;
        format.setAlphaBufferSize(8);
        setSurfaceType(QSurface::RasterSurface);
        setFormat(format);
    } else {
        setSurfaceType(QSurface::OpenGLSurface);
        setFormat(glSurfaceFormat());
    }
    tickTimer_.setSingleShot(true);
    tickTimer_.setTimerType(Qt::PreciseTimer);
    connect(&tickTimer_, &QTimer::timeout, this, [this] { tick(); });
    connect(this, &QWindow::screenChanged, this, [this](QScreen* now) { followScreen(now); });
    followScreen(screen);
}

double FramePanel::now() const {
    return platform::monotonicSeconds();
}

// A window moved to a display with another refresh animates at that display's pace.
void FramePanel::followScreen(QScreen* screen) {
    scheduler_.setRefreshInterval(refreshIntervalOf(screen));
    if (screen) {
        connect(screen, &QScreen::refreshRateChanged, this, [this, screen] {
            if (this->screen() == screen)
                scheduler_.setRefreshInterval(refreshIntervalOf(screen));
        });
    }
}

void FramePanel::requestFrame() {
    scheduler_.requestFrame();
    scheduleTick();
}

void FramePanel::stopFrames() {
    stopped_ = true;
    tickTimer_.stop();
}

void FramePanel::scheduleTick() {
    if (!isExposed()) {
        // Nothing can be shown; the expose that comes with showing asks again.
        scheduler_.suspend();
        tickTimer_.stop();
        return;
    }
    if (!scheduler_.isRunning() || stopped_) {
        return;
    }
    const double wait = scheduler_.nextTickTime() - now();
    const int milliseconds = wait <= 0 ? 0 : static_cast<int>(std::ceil(wait * 1000));
    if (!tickTimer_.isActive() || tickTimer_.remainingTime() > milliseconds) {
        tickTimer_.start(milliseconds);
    }
}

void FramePanel::tick() {
    const double time = now();
    if (!isExposed()) {
        scheduler_.suspend();
        return;
    }
    if (scheduler_.tick(time, isAnimating(time)) == gl::FrameScheduler::TickOutcome::draw) {
        scheduler_.frameFinished(time, renderFrame(time));
    }
    scheduleTick();
}

void FramePanel::drawIfDue() {
    if (scheduler_.hasPendingInput() && scheduler_.nextTickTime() <= now()) {
        tickTimer_.stop();
        tick();
    }
}

void FramePanel::exposeEvent(QExposeEvent*) {
    if (isExposed()) {
        invalidate();
        requestFrame();
    }
}

void FramePanel::resizeEvent(QResizeEvent*) {
    invalidate();
    requestFrame();
}

}  // namespace scrawlet::gl
