// What every on-screen surface of Scrawlet needs, whatever it draws: a window on one display
// whose surface suits the run's drawing path (a raster surface for the CPU path, an OpenGL 3.3
// surface that never waits for vsync otherwise), and a frame clock. The clock runs only while
// a frame is owed or `isAnimating` says the picture moves by itself; an owed frame is drawn
// right after the queued input, animation comes once a refresh of the display the window is on,
// and a window that is not exposed owes nothing until it is exposed again, when everything is
// drawn anew. Subclasses draw in `renderFrame`. Main thread only.
#pragma once

#include <QSurfaceFormat>
#include <QTimer>
#include <QWindow>

#include "app/gl/frame_scheduler.h"
#include "app/platform/gl_presenter.h"

namespace scrawlet::gl {

// The format of every OpenGL surface of ours: 3.3 core with alpha, and a swap that never waits
// for the display (frames are paced by our own clocks).
QSurfaceFormat glSurfaceFormat(
    QSurfaceFormat::SwapBehavior buffering = QSurfaceFormat::DoubleBuffer);
// Seconds between refreshes of `screen`; 60 Hz when it reports no rate.
double refreshIntervalOf(const QScreen* screen);

class FramePanel : public QWindow {
    Q_OBJECT

  public:
    FramePanel(QScreen* screen, platform::PresentPath path);

    platform::PresentPath presentPath() const { return presentPath_; }
    const gl::FrameScheduler& frames() const { return scheduler_; }
    // Seconds on the monotonic clock.
    double now() const;
    // Something changed that the next frame must show.
    void requestFrame();
    // Draws now when a frame is owed and due.
    void drawIfDue();
    // No more frames, for good.
    void stopFrames();

  protected:
    // Draws one frame at `time`; false when nothing could be drawn (it is then tried again).
    virtual bool renderFrame(double time) = 0;
    // Whether frames must come though nothing was requested (fading, say).
    virtual bool isAnimating(double time) const = 0;
    // The window's pixels are gone (exposed anew, resized): the next frame draws everything.
    virtual void invalidate() = 0;

    void exposeEvent(QExposeEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void followScreen(QScreen* screen);
    void scheduleTick();
    void tick();

    platform::PresentPath presentPath_;
    gl::FrameScheduler scheduler_;
    QTimer tickTimer_;
    bool stopped_ = false;
};

}  // namespace scrawlet::gl
