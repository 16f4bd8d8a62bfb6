// The probe's drawing surface: an OpenGL 3.3 window that records every pointer event it is
// given and shows it as a white square, presenting either on the next tick of its frame clock
// (vsync) or at once from the handler (per-event).
//
// The frame clock ticks once a refresh interval of the window's display, phase-locked to its
// start, from `startCapturing` until `stopCapturing`; a tick presents only when input came since
// the last frame. A frame that cannot be drawn (the window is not exposed) is counted deferred
// and the input stays owed. Every present commits a frame record and hands the frame to the
// presentation timer, whose reports may come from another thread. The handler allocates
// nothing. Main thread only.
//
// The drawable count becomes double or triple buffering of the window's surface. Presenting
// "with the transaction" becomes waiting for the GPU to finish the frame before the swap, so
// the swap shows a complete frame at once; without it the swap is queued behind the GPU's work.
// The window is also drawn, untimed, whenever it is exposed, so it never shows stale pixels.
#pragma once

#include <QOpenGLContext>
#include <QTimer>
#include <QWindow>
#include <functional>
#include <memory>

#include "app/diagnostics/ink_renderer.h"
#include "app/diagnostics/latency_probe.h"
#include "app/platform/presentation_timer.h"

namespace scrawlet::diagnostics {

class ProbeView : public QWindow {
    Q_OBJECT

  public:
    struct Options {
        bool opaque = true;
        bool presentsPerEvent = false;
        bool presentsWithTransaction = false;
        bool clearOnDown = false;
        bool flashOnDraw = false;
        int maximumDrawableCount = 2;
        std::size_t targetSamples = 5000;
        Qt::WindowFlags flags = Qt::Window;
    };

    // Nothing, with the reason in `why`, when no OpenGL 3.3 context or program can be made.
    static std::unique_ptr<ProbeView> create(QScreen* screen, const QRect& geometry,
                                             const Options& options, LatencyProbe& probe,
                                             platform::PresentationTimer& presentation,
                                             std::string* why);
    ~ProbeView() override;

    void startCapturing();
    void stopCapturing();
    bool isCapturing() const { return isCapturing_; }
    double refreshInterval() const { return refreshInterval_; }
    const InkRenderer& renderer() const { return *renderer_; }

    // Once, when the event count reaches the target or a store is full.
    std::function<void()> onTargetReached;
    // Escape pressed in the window.
    std::function<void()> onEscape;
    // The window's close button; the window stays, so that the run can still finish.
    std::function<void()> onClose;

  protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;

  private:
    ProbeView(QScreen* screen, const Options& options, LatencyProbe& probe,
              platform::PresentationTimer& presentation);
    bool initialiseGraphics(std::string* why);
    void handlePointer(QMouseEvent& event, std::int32_t phase);
    void drawFrame();
    bool presentFrame();
    void scheduleTick();
    void tick();

    Options options_;
    LatencyProbe& probe_;
    platform::PresentationTimer& presentation_;
    std::unique_ptr<QOpenGLContext> context_;
    std::unique_ptr<InkRenderer> renderer_;
    QTimer frameClock_;
    double clockOrigin_ = 0;
    double refreshInterval_ = 1.0 / 60;
    bool isCapturing_ = false;
    bool hasPendingInput_ = false;
    bool awaitingFirstDrag_ = false;
    bool targetReached_ = false;
};

}  // namespace scrawlet::diagnostics
