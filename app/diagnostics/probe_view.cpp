#include "app/diagnostics/probe_view.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QOpenGLFunctions_3_3_Core>
#include <cmath>

#include "app/diagnostics/probe_events.h"
#include "app/gl/frame_panel.h"
#include "app/gl/gl_program.h"
#include "app/platform/monotonic_clock.h"

namespace scrawlet::diagnostics {

std::unique_ptr<ProbeView> ProbeView::create(QScreen* screen, const QRect& geometry,
                                             const Options& options, LatencyProbe& probe,
                                             platform::PresentationTimer& presentation,
                                             std::string* why) {
    std::unique_ptr<ProbeView> view(new ProbeView(screen, options, probe, presentation));
    view->setFlags(options.flags);
    view->setGeometry(geometry);
    if (!view->initialiseGraphics(why)) {
        return nullptr;
    }
    return view;
}

ProbeView::ProbeView(QScreen* screen, const Options& options, LatencyProbe& probe,
                     platform::PresentationTimer& presentation)
    : QWindow(screen),
      options_(options),
      probe_(probe),
      presentation_(presentation),
      refreshInterval_(gl::refreshIntervalOf(screen)) {
    // Merged motions would hide events from the measurement.
    QGuiApplication::setAttribute(Qt::AA_CompressHighFrequencyEvents, false);
    setSurfaceType(QSurface::OpenGLSurface);
    setFormat(gl::glSurfaceFormat(options.maximumDrawableCount == 3
                                      ? QSurfaceFormat::TripleBuffer
                                      : QSurfaceFormat::DoubleBuffer));
    frameClock_.setSingleShot(true);
    frameClock_.setTimerType(Qt::PreciseTimer);
    connect(&frameClock_, &QTimer::timeout, this, [this] { tick(); });
}

ProbeView::~ProbeView() {
    if (context_ && context_->makeCurrent(this)) {
        renderer_.reset();
        context_->doneCurrent();
    }
}

bool ProbeView::initialiseGraphics(std::string* why) {
    QWindow::create();
    context_ = std::make_unique<QOpenGLContext>();
    context_->setFormat(requestedFormat());
    if (!context_->create() || context_->format().version() < qMakePair(3, 3) ||
        !context_->makeCurrent(this)) {
        *why = "OpenGL 3.3 unavailable";
        return false;
    }
    renderer_ = InkRenderer::create(options_.opaque);
    context_->doneCurrent();
    if (!renderer_) {
        *why = "the probe's renderer could not be built";
        return false;
    }
    return true;
}

void ProbeView::startCapturing() {
    isCapturing_ = true;
    clockOrigin_ = platform::monotonicSeconds();
    scheduleTick();
}

void ProbeView::stopCapturing() {
    isCapturing_ = false;
    frameClock_.stop();
}

// Ticks stay on the grid of refresh intervals from the start, however late one fires.
void ProbeView::scheduleTick() {
    const double now = platform::monotonicSeconds();
    const double next =
        clockOrigin_ + (std::floor((now - clockOrigin_) / refreshInterval_) + 1) * refreshInterval_;
    frameClock_.start(static_cast<int>(std::ceil((next - now) * 1000)));
}

void ProbeView::tick() {
    if (!isCapturing_) {
        return;
    }
    probe_.noteTick();
    if (hasPendingInput_) {
        presentFrame();
    }
    scheduleTick();
}

bool ProbeView::event(QEvent* event) {
    const auto phase = isCapturing_ ? probePhase(*event) : std::nullopt;
    if (phase) {
        handlePointer(static_cast<QMouseEvent&>(*event), *phase);
        return true;
    }
    if (event->type() == QEvent::Close && onClose) {
        event->ignore();
        onClose();
        return true;
    }
    return QWindow::event(event);
}

void ProbeView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && onEscape) {
        onEscape();
    }
}

void ProbeView::handlePointer(QMouseEvent& event, std::int32_t phase) {
    const double entry = platform::monotonicSeconds();
    if (phase == 2) {
        if (options_.clearOnDown) {
            renderer_->clearPoints();
        }
        awaitingFirstDrag_ = true;
    } else if (phase == 1 && awaitingFirstDrag_) {
        awaitingFirstDrag_ = false;
        if (options_.flashOnDraw) {
            renderer_->flashNextFrame();
        }
    }
    renderer_->appendPoint(static_cast<float>(event.position().x()),
                           static_cast<float>(event.position().y()));
    EventRecord record = beginRecord(event, phase, entry, probe_);
    if (options_.presentsPerEvent) {
        presentFrame();
    } else {
        hasPendingInput_ = true;
    }
    if (endRecord(record, probe_, options_.targetSamples, targetReached_) && onTargetReached) {
        onTargetReached();
    }
}

// A window's pixels are undefined until drawn, and lost when it is exposed anew: it is drawn
// at once, as a frame that carries no event and is not timed.
void ProbeView::exposeEvent(QExposeEvent*) {
    if (isExposed() && context_->makeCurrent(this)) {
        drawFrame();
        context_->swapBuffers(this);
    }
}

void ProbeView::drawFrame() {
    const qreal ratio = devicePixelRatio();
    renderer_->draw(QSize(static_cast<int>(width() * ratio), static_cast<int>(height() * ratio)),
                    size().toSizeF());
    gl::functions()->glFlush();
}

bool ProbeView::presentFrame() {
    if (!isExposed() || !context_->makeCurrent(this)) {
        probe_.noteDeferredFrame();
        hasPendingInput_ = true;
        return false;
    }
    hasPendingInput_ = false;
    drawFrame();
    const std::int64_t frame = probe_.commitFrame(platform::monotonicSeconds(), refreshInterval_);
    // Presenting with the transaction maps to a swap of a finished frame: the present waits
    // for the GPU here rather than queueing behind its work.
    if (options_.presentsWithTransaction) {
        gl::functions()->glFinish();
    }
    context_->swapBuffers(this);
    if (frame >= 0) {
        presentation_.framePresented(frame);
    }
    return true;
}

}  // namespace scrawlet::diagnostics
